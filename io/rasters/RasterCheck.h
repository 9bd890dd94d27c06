/// RasterCheck: whether a copy that a driver of GDAL made has all that it should have. Drivers don't always
/// notice that a disk is full. Private to the writers.
#pragma once

#include <filesystem>
#include <string>

#include <gdal_priv.h>

namespace Tilewright::Io {

/// What of a raster comes through a format.
struct Fidelity {
    bool canBeRead = false;
    bool exactPixels = false;
    bool place = false;    ///< where it lies
    bool system = false;   ///< the coordinate system
    bool metadata = false; ///< the texts of the first band
    std::string complaint; ///< what GDAL says about it
};

/// Reads all of the copy and compares it with its source.
Fidelity compareCopy(GDALDataset& source, const std::filesystem::path& copy);

/// Throws std::runtime_error unless a copy is as good as copies are in its format, as a first one of the kind
/// has shown, or if the disk is so full that parts of the copy may be missing that nobody reads.
void checkCopy(GDALDataset& source, const std::filesystem::path& copy, const Fidelity& expected);

} // namespace Tilewright::Io
