// The selection of points from end to end.
#include "tests/support/CloudBuilder.h"

#include <cmath>

namespace {

using namespace TestSupport;
using Doubles = std::vector<double>;
using Shorts = std::vector<unsigned short>;

/// Those of the values that a selection keeps. Each belongs to a point with a cell of its own.
template <class T> std::vector<T> kept(const std::vector<T>& values, const std::string& ranges) {
    std::vector<point> points;
    for (std::size_t i = 0; i < values.size(); ++i)
        points.push_back({static_cast<double>(i), 0, 0});
    CloudBuilder in;
    in.box({0, 0, 0}, {static_cast<double>(values.size()), 1, 0}).points(points).values("class", values);
    const Larder::Ref<Quill::Grid> out;
    RasterCall call;
    call.selection = ranges + "@class";
    EXPECT_EQ(call(in.grid(), *out), "");
    const Shorts density = cellsOf<unsigned short>(*out, "Density").value();
    std::vector<T> result;
    for (std::size_t i = 0; i < values.size(); ++i)
        if (density[i] != 0)
            result.push_back(values[i]);
    return result;
}

TEST(Selection, KeepsTheValuesInItsRangesForEachPlainTypeAndNoneOfARecord) {
    Quill::probeTypes(Quill::FieldValueTypes(), []<class T>(std::type_identity<T>) {
        SCOPED_TRACE(Larder::Typename(typeid(T)));
        if constexpr (std::is_arithmetic_v<T>)
            EXPECT_EQ(kept<T>({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}, "0,2:3,5,6,7:12"),
                      (std::vector<T>{0, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12}));
        else
            EXPECT_EQ(kept<T>({{}, {}}, "0:1").size(), 0U);
        return false;
    });
}

TEST(Selection, ComparesFloatingValuesWithATolerance) {
    EXPECT_EQ(kept<double>({2.0000000005, 2.000000002, 1.9999999995, 1.999999998, std::nan("")}, "2"),
              (Doubles{2.0000000005, 1.9999999995}));
    EXPECT_EQ(kept<float>({5e-10F, 2e-9F, -5e-10F, -2e-9F}, "0"), (std::vector<float>{5e-10F, -5e-10F}));
}

TEST(Selection, TakesNoPointThatHasNoValue) {
    CloudBuilder in;
    in.box({0, 0, 0}, {2, 1, 0}).points({{0, 0, 0}, {1, 0, 0}});
    const Quill::ChunkPtr doubles = Larder::Ref<Larder::Chunk<double>>(2U, false);
    in.array("class", Larder::Ref<Quill::MemArray<1, int>>(doubles, Quill::MultiIndex<1>(2)));
    const Larder::Ref<Quill::Grid> out;
    EXPECT_EQ((RasterCall{.selection = "0@class"})(in.grid(), *out), "");
    EXPECT_EQ(cellsOf<unsigned short>(*out, "Density"), (Shorts{0, 0}));
}

struct SelectedFragments : testing::Test {
    CloudBuilder in{{2, 1, 1}};
    Larder::Ref<Quill::Grid> out;
    RasterCall call{.selection = "1:2@class"};
    SelectedFragments() {
        in.box({0, 0, 0}, {4, 1, 9});
        in.points({{0, 0, 5}, {0, 0, 1}, {1, 0, 8}}).points({{2, 0, 2}, {3, 0, 4}}, {1, 0, 0});
        in.values<int>("class", {3, 2, 1}).values<float>("other", {10, 20, 30});
    }
};

TEST_F(SelectedFragments, LimitAllFieldsToTheSelectedPointsWhereTheyHaveData) {
    EXPECT_EQ(call(in.grid(), *out), "");
    EXPECT_EQ(cellsOf<double>(*out, "Height"), (Doubles{1, 8}));
    EXPECT_EQ(cellsOf<float>(*out, "other"), (std::vector<float>{20, 30}));
    EXPECT_EQ(cellsOf<double>(*out, "Height", {1, 0, 0}), (Doubles{2, 4})) << "without data all are selected";
    in.array("class", Larder::Ref<Quill::MemArray<2, int>>(Quill::MultiIndex<2>(2, 1)), {1, 0, 0});
    call.selection = "0@class";
    EXPECT_EQ(call(in.grid(), *out), "");
    EXPECT_EQ(cellsOf<double>(*out, "Height", {1, 0, 0}), (Doubles{0, 0})) << "another rank selects none";
}

TEST_F(SelectedFragments, RefuseABrokenTextBeforeAFieldIsMade) {
    in.field("plain", Larder::Ref<Quill::Field>(Quill::FragmentIDCollectionPtr()));
    const std::string example = "Need something like: 0,2:3,5,6,7:12@Classification. Have: ";
    for (const std::string text : {"1:2", "1@class@", "1@", "1@ class", "1@plain"}) {
        call.selection = text;
        const bool isMissing = std::ranges::count(text, '@') == 1;
        EXPECT_EQ(call(in.grid(), *out), isMissing ? "Have no UserSelectionF: " + text.substr(2)
                                                   : "Selection string broken. " + example + text);
        EXPECT_EQ(fieldNames(*out), std::vector<std::string>{"Positions"});
    }
}

TEST_F(SelectedFragments, TellOfBadRangesOnceEachAndHaveEmptyCells) {
    in.values<int>("class", {1, 1}, {1, 0, 0});
    call.selection = "1-2@class";
    const auto [result, printed, warned] = call.observed(in.grid(), *out);
    EXPECT_EQ(result, "");
    const std::string line = "MultiRange(const string& input), ERROR: invalid range: 1-2\n";
    EXPECT_EQ(printed.substr(printed.find("Multi")), line + line);
    EXPECT_EQ(cellsOf<unsigned short>(*out, "Density", {1, 0, 0}), (Shorts{0, 0}));
}

} // namespace
