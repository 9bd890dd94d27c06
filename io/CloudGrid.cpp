#include <io/CloudGrid.h>

#include <algorithm>
#include <limits>
#include <memory>

#include <tilewright/arrays/MemArray.h>
#include <tilewright/values/MultiRange.h>

namespace Tilewright::Io {

namespace {

using Orrery::PhysicalSpace::point;

/// Points that are decoded and dealt out at a time.
constexpr std::uint64_t blockSize = 1 << 16;

/// The arrays of one field, one for each fragment.
class FieldStore {
public:
    virtual ~FieldStore() = default;

    /// Where the next block of values is decoded to.
    virtual FieldValues room(std::size_t count) = 0;
    /// Deals the decoded block out: value i goes to place slots[i] of fragment fragments[i].
    virtual void scatter(const std::vector<std::uint32_t>& fragments, const std::vector<std::uint32_t>& slots,
                         std::size_t count) = 0;
    /// Whether each value of the decoded block lies in the ranges that were set.
    virtual void test(std::vector<char>& passes, std::size_t count) const = 0;
};

/// Makes an array of `sizes[f]` elements for each fragment f that is not empty, and gives their storage.
template <class T>
std::vector<T*> makeArrays(const Quill::RegularFieldPtr& field, const std::vector<std::uint64_t>& sizes) {
    std::vector<T*> storage(sizes.size(), nullptr);
    for (std::size_t f = 0; f < sizes.size(); ++f) {
        if (sizes[f] == 0)
            continue;
        const Larder::Ref<Quill::MemArray<1, T>> array(Quill::MultiIndex<1>{sizes[f]});
        storage[f] = array->data;
        field->setPersistentData(array, field->Collection->findFragmentID(static_cast<unsigned>(f)),
                                 Larder::Cache::MemCache(), "");
    }
    return storage;
}

template <class T> class TypedFieldStore : public FieldStore {
public:
    TypedFieldStore(const Quill::RegularFieldPtr& field, const std::vector<std::uint64_t>& sizes,
                    const std::string& ranges)
        : Storage(makeArrays<T>(field, sizes)), Block(blockSize), Wanted(ranges) {}

    FieldValues room(std::size_t count) override { return std::span(Block.data(), count); }

    void scatter(const std::vector<std::uint32_t>& fragments, const std::vector<std::uint32_t>& slots,
                 std::size_t count) override {
        for (std::size_t i = 0; i < count; ++i)
            Storage[fragments[i]][slots[i]] = Block[i];
    }

    void test(std::vector<char>& passes, std::size_t count) const override {
        const Orrery::MultiRange<T>& wanted = *Wanted;
        for (std::size_t i = 0; i < count; ++i)
            passes[i] = wanted.contains(Block[i]);
    }

private:
    std::vector<T*> Storage;
    std::vector<T> Block;
    Larder::Ref<Orrery::MultiRange<T>> Wanted;
};

/// Calls `visit(first, count)` for one block of points after the other.
template <class Visitor>
void forEachBlock(const LasFile& file, std::uint64_t alreadyDone, const StepReport& report, Visitor&& visit) {
    const std::uint64_t total = file.pointCount();
    for (std::uint64_t first = 0; first < total; first += blockSize) {
        if (report && !report(alreadyDone + first, 2 * total))
            throw Interruption();
        visit(first, static_cast<std::size_t>(std::min(blockSize, total - first)));
    }
}

/// First pass: the points of each fragment.
std::vector<std::uint64_t> countPoints(const LasFile& file, const RasterLattice& lattice,
                                       const StepReport& report) {
    std::vector<std::uint64_t> sizes(lattice.fragmentCount().product(), 0);
    std::vector<point> block(blockSize);
    forEachBlock(file, 0, report, [&](std::uint64_t first, std::size_t count) {
        file.readPositions(first, std::span(block.data(), count));
        for (std::size_t i = 0; i < count; ++i)
            ++sizes[lattice.locate(block[i][0], block[i][1]).fragment];
    });
    if (*std::ranges::max_element(sizes) > std::numeric_limits<std::uint32_t>::max())
        throw InputError("a fragment has more than 4294967295 points; ask for more fragments");
    return sizes;
}

} // namespace

CloudGrid loadCloud(const LasFile& file, const std::vector<const LasField*>& fields,
                    const CloudSelection& selection, const RasterLattice& lattice, const StepReport& report) {
    CloudGrid cloud{Larder::Ref<Quill::Grid>(), std::vector<std::uint32_t>(lattice.cells(), 0)};
    const std::vector<std::uint64_t> sizes = countPoints(file, lattice, report);
    Quill::Representation& representation = cloud.grid->makeCartesianRepresentation(3, "", 0);
    const Quill::RegularFieldPtr positions = lattice.positions();
    representation["Positions"] = positions;
    const std::vector<point*> points = makeArrays<point>(positions, sizes);
    std::vector<std::unique_ptr<FieldStore>> stores;
    std::vector<LasColumn> columns;
    const FieldStore* selecting = nullptr;
    for (const LasField* const field : fields) {
        const Larder::Ref<Quill::RegularlyFragmentedField<3>> target(*positions);
        representation[field->name] = target;
        visitFieldType(field->type, [&]<class T>() {
            stores.push_back(std::make_unique<TypedFieldStore<T>>(target, sizes, selection.ranges));
        });
        columns.push_back({field, {}});
        if (field == selection.field)
            selecting = stores.back().get();
    }

    std::vector<point> block(blockSize);
    std::vector<std::uint32_t> fragments(blockSize);
    std::vector<std::uint32_t> slots(blockSize);
    std::vector<char> passes(blockSize, 1);
    std::vector<std::uint32_t> filled(sizes.size(), 0);
    forEachBlock(file, file.pointCount(), report, [&](std::uint64_t first, std::size_t count) {
        for (std::size_t c = 0; c < columns.size(); ++c)
            columns[c].values = stores[c]->room(count);
        file.read(first, count, block.front().data(), columns);
        if (selecting)
            selecting->test(passes, count);
        for (std::size_t i = 0; i < count; ++i) {
            const RasterLattice::Place place = lattice.locate(block[i][0], block[i][1]);
            cloud.counts[place.cell] += static_cast<unsigned char>(passes[i]);
            fragments[i] = static_cast<std::uint32_t>(place.fragment);
            slots[i] = filled[place.fragment]++;
            points[place.fragment][slots[i]] = {place.x, place.y, block[i][2]};
        }
        for (const auto& store : stores)
            store->scatter(fragments, slots, count);
    });
    return cloud;
}

} // namespace Tilewright::Io
