#include <io/runs/PlanCheck.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>

#include <io/blocks/OnePass.h>
#include <io/system/Errors.h>
#include <tilewright/filters/vocabulary.h>

namespace Tilewright::Io {

namespace {

constexpr unsigned mostThreads = 4096;

bool isColumnSound(const PointColumn& column, const ReductionPlan& plan) {
    using Kind = PointColumn::Kind;
    if (column.subset > plan.subsets.size())
        return false;
    if (column.keys != OrderKeys::None && column.type != FieldType::UnsignedLongLong)
        return false;
    if (column.hasHeights && (column.keys != OrderKeys::None || column.kind == Kind::Positions))
        return false;
    if (column.kind == Kind::Attribute)
        return column.attribute < plan.needs.fields.size();
    // Coordinates are doubles, or keys of them.
    return column.kind == Kind::Positions || column.type == FieldType::Double ||
           column.keys == OrderKeys::Numbers || column.keys == OrderKeys::ReversedNumbers;
}

bool isConditionSound(const PointCondition& condition) {
    return std::ranges::all_of(condition.ranges, [](const auto& range) { return range[0] <= range[1]; });
}

bool needsGround(const ReductionPlan& plan) {
    const auto isAbove = [](const PointConditions& conditions) {
        return std::ranges::find(conditions, PointCondition::Quantity::HeightAboveGround,
                                 &PointCondition::quantity) != conditions.end();
    };
    return std::ranges::find(plan.columns, PointColumn::Kind::HeightAboveGround, &PointColumn::kind) !=
               plan.columns.end() ||
           isAbove(plan.needs.selection) || std::ranges::any_of(plan.subsets, isAbove);
}

/// Whether the attributes that tell its points are read.
bool isSubsetSound(const PointConditions& conditions, const PointNeeds& needs) {
    return std::ranges::all_of(conditions, isConditionSound) &&
           std::ranges::all_of(attributesOf(conditions), [&](const std::string& name) {
               return std::ranges::find(needs.fields, name, &CloudField::name) != needs.fields.end();
           });
}

bool isStatisticSound(const Statistic& statistic, const PointColumn& column) {
    if (statistic.kind == Statistic::Kind::InverseDistance &&
        !(statistic.number > 0.0 && statistic.power >= 0.0 && statistic.power <= 20.0))
        return false;
    const bool isPercentile = statistic.kind == Statistic::Kind::Percentile;
    return column.kind != PointColumn::Kind::Positions && column.keys == OrderKeys::None &&
           column.hasHeights == goesByHeight(statistic.kind) && std::isfinite(statistic.number) &&
           (!isPercentile || (statistic.number >= 0.0 && statistic.number <= 100.0));
}

bool isReductionSound(const ReductionPlan::Reduction& reduction, const ReductionPlan& plan) {
    if (reduction.column >= plan.columns.size())
        return false;
    const PointColumn& column = plan.columns[reduction.column];
    if (reduction.statistic.kind != Statistic::Kind::None)
        return isStatisticSound(reduction.statistic, column);
    return !column.hasHeights && reduction.wanted.filter < filterSkip &&
           (reduction.wanted.filter == filterRegression || reduction.wanted.direction != directionFit);
}

/// Only whole positions have components.
bool hasComponents(const ReductionPlan::Reduction& reduction, const ReductionPlan& plan) {
    return reduction.statistic.kind == Statistic::Kind::None &&
           plan.columns[reduction.column].kind == PointColumn::Kind::Positions &&
           reduction.wanted.direction == directionAll && reduction.wanted.filter != filterRegression;
}

bool isBandSound(const JobBand& band, const RunPlan& plan) {
    if (band.file >= plan.outputs.size() || band.number >= plan.outputs[band.file].description.bands.size())
        return false;
    if (band.source != JobBand::Source::Reduction)
        return band.subset <= plan.job.plan.subsets.size();
    const std::vector<ReductionPlan::Reduction>& reductions = plan.job.plan.reductions;
    if (band.reduction >= reductions.size() ||
        band.subset != plan.job.plan.columns[reductions[band.reduction].column].subset)
        return false;
    const bool isPart = hasComponents(reductions[band.reduction], plan.job.plan);
    return band.component ? isPart && *band.component >= 0 && *band.component < 3 : !isPart;
}

bool isSideSound(std::uint64_t side) {
    return side != 0 && side <= BlockLattice::blockSide && BlockLattice::blockSide % side == 0;
}

std::string faultOfPoints(const RunPlan& plan) {
    std::uint64_t points = 0;
    for (const PlannedInput& input : plan.inputs)
        if (__builtin_add_overflow(points, input.points, &points))
            return "more points than can be counted";
    const ReductionPlan& work = plan.job.plan;
    if (!std::ranges::all_of(work.needs.selection, isConditionSound) ||
        !std::ranges::all_of(plan.groundPoints, isConditionSound))
        return "a selection by ranges that are none";
    if (plan.ground.empty() && plan.groundPoints.empty() && needsGround(work))
        return "heights above a ground that there is not";
    if (!std::ranges::all_of(work.subsets, [&](const PointConditions& conditions) {
            return isSubsetSound(conditions, work.needs);
        }))
        return "points by ranges that are none, or by a field that is not read";
    if (!std::ranges::all_of(plan.job.plan.columns,
                             [&](const PointColumn& column) { return isColumnSound(column, work); }))
        return "a column of a field that is not read";
    if (!std::ranges::all_of(plan.job.plan.reductions, [&](const ReductionPlan::Reduction& reduction) {
            return isReductionSound(reduction, plan.job.plan);
        }))
        return "a reduction that is none, or of a column that there is not";
    return "";
}

std::string faultOfLattice(const RunPlan& plan) {
    try {
        const BlockLattice lattice = plan.makeLattice();
        if (lattice.x().cells() != plan.geometry.width || lattice.y().cells() != plan.geometry.height)
            return "a lattice of other cells than the raster";
    } catch (const Error& error) {
        return error.what();
    }
    return "";
}

std::string faultOfWork(const RunPlan& plan) {
    const RasterJob& job = plan.job;
    if (job.threads == 0 || job.threads > mostThreads)
        return "threads: " + std::to_string(job.threads);
    if (job.pointsOfWindow == 0 || job.pointsOfCell == 0)
        return "room for no points";
    if (!isSideSound(plan.reading.side))
        return "squares of " + std::to_string(plan.reading.side) + " cells, which do not fill a block";
    return "";
}

bool holds(const BlockRectangle& all, const BlockRectangle& part) {
    return part.west < part.east && part.east <= all.east && part.north < part.south &&
           part.south <= all.south;
}

/// Goes through them from north to south.
bool areApart(std::vector<BlockRectangle> parts) {
    std::ranges::sort(parts, {}, &BlockRectangle::north);
    // By their first columns, of which none share any.
    std::map<std::uint64_t, BlockRectangle> lowest;
    for (const BlockRectangle& part : parts) {
        // What ends north of this part ends north of all that follow.
        auto next = lowest.lower_bound(part.west);
        if (next != lowest.begin() && std::prev(next)->second.east > part.west)
            --next;
        while (next != lowest.end() && next->first < part.east) {
            if (next->second.south > part.north)
                return false;
            next = lowest.erase(next);
        }
        lowest.emplace(part.west, part);
    }
    return true;
}

/// Each block has to be in one part.
std::string faultOfParts(const RunPlan& plan) {
    const BlockLattice lattice = plan.makeLattice();
    std::uint64_t left = lattice.blocks().count();
    for (const BlockRectangle& part : plan.parts) {
        if (!holds(lattice.blocks(), part) || part.count() > left)
            return "parts that are not in the raster, or share blocks";
        left -= part.count();
    }
    if (!plan.parts.empty() && (left != 0 || !areApart(plan.parts)))
        return "parts that leave blocks out or share some";
    const bool isOnePass = plan.reading.inOnePass;
    return isOnePass && !bytesOfStates(plan.job.plan, plan.largestWindow())
               ? "one pass for reductions that take more"
               : "";
}

std::string faultOfOutputs(const RunPlan& plan) {
    if (plan.outputs.empty())
        return "no output";
    std::size_t bands = 0;
    for (const PlannedOutput& output : plan.outputs)
        bands += output.description.bands.size();
    if (bands != plan.job.bands.size())
        return "other bands to be made than the outputs have";
    if (!std::ranges::all_of(plan.job.bands, [&](const JobBand& band) { return isBandSound(band, plan); }))
        return "a band of nothing, or of no output";
    return "";
}

} // namespace

std::string faultOf(const RunPlan& plan) {
    for (const auto& fault : {faultOfPoints, faultOfLattice, faultOfWork, faultOfParts, faultOfOutputs})
        if (std::string found = fault(plan); !found.empty())
            return found;
    return "";
}

} // namespace Tilewright::Io
