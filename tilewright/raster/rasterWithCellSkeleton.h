#pragma once

#include <string>

#include <tilewright/model/Grid.h>

namespace Tilewright {

/// Rasters `InGrid` with fixed parameters onto a cell skeleton of `OutGrid`, and averages every cell field
/// onto the vertices: cells of 0.5 x 0.5 with a single layer, an overlap of 3, mean heights, all other fields
/// the mean of their whole values, and no sparse cells but the empty ones.
///
/// On return `OutGrid` holds, over its chart without a name:
/// - on the vertices, SkeletonID(1,0): "Positions" with uniform coordinates, and for each cell field but
///   "CellType" one of the same name and type. Vertex (i,j,k) has the mean of the up to eight cells of its
///   fragment that touch it and are not empty, zero if there is none. Sums are kept in the type of the field,
///   however narrow.
/// - on the cells, SkeletonID(3,1) over the vertices: "CellType", "Density", "Height" and the other fields of
///   the input.
///
/// The cells need a regularly fragmented "Positions" before the call, of the same fragment lattice: see
/// prepareCellSkeleton. Without it the call makes the vertex positions and the record of the fragments, and
/// no field.
///
/// Gives the empty text, or, for an input without a Cartesian representation, a message. Nothing is rolled
/// back. Thread safety: as of raster.
TILEWRIGHT_API std::string rasterWithCellSkeleton(const Quill::Grid& InGrid, Quill::Grid& OutGrid);

/// Gives the cells of `OutGrid` the "Positions" that rasterWithCellSkeleton needs, laid out for `InGrid`, so
/// that the two calls together fill an empty grid. Gives the empty text, or why there is no layout; `OutGrid`
/// then has no new positions.
TILEWRIGHT_API std::string prepareCellSkeleton(const Quill::Grid& InGrid, Quill::Grid& OutGrid);

} // namespace Tilewright
