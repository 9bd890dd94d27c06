// The reductions that need all values of a cell at once, in their corners; tests/property states their rules
// in full.
#include "tests/filters/Reductions.h"

#include <cmath>

#include <tilewright/filters/MaxOccurrenceOperator.h>
#include <tilewright/filters/MedianOperator.h>

namespace Tilewright {
namespace {

using Doubles = std::vector<double>;
const double nan = std::nan("");
const std::vector<point> points{{1, 9, 0}, {2, 8, 0}, {2, 8, 0}};

TEST(Median, IsTheUpperMiddleOfTheSortedValuesWithNaNLast) {
    EXPECT_EQ(all<MedianOperator>(std::vector<int>{4, 1, 3, 2}), 3) << "no averaging";
    EXPECT_EQ(all<MedianOperator>(Doubles{nan, 2, nan, 1, 7}), 7.0);
    EXPECT_TRUE(std::isnan(all<MedianOperator>(Doubles{nan, 1})));
    EXPECT_EQ(all<MedianOperator>(points), point(2, 8, 0)) << "component by component";
}

TEST(CountedMap, GivesItsFirstKeyOrForWholeRecordsItsLastWhateverTheCounts) {
    EXPECT_EQ(all<MaxOccurrenceOperator>(std::vector<int>{5, 5, 5, 2}), 2);
    EXPECT_EQ(all<MaxOccurrenceOperator>(points), point(2, 9, 0));
    EXPECT_EQ((along<MaxOccurrenceOperator, 1>(points)), 8.0);
    EXPECT_TRUE(std::signbit(all<MaxOccurrenceOperator>(Doubles{1, -0.0, 0.0})));
    EXPECT_FALSE(std::signbit(all<MaxOccurrenceOperator>(Doubles{0.0, -0.0})));
    EXPECT_EQ(all<MaxOccurrenceOperator>(Doubles{}), 0.0);
}

TEST(CellLists, RefuseMoreCellsThanAVectorHoldsAlsoWhereTheirProductWraps) {
    const auto nowhere = [](std::uint32_t, unsigned long long outside) { return outside; };
    const unsigned long long wide = 1ULL << 32;
    for (const Quill::MultiIndex<3>& size : {Quill::MultiIndex<3>(wide, wide, 1), {wide, wide, wide}})
        EXPECT_THROW(CellLists(size, 0, nowhere), std::length_error);
    EXPECT_TRUE(CellLists({wide, 0, 5}, 0, nowhere).counts().empty());
}

} // namespace
} // namespace Tilewright
