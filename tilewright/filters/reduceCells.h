#pragma once

#include <string>

#include <tilewright/arrays/MemArray.h>
#include <tilewright/filters/CellLists.h>
#include <tilewright/filters/vocabulary.h>
#include <tilewright/model/UniformCartesianArray.h>

namespace Tilewright {

/// Reduces the values of points to one value per cell: the part of a raster that neither knows how points got
/// into their cells nor what becomes of the result.
///
/// - `cells`: which points lie in which cell.
/// - `values`: a `MemArray<1,T>` of a value type of fields, with a value for each point; further ones are not
///   read.
/// - `wanted`: direction and filter.
/// - `nodes`: the nodes of the cells, where the regression reads its planes; without any it reads them at
/// zero.
///   Other filters do not look at it.
/// - `name`: what a warning calls the values.
///
/// Gives a new `MemArray<3,O>` of the sizes of `cells`, in which cells without points are zero. O is T itself
/// for whole values, and otherwise double, float or the channel of a colour. Gives null for a filter of Skip,
/// for no array and for one of another rank or type; and, with a warning on the console, for values that are
/// fewer than the points and for a direction beyond the known ones.
///
/// Thread safety: calls may run at once, also on the same cells if each was made in a thread of its own.
TILEWRIGHT_API Quill::ArrayPtr reduceCells(const CellLists& cells, const Quill::ArrayPtr& values,
                                           const DirectionAndFilter& wanted,
                                           const Quill::UniformCartesianArray* nodes = nullptr,
                                           const std::string& name = "a field");

} // namespace Tilewright
