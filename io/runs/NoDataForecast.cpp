#include <io/runs/NoDataForecast.h>

#include <algorithm>
#include <optional>

#include <io/runs/NoDataChoice.h>
#include <io/runs/PixelRange.h>
#include <io/runs/UnchangedCloud.h>
#include <tilewright/filters/vocabulary.h>

namespace Tilewright::Io {

namespace {

using Kind = Statistic::Kind;

/// Of a raster that is not kept.
class NoSink : public BlockSink {
public:
    void take(std::size_t /*band*/, const PixelWindow& /*window*/, const PixelSpan& /*pixels*/) override {}
};

/// Whether results are one of the values or lie between two.
bool isAmongValues(const ReductionPlan::Reduction& reduction) {
    switch (reduction.statistic.kind) {
    case Kind::None: {
        const auto filter = reduction.wanted.filter;
        return filter == filterMean || filter == filterMin || filter == filterMax || filter == filterMedian ||
               filter == filterMaxOccurrence;
    }
    case Kind::First:
    case Kind::Last:
    case Kind::AtHighest:
    case Kind::AtLowest:
    case Kind::Median:
    case Kind::MedianHigh:
    case Kind::MedianLow:
    case Kind::Percentile:
    case Kind::Mode:
        return true;
    default:
        return false;
    }
}

/// The greatest value of an attribute; none if it was not measured.
std::optional<double> greatestOf(const std::string& field, const PlannedRun& run) {
    const auto found = std::ranges::find(run.measured, field);
    if (found == run.measured.end())
        return std::nullopt;
    const FieldRange& range = run.index.ranges[static_cast<std::size_t>(found - run.measured.begin())];
    return range.hasNaN ? std::nullopt : std::optional(range.greatest);
}

/// What no pixel of a band is above; none if nothing is known.
std::optional<double> greatestPixel(const JobBand& band, const PlannedRun& run) {
    const ReductionPlan& plan = run.plan.job.plan;
    if (band.source == JobBand::Source::Count)
        return static_cast<double>(run.plan.points());
    if (band.source != JobBand::Source::Reduction)
        return std::nullopt;
    const ReductionPlan::Reduction& reduction = plan.reductions[band.reduction];
    const PointColumn& column = plan.columns[reduction.column];
    if (reduction.statistic.kind == Kind::Distinct)
        return static_cast<double>(run.plan.points());
    if (!isAmongValues(reduction) || column.kind != PointColumn::Kind::Attribute || column.scale != 1.0 ||
        band.scale != 1.0)
        return std::nullopt;
    return greatestOf(plan.needs.fields[column.attribute].name, run);
}

/// Whether some cell with data may have the nodata value of its file.
bool mayClash(const JobBand& band, const RasterDescription& file, const PlannedRun& run) {
    if (run.plan.nodata || !file.nodata || isFloating(file.type))
        return false;
    const std::optional<double> greatest = greatestPixel(band, run);
    // What lies between whole numbers is rounded.
    return !greatest || *greatest + 1.0 > asNumber(*file.nodata);
}

/// As if no cell had such a value, however often it is asked.
JobResult withoutClash(const RunPlan& plan) {
    JobResult result;
    result.clashes.resize(plan.outputs.size());
    result.cutCells.resize(plan.job.bands.size());
    return result;
}

} // namespace

RasteredBlocks forecastNoData(const PlannedRun& run, const RunProgress& progress) {
    const RunPlan& plan = run.plan;
    RasteredBlocks found;
    found.result = withoutClash(plan);
    found.descriptions = makeWithoutClash(
        plan, 0, [&](const std::vector<RasterDescription>& /*files*/) { return found.result; });
    if (std::ranges::none_of(plan.job.bands, [&](const JobBand& band) {
            return mayClash(band, found.descriptions[band.file], run);
        }))
        return found;
    return whileUnchanged(*run.cloud, [&] {
        const BlockLattice lattice = plan.makeLattice();
        const BlockMaking make = makingFromPoints(run, lattice, progress);
        bool isMade = false;
        found.descriptions =
            makeWithoutClash(plan, lattice.cells(), [&](const std::vector<RasterDescription>& files) {
                // What comes second is free by what was found of all cells the first time.
                if (isMade)
                    return withoutClash(plan);
                NoSink sink;
                isMade = true;
                found.result = make(files, sink);
                return found.result;
            });
        addNotes(plan, found);
        return found;
    });
}

} // namespace Tilewright::Io
