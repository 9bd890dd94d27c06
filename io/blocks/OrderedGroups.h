/// OrderedGroups: which reductions of a plan share one ordering of the values of a column.
#pragma once

#include <cstddef>
#include <vector>

#include <io/blocks/PointColumns.h>

namespace Tilewright::Io {

struct OrderedGroup {
    std::size_t column = 0;
    /// The numbers of the reductions in the plan, and their statistics.
    std::vector<std::size_t> reductions = {};
    std::vector<Statistic> wanted = {};
};

std::vector<OrderedGroup> orderedGroups(const ReductionPlan& plan);

} // namespace Tilewright::Io
