#include <io/clouds/PointMeasures.h>

#include <algorithm>
#include <cmath>

namespace Tilewright::Io {

namespace {

FieldRange rangeOf(std::span<const double> values) {
    FieldRange range;
    for (const double value : values) {
        range.least = std::min(range.least, value);
        range.greatest = std::max(range.greatest, value);
        range.hasNaN |= std::isnan(value);
        range.by257 = range.by257 && std::fmod(value, 257.0) == 0.0;
        range.by256 = range.by256 && std::fmod(value, 256.0) == 0.0;
    }
    return range;
}

} // namespace

void FieldRange::add(const FieldRange& other) {
    least = std::min(least, other.least);
    greatest = std::max(greatest, other.greatest);
    hasNaN |= other.hasNaN;
    by257 &= other.by257;
    by256 &= other.by256;
}

PointMeasures::PointMeasures(std::vector<std::string> fields)
    : Fields(std::move(fields)), Ranges(Fields.size()) {}

void PointMeasures::add(const RecordFormat& format, const std::byte* records, std::size_t count) {
    Bounds.add(boundsOf(format, records, count));
    Values.resize(std::max(Values.size(), count));
    for (std::size_t f = 0; f < Fields.size(); ++f) {
        const std::span<double> values(Values.data(), count);
        decodeField(format, *format.findField(Fields[f]), records, values);
        Ranges[f].add(rangeOf(values));
    }
}

void PointMeasures::add(const PointMeasures& other) {
    Bounds.add(other.Bounds);
    for (std::size_t f = 0; f < Ranges.size(); ++f)
        Ranges[f].add(other.Ranges[f]);
}

} // namespace Tilewright::Io
