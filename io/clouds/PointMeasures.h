/// PointMeasures: where points lie, and what the values of some of their attributes are like.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include <io/records/PointSource.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

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

/// For one thread.
class TILEWRIGHT_API PointMeasures {
public:
    /// Measures the attributes of these names.
    explicit PointMeasures(std::vector<std::string> fields = {});

    /// Measures records that lie one after the other.
    void add(const RecordFormat& format, const std::byte* records, std::size_t count);
    /// Adds what was measured of the same attributes elsewhere.
    void add(const PointMeasures& other);

    const PointBounds& bounds() const { return Bounds; }
    /// In the order of the names.
    const std::vector<FieldRange>& ranges() const { return Ranges; }

private:
    std::vector<std::string> Fields;
    PointBounds Bounds;
    std::vector<FieldRange> Ranges;
    std::vector<double> Values;
};

} // namespace Tilewright::Io
