/// RasterCheck: whether a copy that a GDAL driver made is complete. Drivers do not always notice a full disk.
/// Private to the writers.
#pragma once

#include <filesystem>
#include <string>

#include <gdal_priv.h>

namespace Tilewright::Io {

/// Which parts of a raster a format preserves.
struct Fidelity {
    bool canBeRead = false;
    bool exactPixels = false;
    bool place = false;    ///< the location
    bool system = false;   ///< the coordinate system
    bool metadata = false; ///< the texts of the first band
    std::string complaint; ///< what GDAL says about it
};

/// Reads all of the copy and compares it with its source.
Fidelity compareCopy(GDALDataset& source, const std::filesystem::path& copy);

/// Throws std::runtime_error unless a copy is as good as `expected`, which a first copy of the kind has
/// shown, or if the disk is so full that parts of the copy may be missing that reading does not reach.
void checkCopy(GDALDataset& source, const std::filesystem::path& copy, const Fidelity& expected);

} // namespace Tilewright::Io
