#pragma once

#include <tilewright/model/RegularlyFragmentedField.h>
#include <tilewright/model/Representation.h>
#include <tilewright/raster/Lattice.h>
#include <tilewright/values/PhysicalSpace.h>

namespace Tilewright {

/// Makes the "Positions" of a raster on `lattice` in `output`, in place of any that are there: one
/// UniformCartesianArray for each fragment that `positions`, which must not be null, has data for. A sparse
/// input gives a sparse output. Where a fragment lies and how far it overlaps its neighbours is attached to
/// its identifier as FragmentLocation interfaces.
///
/// Unless `isSilent`, shows its progress on the standard output, in a line that overwrites itself.
TILEWRIGHT_API void makePositions(const Quill::RegularFieldPtr& positions, Quill::Representation& output,
                                  const Lattice& lattice, bool isSilent = false);

/// The same for a lattice in its parts, as prepareUniformLayout gives them.
TILEWRIGHT_API void createFragmentedPositions(const Quill::RegularFieldPtr& positions,
                                              Quill::Representation& output,
                                              const Orrery::PhysicalSpace::point& origin,
                                              const Orrery::PhysicalSpace::vector& cellSize,
                                              const Quill::MultiIndex<3>& cellCounts,
                                              const Quill::MultiIndex<3>& FragmentCount,
                                              const Quill::MultiIndex<3>& overlap);

} // namespace Tilewright
