#pragma once

#include <tilewright/arrays/MultiIndex.h>
#include <tilewright/values/PhysicalSpace.h>

namespace Tilewright {

/// The lattice of a raster: uniform cells in fragments, all of which have as many.
///
/// Cell n of the first fragment has its node, its centre, at `origin` + n * `cellSize`. Fragments are
/// `cellCounts` - `overlap` cells apart on an axis.
///
/// Thread safety: a plain value.
struct TILEWRIGHT_API Lattice {
    /// The node of the first cell of the first fragment, in the units of the positions.
    Orrery::PhysicalSpace::point origin;
    /// Spacing of the nodes per axis; 0 on an axis with a single layer, which takes every point.
    Orrery::PhysicalSpace::vector cellSize;
    /// Cells of a fragment per axis, overlap included.
    Quill::MultiIndex<3> cellCounts;
    /// Fragments per axis.
    Quill::MultiIndex<3> fragmentCount;
    /// Cells that neighbouring fragments share per axis.
    Quill::MultiIndex<3> overlap;

    /// Where one fragment lies among the others, in cells per axis.
    struct Placement {
        /// Of the fragment's first cell in the whole raster.
        Quill::MultiIndex<3> offset;
        /// Cells shared with the lower and the upper neighbour; the outer sides of the lattice share none.
        Quill::MultiIndex<3> lowOverlap, highOverlap;
    };

    /// The arithmetic is that of unsigned counts: an overlap beyond the cell count wraps.
    Placement placementOf(const Quill::MultiIndex<3>& fragment) const;

    /// The node of the first cell of a fragment that lies at `placement`.
    Orrery::PhysicalSpace::point firstNode(const Placement& placement) const;
};

} // namespace Tilewright
