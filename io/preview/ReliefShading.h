/// ReliefShading: light and shadow on a raster of heights. Private to Preview.
#pragma once

#include <vector>

#include <io/preview/Canvas.h>
#include <io/preview/ReducedRaster.h>

namespace Tilewright::Io {

/// Shades the colours of all pixels that have a height. `heights` is a plane of the raster. Exaggerates
/// heights so that the steeper tenth of the raster leans by 45 degrees or more.
void shadeRelief(std::vector<Colour>& colours, const ReducedRaster& raster,
                 const std::vector<float>& heights);

} // namespace Tilewright::Io
