/// CloudIndex: where the points of a cloud lie, found in one pass over all of them.
///
/// Each source is taken as stretches of consecutive records with a box each. What works on a part of the
/// raster then only reads the stretches that reach into it: the points of a scan lie about in the order of
/// the flight.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <io/clouds/CloudSelection.h>
#include <io/clouds/PointCloud.h>
#include <io/clouds/PointMeasures.h>
#include <io/system/StepReport.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

struct Stretch {
    static constexpr std::uint64_t notCounted = std::numeric_limits<std::uint64_t>::max();

    /// Which of PointCloud::sources().
    std::uint32_t source;
    std::uint64_t first;
    std::uint64_t count;
    /// Of x and y.
    std::array<double, 2> low;
    std::array<double, 2> high;
    /// The points that are selected, if they were counted.
    std::uint64_t selected = notCounted;
};

struct CloudIndex {
    /// In the order of the points.
    std::vector<Stretch> stretches;
    PointBounds bounds;
    /// Of the attributes asked for, in their order.
    std::vector<FieldRange> ranges;
    /// Points that are in no stretch, as their file states that they lie elsewhere. The bounds are then those
    /// that the files state, and whatever was found beyond them.
    std::uint64_t skippedPoints = 0;
};

/// Nothing outside `window` is of interest: what a file states to lie elsewhere, as COPC does of its nodes,
/// is not read.
using IndexWindow = std::optional<CoordinateBox>;

/// The index as far as it is known without reading any points: no stretch has a box, the bounds are what the
/// files state, and nothing is known of attributes. None if a file states no bounds.
TILEWRIGHT_API std::optional<CloudIndex> statedIndex(const PointCloud& cloud, const IndexWindow& window = {});

class IndexFolder;

/// How the points of a cloud are measured.
struct IndexingPlan {
    /// Attributes to find the ranges of.
    std::vector<std::string> fields;
    unsigned threads = 1;
    StepReport report;
    IndexWindow window = {};
    /// Where the indices of files are kept, in finer stretches than those of a large cloud; null for nowhere.
    /// Those that are there already, and still right, are not made again.
    const IndexFolder* folder = nullptr;
    /// Points to be counted on the way, of stretches that have to be measured; null for none. Without a
    /// ground.
    const PointNeeds* counted = nullptr;
};

/// Throws Interruption when `report` answers false; it counts points. Throws OutputError if an index can't be
/// kept.
TILEWRIGHT_API CloudIndex indexCloud(const PointCloud& cloud, const IndexingPlan& plan);

/// The same with nothing kept.
TILEWRIGHT_API CloudIndex indexCloud(const PointCloud& cloud, const std::vector<std::string>& fieldsToMeasure,
                                     unsigned threads, const StepReport& report,
                                     const IndexWindow& window = {});

} // namespace Tilewright::Io
