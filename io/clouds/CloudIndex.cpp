#include <io/clouds/CloudIndex.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>

#include <io/clouds/IndexFolder.h>
#include <io/records/ByteSelection.h>
#include <io/system/Parallel.h>

namespace Tilewright::Io {

namespace {

/// Records of a stretch: few enough to be small beside a block of the raster in most scans.
constexpr std::uint64_t usualStretch = 8192;
/// Longer stretches keep the index of a huge cloud small.
constexpr std::uint64_t mostStretches = std::uint64_t(1) << 18;
/// Of a file whose index is kept: a part of the raster reads those of its own files only.
constexpr std::uint64_t mostStretchesOfFile = 4096;
/// That are in memory where indices are kept.
constexpr std::uint64_t mostStretchesInMemory = std::uint64_t(1) << 22;
/// Points that a thread takes at a time.
constexpr std::uint64_t pointsAtATime = 64 * usualStretch;
/// Sources that are measured together: so many points for each thread that none waits long at the end, and so
/// few files that little is lost when the process is killed.
constexpr std::uint64_t pointsOfGroup = 64 * pointsAtATime;
constexpr std::size_t sourcesOfGroup = 256;

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
CloudIndex cutIntoStretches(const PointSource& source, std::uint32_t number, std::uint64_t length,
                            const IndexWindow& window) {
    CloudIndex index;
    const std::optional<PointBounds> bounds = source.statedBounds();
    std::uint64_t first = 0;
    for (const SourcePiece& piece : source.pieces()) {
        first = piece.first + piece.count;
        if (bounds && isElsewhere(piece, window)) {
            index.skippedPoints += piece.count;
            index.bounds.add(*bounds);
        } else {
            index.stretches.push_back({number, piece.first, piece.count, {}, {}});
        }
    }
    for (; first < source.pointCount(); first += length)
        index.stretches.push_back({number, first, std::min(length, source.pointCount() - first), {}, {}});
    return index;
}

std::uint64_t lengthOfStretches(const PointCloud& cloud) {
    return std::max(usualStretch, cloud.pointCount() / mostStretches + 1);
}

/// Adds what is known of a source, after those before it.
void append(CloudIndex& all, CloudIndex&& one) {
    all.stretches.insert(all.stretches.end(), one.stretches.begin(), one.stretches.end());
    all.bounds.add(one.bounds);
    all.skippedPoints += one.skippedPoints;
    if (all.ranges.empty())
        all.ranges = std::move(one.ranges);
    else
        for (std::size_t f = 0; f < all.ranges.size(); ++f)
            all.ranges[f].add(one.ranges[f]);
}

ByteSelection bytesToMeasure(const RecordFormat& format, const IndexingPlan& plan) {
    ByteSelection bytes = ByteSelection::positions(format);
    for (const std::string& field : plan.fields)
        bytes.add(*format.findField(field));
    if (plan.counted)
        for (const std::string& field : attributesOf(plan.counted->selection))
            bytes.add(*format.findField(field));
    return bytes;
}

/// Measures a stretch and notes its box, and how many points are selected if that is asked for.
PointMeasures measure(const PointSource& source, const IndexingPlan& plan,
                      std::optional<SelectionCounter>& counter, Stretch& stretch) {
    PointMeasures measures(plan.fields);
    std::uint64_t selected = 0;
    source.visit(stretch.first, stretch.count, bytesToMeasure(source.format(), plan),
                 [&](const std::byte* records, std::size_t count) {
                     measures.add(source.format(), records, count);
                     if (counter)
                         selected += counter->count(source.format(), records, count);
                 });
    if (counter)
        stretch.selected = selected;
    stretch.low = {measures.bounds().low[0], measures.bounds().low[1]};
    stretch.high = {measures.bounds().high[0], measures.bounds().high[1]};
    return measures;
}

/// Makes neighbours one, so that about `most` are left.
void coarsen(std::vector<Stretch>& stretches, std::size_t most) {
    if (stretches.size() <= most)
        return;
    const std::size_t step = (stretches.size() + most - 1) / most;
    std::size_t kept = 0;
    std::size_t joined = 0;
    for (const Stretch& stretch : stretches) {
        Stretch* const last = kept != 0 ? &stretches[kept - 1] : nullptr;
        if (!last || joined == step || last->first + last->count != stretch.first) {
            stretches[kept++] = stretch;
            joined = 1;
            continue;
        }
        last->count += stretch.count;
        const bool areCounted = std::max(last->selected, stretch.selected) != Stretch::notCounted;
        last->selected = areCounted ? last->selected + stretch.selected : Stretch::notCounted;
        for (std::size_t axis = 0; axis < 2; ++axis) {
            last->low[axis] = std::min(last->low[axis], stretch.low[axis]);
            last->high[axis] = std::max(last->high[axis], stretch.high[axis]);
        }
        ++joined;
    }
    stretches.resize(kept);
}

/// Measures a cloud, some sources at a time.
class Indexing {
public:
    Indexing(const PointCloud& cloud, const IndexingPlan& plan) : Cloud(cloud), Plan(plan) {}

    CloudIndex run() {
        CloudIndex all;
        all.ranges.resize(Plan.fields.size());
        for (std::size_t first = 0; first < Cloud.sources().size();) {
            std::uint64_t points = 0;
            Group.clear();
            while (first < Cloud.sources().size() && Group.size() < sourcesOfGroup &&
                   points < pointsOfGroup * Plan.threads) {
                points += Cloud.sources()[first]->pointCount();
                Group.push_back(std::make_unique<Item>(Plan.fields));
                Group.back()->number = static_cast<std::uint32_t>(first++);
            }
            indexGroup();
            for (const auto& item : Group)
                append(all, std::move(item->index));
        }
        return all;
    }

private:
    /// A source.
    struct Item {
        explicit Item(const std::vector<std::string>& fields) : measures(fields) {}

