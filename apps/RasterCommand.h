/// RasterCommand: `tilewright raster`, a point file to raster files.
#pragma once

#include <string>
#include <vector>

#include <io/RasterLattice.h>

namespace Tilewright::App {

struct RasterOptions {
    std::string input;
    std::string output;
    /// FIELD:FILTER:DIRECTION, or the name of a companion.
    std::vector<std::string> requests;
    /// Empty for all points, else RANGES@FIELD.
    std::string selection;
    Io::LatticeRequest lattice;
    /// Whether to choose the fragments by the number of cells.
    bool chooseFragments = true;
    bool alpha = false;
    unsigned sparseLimit = 0;
};

/// Reads, rasters and writes; a summary goes to the standard output. Throws Io::Error, with nothing written.
void runRaster(const RasterOptions& options);

} // namespace Tilewright::App
