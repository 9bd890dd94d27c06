#pragma once

#include <map>
#include <string>

#include <tilewright/export.h>

namespace Larder {

/// Named texts on an object.
class TILEWRIGHT_API Attributes {
public:
    Attributes();
    ~Attributes();

    /// Stores `text` under `name`, in place of what was there.
    void setAttribute(const std::string& name, const std::string& text);

    /// The text under `name`, null if there is none; valid until it is replaced.
    const std::string* findAttribute(const std::string& name) const;

private:
    std::map<std::string, std::string> Texts;
};

} // namespace Larder
