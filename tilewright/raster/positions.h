#pragma once

#include <tilewright/model/RegularlyFragmentedField.h>
#include <tilewright/model/Representation.h>
#include <tilewright/values/PhysicalSpace.h>

namespace Tilewright {

/// Makes the "Positions" of a raster in `output`, in place of any that are there: one UniformCartesianArray
/// for each fragment that `positions`, which must not be null, has data for; a sparse input gives a sparse
/// output.
///
/// - `origin`, `cellSize`, `cellCounts`: the lattice, as prepareUniformLayout gives it.
/// - `FragmentCount`: fragments per axis.
/// - `overlap`: cells that neighbours share. Where a fragment lies and how far it overlaps its neighbours is
///   attached to its identifier as FragmentLocation interfaces; the outer sides of the whole lattice overlap
///   nothing.
///
/// Tells its progress on the standard output, in a line that overwrites itself.
TILEWRIGHT_API void createFragmentedPositions(const Quill::RegularFieldPtr& positions,
                                              Quill::Representation& output,
                                              const Orrery::PhysicalSpace::point& origin,
                                              const Orrery::PhysicalSpace::vector& cellSize,
                                              const Quill::MultiIndex<3>& cellCounts,
                                              const Quill::MultiIndex<3>& FragmentCount,
                                              const Quill::MultiIndex<3>& overlap);

} // namespace Tilewright
