/// CloudIndex: where the points of a cloud lie, found in one pass over all of them.
///
/// Each source is taken as stretches of consecutive records with a box each. What works on a part of the
/// raster then only reads the stretches that reach into it: the points of a scan lie about in the order of
/// the flight.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <io/clouds/PointCloud.h>
#include <io/system/StepReport.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

struct Stretch {
    /// Which of PointCloud::sources().
    std::uint32_t source;
    std::uint64_t first;
    std::uint64_t count;
    /// Of x and y.
    std::array<double, 2> low;
    std::array<double, 2> high;
};

/// What the values of an attribute are like; of numbers only.
struct TILEWRIGHT_API FieldRange {
    double least = std::numeric_limits<double>::infinity();
    double greatest = -std::numeric_limits<double>::infinity();
    /// Whether there are values that are not numbers.
    bool hasNaN = false;
    /// Whether all values are multiples of 257, and of 256: what scaling from 8 to 16 bits makes.
    bool by257 = true;
    bool by256 = true;

    void add(const FieldRange& other);
};

struct CloudIndex {
    /// In the order of the points.
    std::vector<Stretch> stretches;
    PointBounds bounds;
    /// Of the attributes asked for, in their order.
    std::vector<FieldRange> ranges;
};

/// Throws Interruption when `report` answers false; it counts points.
TILEWRIGHT_API CloudIndex indexCloud(const PointCloud& cloud, const std::vector<std::string>& fieldsToMeasure,
                                     unsigned threads, const StepReport& report);

} // namespace Tilewright::Io
