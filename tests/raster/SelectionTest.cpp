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

} // namespace
