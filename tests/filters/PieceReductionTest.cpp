// Reductions that take their points piece by piece must come to the bits of those that have all at once.
#include <tilewright/filters/PieceReduction.h>

#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include <tilewright/filters/reduceCells.h>

namespace Tilewright {
namespace {

using Orrery::PhysicalSpace::point;

const Quill::MultiIndex<3> sizes(7, 5, 1);

template <class T> T valueOf(std::mt19937& random) {
    const auto number = [&] { return static_cast<double>(random() % 2000) / 8.0; };
    if constexpr (std::is_same_v<T, point>)
        return {number(), number() - 100.0, number()};
    else
        return static_cast<T>(number());
}

template <class T> class PieceReductionTest : public testing::Test {
protected:
    PieceReductionTest() {
        std::mt19937 random(17);
        for (int i = 0; i < 900; ++i) {
            // Some cells stay empty. In the second half, points follow one another in a cell.
            const bool staysInCell = i > 450 && random() % 20 != 0;
            Cells.push_back(staysInCell ? Cells.back() : static_cast<std::uint32_t>(random() % 30));
            Values.push_back(valueOf<T>(random));
        }
        std::vector<T> copy = Values;
        const Quill::MultiIndex<1> size(copy.size());
        const Larder::Ref<Larder::Chunk<T>> chunk(std::move(copy));
        Whole = Larder::Ref<Quill::MemArray<1, T>>(chunk, size);
    }

    Quill::ArrayPtr inPieces(const DirectionAndFilter& wanted) const {
        const auto reduction = makePieceReduction<T>(sizes, wanted);
        if (!reduction)
            return {};
        for (std::size_t first = 0; first < Cells.size(); first += 101) {
            const std::size_t count = std::min<std::size_t>(101, Cells.size() - first);
            reduction->take(std::span(Cells).subspan(first, count), Values.data() + first);
        }
        const std::span<const std::uint32_t> counts = Lists.counts();
        reduction->finish(20, counts.subspan(20));
        reduction->finish(0, counts.first(20));
        return reduction->results();
    }

    static std::string bytesOf(const Quill::ArrayPtr& array) {
        return {static_cast<const char*>(array->getPtr()), array->memsize()};
    }

    std::vector<std::uint32_t> Cells;
    std::vector<T> Values;
    Quill::ArrayPtr Whole;
    CellLists Lists{sizes, Cells};
};

using Types = testing::Types<float, double, unsigned char, unsigned short, unsigned int, unsigned long long,
                             int, point>;
TYPED_TEST_SUITE(PieceReductionTest, Types);

TYPED_TEST(PieceReductionTest, ComesToTheBitsOfAllAtOnce) {
    this->Lists = CellLists(sizes, this->Cells);
    for (std::uint32_t direction = directionX; direction <= directionFit; ++direction)
        for (std::uint32_t filter = filterMean; filter <= filterSkip; ++filter) {
            const DirectionAndFilter wanted{direction, filter};
            const Quill::ArrayPtr pieces = this->inPieces(wanted);
            const bool needsAll =
                filter == filterMedian || filter == filterSkip ||
                (filter == filterRegression && std::is_same_v<TypeParam, point> && direction != directionAll);
            ASSERT_EQ(needsAll, pieces == nullptr) << direction << " " << filter;
            if (!pieces)
                continue;
            EXPECT_EQ(this->bytesOf(reduceCells(this->Lists, this->Whole, wanted)), this->bytesOf(pieces))
                << direction << " " << filter;
        }
}

TYPED_TEST(PieceReductionTest, ComesToTheSameTogether) {
    using Reductions = std::vector<std::unique_ptr<PieceReduction<TypeParam>>>;
    for (const auto& wanted : std::vector<std::vector<unsigned>>{
             {filterMean, filterMin, filterMax, filterMaxOccurrence, filterMean},
             {filterMax, filterMean},
             {filterMaxOccurrence, filterMin, filterMean},
             {filterMin, filterMax},
             {filterMax}}) {
        Reductions alone, together;
        std::vector<PieceReduction<TypeParam>*> all;
        for (const unsigned filter : wanted) {
            const DirectionAndFilter way{alone.empty() ? directionY : directionX, filter};
            alone.push_back(makePieceReduction<TypeParam>(sizes, way));
            together.push_back(makePieceReduction<TypeParam>(sizes, way));
            all.push_back(together.back().get());
        }
        for (std::size_t first = 0; first < this->Cells.size(); first += 101) {
            const std::size_t count = std::min<std::size_t>(101, this->Cells.size() - first);
            const auto cells = std::span(this->Cells).subspan(first, count);
            takeTogether<TypeParam>(all, cells, this->Values.data() + first);
            for (const auto& reduction : alone)
                reduction->take(cells, this->Values.data() + first);
        }
        for (std::size_t r = 0; r < wanted.size(); ++r)
            EXPECT_EQ(this->bytesOf(alone[r]->results()), this->bytesOf(together[r]->results())) << r;
    }
}

} // namespace
} // namespace Tilewright