        std::uint32_t number = 0;
        CloudIndex index;
        bool isKnown = false;
        std::mutex lock;
        PointMeasures measures;
    };

    struct Work {
        Item* item;
        std::size_t first;
        std::size_t end;
    };

    const PointSource& sourceOf(const Item& item) const { return *Cloud.sources()[item.number]; }
    const FileState& fileOf(const Item& item) const { return Cloud.files()[item.number]; }
    bool isKept() const { return Plan.folder && !Cloud.files().empty(); }

    void indexGroup() {
        forEachPiece(Plan.threads, Group.size(), [&](std::size_t i) { begin(*Group[i]); });
        const std::vector<std::vector<Work>> shares = shareOut();
        forEachPiece(Plan.threads, shares.size(), [&](std::size_t share) {
            if (Plan.report && !Plan.report(Done, Cloud.pointCount()))
                throw Interruption();
            for (const Work& work : shares[share])
                measureStretches(work);
        });
        forEachPiece(Plan.threads, Group.size(), [&](std::size_t i) { finish(*Group[i]); });
    }

    void begin(Item& item) {
        const PointSource& source = sourceOf(item);
        const std::uint64_t length =
            isKept() ? std::max(usualStretch, source.pointCount() / mostStretchesOfFile + 1)
                     : lengthOfStretches(Cloud);
        item.index = cutIntoStretches(source, item.number, length, Plan.window);
        if (!isKept())
            return;
        std::optional<FileIndex> known = Plan.folder->find(fileOf(item), source.pointCount(), Plan.fields);
        if (!known || !isForThis(*known, item.index))
            return;
        item.isKnown = true;
        item.index = std::move(known->index);
        for (Stretch& stretch : item.index.stretches)
            stretch.source = item.number;
        Done += source.pointCount();
    }

    /// Whether the same would be skipped now.
    bool isForThis(const FileIndex& known, const CloudIndex& wanted) const {
        if (known.index.skippedPoints == 0 && wanted.skippedPoints == 0)
            return true;
        return known.window && Plan.window && known.window->low == Plan.window->low &&
               known.window->high == Plan.window->high;
    }

    /// What threads take at a time: of a large source a few stretches, of small ones several.
    std::vector<std::vector<Work>> shareOut() const {
        std::vector<std::vector<Work>> shares;
        std::uint64_t points = pointsAtATime;
        for (const auto& item : Group)
            for (std::size_t s = 0; !item->isKnown && s < item->index.stretches.size(); ++s) {
                if (points >= pointsAtATime) {
                    shares.emplace_back();
                    points = 0;
                }
                std::vector<Work>& share = shares.back();
                if (share.empty() || share.back().item != item.get())
                    share.push_back({item.get(), s, s});
                ++share.back().end;
                points += item->index.stretches[s].count;
            }
        return shares;
    }

    void measureStretches(const Work& work) {
        PointMeasures measures(Plan.fields);
        std::optional<SelectionCounter> counter;
        if (Plan.counted)
            counter.emplace(*Plan.counted);
        for (std::size_t s = work.first; s < work.end; ++s) {
            Stretch& stretch = work.item->index.stretches[s];
            measures.add(measure(sourceOf(*work.item), Plan, counter, stretch));
            Done += stretch.count;
        }
        const std::lock_guard guard(work.item->lock);
        work.item->measures.add(measures);
    }

    void finish(Item& item) {
        const std::uint64_t points = sourceOf(item).pointCount();
        if (!item.isKnown) {
            item.index.bounds.add(item.measures.bounds());
            item.index.ranges = item.measures.ranges();
        }
        if (!isKept())
            return;
        const FileState& file = fileOf(item);
        if (!item.isKnown)
            Plan.folder->keep(file.path,
                              {file.size, file.modified, points, Plan.window, Plan.fields, item.index});
        const double share =
            static_cast<double>(points) / static_cast<double>(std::max<std::uint64_t>(Cloud.pointCount(), 1));
        coarsen(item.index.stretches,
                16 + static_cast<std::size_t>(share * static_cast<double>(mostStretchesInMemory)));
    }

    const PointCloud& Cloud;
    const IndexingPlan& Plan;
    std::vector<std::unique_ptr<Item>> Group;
    std::atomic<std::uint64_t> Done = 0;
};

} // namespace

std::optional<CloudIndex> statedIndex(const PointCloud& cloud, const IndexWindow& window) {
    CloudIndex index;
    for (std::uint32_t s = 0; s < cloud.sources().size(); ++s) {
        const PointSource& source = *cloud.sources()[s];
        const std::optional<PointBounds> bounds = source.statedBounds();
        if (!bounds)
            return std::nullopt;
        append(index, cutIntoStretches(source, s, lengthOfStretches(cloud), window));
        index.bounds.add(*bounds);
    }
    return index;
}

CloudIndex indexCloud(const PointCloud& cloud, const IndexingPlan& plan) {
    return Indexing(cloud, plan).run();
}

CloudIndex indexCloud(const PointCloud& cloud, const std::vector<std::string>& fieldsToMeasure,
                      unsigned threads, const StepReport& report, const IndexWindow& window) {
    return indexCloud(cloud, {fieldsToMeasure, threads, report, window});
}

} // namespace Tilewright::Io
