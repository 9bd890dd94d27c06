#pragma once

#include <string>

#include <tilewright/export.h>

namespace Larder {

/// A warning to the user: gathers a text and delivers it to the standard error stream as it goes.
///
/// Used as a temporary: Console() << "have no point cloud positions". Texts carry no line end of their own.
/// Each text arrives whole, whatever other threads write.
class TILEWRIGHT_API Console {
public:
    Console() = default;
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;
    ~Console();

    Console& operator<<(const char* text);

private:
    std::string Text;
};

} // namespace Larder
