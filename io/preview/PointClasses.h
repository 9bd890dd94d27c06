/// PointClasses: how classes of points are called, and the colours in which they are painted.
#pragma once

#include <string>

#include <io/preview/Canvas.h>

namespace Tilewright::Io {

constexpr int mostClasses = 256;

/// As the ASPRS names them: "2 ground". The number alone where it has no name.
std::string nameOfClass(int number);

/// Each of a different one; those without a name too.
Colour colourOfClass(int number);

} // namespace Tilewright::Io
