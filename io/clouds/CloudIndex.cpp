#include <io/clouds/CloudIndex.h>

#include <algorithm>
#include <atomic>
#include <mutex>

#include <io/records/ByteSelection.h>
#include <io/system/Parallel.h>

namespace Tilewright::Io {

namespace {

/// Records of a stretch: few enough to be small beside a block of the raster in most scans.
constexpr std::uint64_t usualStretch = 8192;
/// Longer stretches keep the index of a huge cloud small.
constexpr std::uint64_t mostStretches = std::uint64_t(1) << 18;
/// Points that a thread takes at a time.
constexpr std::uint64_t pointsAtATime = 64 * usualStretch;

bool isElsewhere(const SourcePiece& piece, const IndexWindow& window) {
    if (!window || !piece.statedBox)
        return false;
    bool isApart = false;
    for (std::size_t axis = 0; axis < 2; ++axis)
        isApart |= piece.statedBox->high[axis] < window->low[axis] ||
                   piece.statedBox->low[axis] > window->high[axis];
    return isApart;
}

/// An index of stretches without boxes; what is skipped adds the bounds that its file states.
CloudIndex cutIntoStretches(const PointCloud& cloud, const IndexWindow& window) {
    const std::uint64_t length = std::max(usualStretch, cloud.pointCount() / mostStretches + 1);
    CloudIndex index;
    for (std::uint32_t s = 0; s < cloud.sources().size(); ++s) {
        const PointSource& source = *cloud.sources()[s];
        const std::optional<PointBounds> bounds = source.statedBounds();
        std::uint64_t first = 0;
        for (const SourcePiece& piece : source.pieces()) {
            first = piece.first + piece.count;
            if (bounds && isElsewhere(piece, window)) {
                index.skippedPoints += piece.count;
                index.bounds.add(*bounds);
            } else {
                index.stretches.push_back({s, piece.first, piece.count, {}, {}});
            }
        }
        for (; first < source.pointCount(); first += length)
            index.stretches.push_back({s, first, std::min(length, source.pointCount() - first), {}, {}});
    }
    return index;
}

/// Where the work of a thread begins among the stretches, with an end after the last.
std::vector<std::size_t> shareOut(const std::vector<Stretch>& stretches) {
    std::vector<std::size_t> begins;
    std::uint64_t points = pointsAtATime;
    for (std::size_t s = 0; s < stretches.size(); ++s) {
        if (points >= pointsAtATime) {
            begins.push_back(s);
            points = 0;
        }
        points += stretches[s].count;
    }
    begins.push_back(stretches.size());
    return begins;
}

/// Measures a stretch and notes its box.
PointMeasures measure(const PointSource& source, const std::vector<std::string>& fields, Stretch& stretch) {
    PointMeasures measures(fields);
    ByteSelection bytes = ByteSelection::positions(source.format());
    for (const std::string& field : fields)
        bytes.add(*source.format().findField(field));
    source.visit(stretch.first, stretch.count, bytes, [&](const std::byte* records, std::size_t count) {
        measures.add(source.format(), records, count);
    });
    stretch.low = {measures.bounds().low[0], measures.bounds().low[1]};
    stretch.high = {measures.bounds().high[0], measures.bounds().high[1]};
    return measures;
}

} // namespace

std::optional<CloudIndex> statedIndex(const PointCloud& cloud, const IndexWindow& window) {
    CloudIndex index = cutIntoStretches(cloud, window);
    for (const auto& source : cloud.sources()) {
        const std::optional<PointBounds> bounds = source->statedBounds();
        if (!bounds)
            return std::nullopt;
        index.bounds.add(*bounds);
    }
    return index;
}

CloudIndex indexCloud(const PointCloud& cloud, const std::vector<std::string>& fieldsToMeasure,
                      unsigned threads, const StepReport& report, const IndexWindow& window) {
    CloudIndex index = cutIntoStretches(cloud, window);
    PointMeasures all(fieldsToMeasure);
    std::atomic<std::uint64_t> done = 0;
    std::mutex lock;
    const std::vector<std::size_t> begins = shareOut(index.stretches);
    forEachPiece(threads, begins.size() - 1, [&](std::size_t share) {
        if (report && !report(done, cloud.pointCount()))
            throw Interruption();
        PointMeasures measures(fieldsToMeasure);
        for (std::size_t s = begins[share]; s < begins[share + 1]; ++s) {
            Stretch& stretch = index.stretches[s];
            measures.add(measure(*cloud.sources()[stretch.source], fieldsToMeasure, stretch));
            done += stretch.count;
        }
        const std::lock_guard guard(lock);
        all.add(measures);
    });
    index.bounds.add(all.bounds());
    index.ranges = all.ranges();
    return index;
}

} // namespace Tilewright::Io
