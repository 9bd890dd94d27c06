/// PixelTypeNames: the pixel types by the names that users know.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

/// GDAL's name.
const char* nameOf(PixelType type);
/// Of a pixel.
std::uint64_t bytesOf(PixelType type);

/// None for an empty name. Throws UsageError for one that no type has.
std::optional<PixelType> readPixelType(const std::string& name);

/// The narrowest type that holds all values of two types.
PixelType commonType(PixelType a, PixelType b);

} // namespace Tilewright::Io
