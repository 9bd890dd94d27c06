/// RunLattice: where the cells of a run lie.
#pragma once

#include <array>
#include <optional>
#include <string>

#include <io/blocks/BlockLattice.h>
#include <io/runs/RasterRequest.h>
#include <io/runs/RunInput.h>

namespace Tilewright::Io {

/// What a lattice is made of, x first.
using LatticeRequests = std::array<LatticeAxis::Request, 2>;

/// The cells that are asked for, by numbers or by another raster, around points within `bounds`.
LatticeRequests latticeRequests(const RasterRequest& request, const RunInput& input,
                                const PointBounds& bounds);

/// Throws InputError for cells that the raster which they are to be like cannot have, and for so many cells
/// for so few points that their size must be a mistake.
void checkLattice(const BlockLattice& lattice, const RasterRequest& request, const RunInput& input);

/// What the raster can reach, and a cell more; none where it reaches all points.
std::optional<CoordinateBox> windowOf(const RasterRequest& request, const RunInput& input);

/// West, south, east, north.
std::array<double, 4> extentOf(const BlockLattice& lattice);

/// Cells lie where their edges are multiples of their size. What to say where bounds lie elsewhere.
std::optional<std::string> noteOnBounds(const BlockLattice& lattice, const RasterRequest& request,
                                        const RunInput& input);

} // namespace Tilewright::Io
