#pragma once

#include <string>

#include <tilewright/model/RegularlyFragmentedField.h>
#include <tilewright/raster/Lattice.h>
#include <tilewright/values/PhysicalSpace.h>

namespace Tilewright {

/// Settles origin, cell size and cell counts of `lattice` from the bounding box of `positions`; its fragment
/// count and overlap are given.
///
/// - `wantedCellSize`, `cellShift`: as of prepareUniformLayout.
///
/// Gives the empty text, or says what is missing; then nothing has been written.
TILEWRIGHT_API std::string layOutLattice(const Quill::RegularFieldPtr& positions,
                                         const Orrery::PhysicalSpace::vector& wantedCellSize,
                                         const Orrery::PhysicalSpace::vector& cellShift, Lattice& lattice);

/// The same with the lattice in its parts. Settles the lattice of a raster from the bounding box of
/// `positions`. All fragments get the same cell counts.
///
/// - `wantedCellSize`: spacing asked for; it is adjusted so that a whole number of cells fills the box's
///   share of a fragment. 0 gives a single layer.
/// - `cellSize`: out, spacing per axis, 0 on an axis with a single layer.
/// - `overlap`: cells that neighbours share; none on an axis with a single layer. An even number of them lies
///   half below the box, so that the lattice moves by whole cells.
/// - `FragmentCount`: fragments per axis, none of them 0.
/// - `origin`: out, position of cell (0,0,0) of the first fragment.
/// - `cellCounts`: out, cells of a fragment per axis, overlap included.
/// - `cellShift`: moves the lattice, in cells of the adjusted size.
///
/// Gives the empty text, or says what is missing; then nothing has been written.
TILEWRIGHT_API std::string
prepareUniformLayout(Quill::RegularFieldPtr positions, const Orrery::PhysicalSpace::vector& wantedCellSize,
                     Orrery::PhysicalSpace::vector& cellSize, const Quill::MultiIndex<3>& overlap,
                     const Quill::MultiIndex<3>& FragmentCount, Orrery::PhysicalSpace::point& origin,
                     Quill::MultiIndex<3>& cellCounts, const Orrery::PhysicalSpace::vector& cellShift);

} // namespace Tilewright
