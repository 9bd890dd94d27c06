/// OrderStatistics: statistics of cells whose values are all in memory, from one ordering of them.
#pragma once

#include <span>
#include <vector>

#include <io/statistics/Statistic.h>
#include <tilewright/arrays/MemArray.h>
#include <tilewright/filters/CellLists.h>

namespace Tilewright::Io {

/// Gives an array of cells for each statistic; all of them go by order. `values` has one for each point. T is
/// a plain type of fields.
template <class T>
std::vector<Quill::ArrayPtr> reduceByOrder(const CellLists& cells, const T* values,
                                           std::span<const Statistic> wanted);

} // namespace Tilewright::Io
