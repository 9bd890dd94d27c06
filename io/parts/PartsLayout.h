/// PartsLayout: which blocks of a raster each part makes.
#pragma once

#include <cstdint>
#include <vector>

#include <io/blocks/BlockLattice.h>
#include <io/clouds/CloudIndex.h>

namespace Tilewright::Io {

/// Shares all blocks out to that many rectangles, but never to more than there are blocks.
///
/// The raster is cut in two again and again, across or down, each time where the parts on both sides have
/// about equal work and the fewest points have to be read on both. So parts have the shape that fits the
/// cloud: squares where points lie in no order, and else along the lines in which they were scanned. Parts
/// with neighbouring numbers lie beside each other, those of the northern or western side first.
std::vector<BlockRectangle> shareBlocks(const CloudIndex& index, const BlockLattice& lattice,
                                        std::uint64_t parts);

} // namespace Tilewright::Io
