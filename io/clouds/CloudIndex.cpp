#include <io/clouds/CloudIndex.h>

#include <algorithm>
#include <atomic>
#include <cmath>

#include <io/system/Parallel.h>

namespace Tilewright::Io {

namespace {

/// Records of a stretch: few enough to be small beside a block of the raster in most scans.
constexpr std::uint64_t usualStretch = 8192;
/// Longer stretches keep the index of a huge cloud small.
constexpr std::uint64_t mostStretches = std::uint64_t(1) << 18;
/// Stretches that a thread takes at a time.
constexpr std::size_t stretchesAtATime = 64;

FieldRange rangeOf(const RecordFormat& format, const PointField& field, const std::byte* records,
                   std::vector<double>& values, std::size_t count) {
    values.resize(count);
    decodeField(format, field, records, std::span(values));
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

std::vector<Stretch> cutIntoStretches(const PointCloud& cloud) {
    const std::uint64_t length = std::max(usualStretch, cloud.pointCount() / mostStretches + 1);
    std::vector<Stretch> stretches;
    for (std::uint32_t source = 0; source < cloud.sources().size(); ++source) {
        const std::uint64_t points = cloud.sources()[source]->pointCount();
        for (std::uint64_t first = 0; first < points; first += length)
            stretches.push_back({source, first, std::min(length, points - first), {}, {}});
    }
    return stretches;
}

} // namespace

void FieldRange::add(const FieldRange& other) {
    least = std::min(least, other.least);
    greatest = std::max(greatest, other.greatest);
    hasNaN |= other.hasNaN;
    by257 &= other.by257;
    by256 &= other.by256;
}

CloudIndex indexCloud(const PointCloud& cloud, const std::vector<std::string>& fieldsToMeasure,
                      unsigned threads, const StepReport& report) {
    CloudIndex index;
    index.stretches = cutIntoStretches(cloud);
    index.ranges.resize(fieldsToMeasure.size());
    std::atomic<std::uint64_t> done = 0;
    std::mutex lock;
    const std::size_t pieces = (index.stretches.size() + stretchesAtATime - 1) / stretchesAtATime;
    forEachPiece(threads, pieces, [&](std::size_t piece) {
        if (report && !report(done, cloud.pointCount()))
            throw Interruption();
        PointBounds bounds;
        std::vector<FieldRange> ranges(fieldsToMeasure.size());
        std::vector<double> values;
        const std::size_t end = std::min((piece + 1) * stretchesAtATime, index.stretches.size());
        for (std::size_t s = piece * stretchesAtATime; s < end; ++s) {
            Stretch& stretch = index.stretches[s];
            const PointSource& source = *cloud.sources()[stretch.source];
            const RecordFormat& format = source.format();
            const PointBounds box = source.bounds(stretch.first, stretch.count);
            stretch.low = {box.low[0], box.low[1]};
            stretch.high = {box.high[0], box.high[1]};
            bounds.add(box);
            if (!fieldsToMeasure.empty())
                source.visit(stretch.first, stretch.count, [&](const std::byte* records, std::size_t n) {
                    for (std::size_t f = 0; f < fieldsToMeasure.size(); ++f)
                        ranges[f].add(
                            rangeOf(format, *format.findField(fieldsToMeasure[f]), records, values, n));
                });
            done += stretch.count;
        }
        const std::lock_guard guard(lock);
        index.bounds.add(bounds);
        for (std::size_t f = 0; f < ranges.size(); ++f)
            index.ranges[f].add(ranges[f]);
    });
    return index;
}

} // namespace Tilewright::Io
