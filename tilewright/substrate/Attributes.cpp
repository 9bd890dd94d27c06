#include <tilewright/substrate/Attributes.h>

namespace Larder {

Attributes::Attributes() = default;

Attributes::~Attributes() = default;

void Attributes::setAttribute(const std::string& name, const std::string& text) { Texts[name] = text; }

const std::string* Attributes::findAttribute(const std::string& name) const {
    const auto found = Texts.find(name);
    return found == Texts.end() ? nullptr : &found->second;
}

} // namespace Larder
