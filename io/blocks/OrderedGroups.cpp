#include <io/blocks/OrderedGroups.h>

#include <algorithm>

namespace Tilewright::Io {

std::vector<OrderedGroup> orderedGroups(const ReductionPlan& plan) {
    std::vector<OrderedGroup> groups;
    for (std::size_t r = 0; r < plan.reductions.size(); ++r) {
        const ReductionPlan::Reduction& reduction = plan.reductions[r];
        if (!goesByOrder(reduction.statistic.kind))
            continue;
        auto found = std::ranges::find(groups, reduction.column, &OrderedGroup::column);
        if (found == groups.end())
            found = groups.insert(found, {reduction.column});
        found->reductions.push_back(r);
        found->wanted.push_back(reduction.statistic);
    }
    return groups;
}

} // namespace Tilewright::Io
