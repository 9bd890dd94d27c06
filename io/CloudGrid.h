/// CloudGrid: loads a point file into the grid that the library takes, cut into the fragments of a lattice.
#pragma once

#include <string>
#include <vector>

#include <io/Interruption.h>
#include <io/LasFile.h>
#include <io/RasterLattice.h>
#include <tilewright/model/Grid.h>

namespace Tilewright::Io {

/// Which points count: those whose value of `field` lies in `ranges`, in the terms of Orrery::MultiRange. All
/// points where `field` is null.
struct CloudSelection {
    const LasField* field = nullptr;
    std::string ranges;
};

struct CloudGrid {
    /// "Positions" and the fields asked for, in its Cartesian representation. Fragments without points have
    /// no data.
    Quill::GridPtr grid;
    /// Selected points of each cell of the raster, row by row from the south.
    std::vector<std::uint32_t> counts;
};

/// Loads all points of `file` with the attributes `fields`, which must be fields of the file, the one that
/// selects among them. Two passes over the file, so that every array is allocated once. The selection only
/// decides what is counted: the library does the same on the loaded field. Throws Interruption when `report`
/// answers false, and InputError for a fragment of more points than 32-bit ordinals tell apart.
CloudGrid loadCloud(const LasFile& file, const std::vector<const LasField*>& fields,
                    const CloudSelection& selection, const RasterLattice& lattice, const StepReport& report);

} // namespace Tilewright::Io
