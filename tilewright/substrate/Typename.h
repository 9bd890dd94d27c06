#pragma once

#include <string>
#include <typeinfo>

#include <tilewright/export.h>

namespace Larder {

/// A readable text for a type; the same type always gives the same text.
TILEWRIGHT_API std::string Typename(const std::type_info& type);

} // namespace Larder
