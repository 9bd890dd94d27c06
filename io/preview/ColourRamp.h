/// ColourRamp: colours for values from low to high. Private to Preview.
#pragma once

#include <vector>

#include <io/preview/Canvas.h>

namespace Tilewright::Io {

/// Colours at shares from 0 to 1, in ascending order.
struct ColourStop {
    double at;
    Colour colour;
};
using ColourRamp = std::vector<ColourStop>;

/// From valleys to peaks.
extern const ColourRamp landscapeRamp;

/// Lightness grows evenly, so that equal steps look equal.
extern const ColourRamp evenRamp;

/// The colour at a share; the outermost colours beyond the ends.
Colour colourAt(const ColourRamp& ramp, double at);

} // namespace Tilewright::Io
