/// Colour: what a camera beside the scanner would see.
#pragma once

namespace Tilewright::MakeScan {

/// Each part from 0 to 255.
struct Colour {
    double red = 0;
    double green = 0;
    double blue = 0;
};

inline Colour shaded(Colour c, double factor) { return {c.red * factor, c.green * factor, c.blue * factor}; }

} // namespace Tilewright::MakeScan
