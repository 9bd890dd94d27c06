// Arguments and report of calls of raster; tests/property compares what calls give.
#include "tests/support/CloudBuilder.h"

#include <limits>

#include <tilewright/raster/CellLocator.h>

namespace {

using namespace TestSupport;
using Strings = std::vector<std::string>;
using Raster = TwoFragments;

TEST_F(Raster, BadArgumentsAreRefusedBeforeTheOutputIsTouched) {
    const std::pair<Strings, const char*> cases[] = {
        {{}, "Have no parse string"},
        {{"a::All"}, "Unknown filter type: "},
        {{"a:Skip:xdir"}, "Unknown direction: xdir"},
        {{"a:Mean:All", "a:Max:Up", "nonsense"}, "Unknown direction: Up"},
    };
    for (const auto& [requests, result] : cases) {
        call.requests = requests;
        EXPECT_EQ(run(), result);
        EXPECT_FALSE(out->findVertices(-1));
        EXPECT_FALSE(out->findAttribute("PointCloudToRaster"));
    }
    for (const vector& tiny : {vector(), vector(0.0009, 0, 0), vector(0.0005, -0.0005, 0.0005)}) {
        call.cellSize = tiny;
        EXPECT_EQ(run(), "Cell size is too small") << "comes before the requests";
    }
}

TEST_F(Raster, CellSizeBelowZeroMayAskForMoreThanMemoryHolds) {
    call.cellSize = {0, 0, -4}; // The count wraps.
    EXPECT_EQ(run(), "threw cannot create std::vector larger than max_size()");
}

TEST_F(Raster, ReportSaysTheCallWordForWordAndTheProgressOfEveryFragment) {
    const Larder::Ref<ProgressLog> log;
    call.progress = log;
    in.creator("Positions", {}, {1, 0, 0});
    call.requests = {"Positions:Min:All", "none:Max:Ydir", "Positions:Max:Zdir"};
    call.cellSize = {0.5, 0.5, 0};
    call.overlap = {1, 20, 0};
    call.shift = {0, -0.25, 1e-7};
    EXPECT_EQ(run(), "");
    EXPECT_EQ(*out->findAttribute("PointCloudToRaster"),
              "Modus: Positions:Min:All,none:Max:Ydir,Positions:Max:Zdir\n"
              "WantedCellSize: {0.500000,0.500000,0.000000}\n"
              "Overlap: [1x20x0]\n"
              "CellShift: {0.000000,-0.250000,0.000000}\n");
    EXPECT_EQ(log->calls, (Strings{"Fragment: 0/2", "Fragment: 1/2"})) << "empty ones are reported too";
    EXPECT_TRUE(cellsOf<double>(*out, "Height")) << "the last request for a field counts";
}

TEST_F(Raster, InterruptedLoadsNothing) {
    const auto never = onDemand<point>({{0, 0, 0}});
    in.creator("Positions", never);
    call.progress = Larder::Ref<ProgressLog>(0U);
    EXPECT_EQ(run(), "Interrupted");
    EXPECT_EQ(never->made, 0);
}

TEST_F(Raster, BrokenSelectionIsRefusedBeforeAFieldIsMade) {
    in.values<int>("class", {3, 2, 1}).field("plain", plainField());
    const std::string example = "Need something like: 0,2:3,5,6,7:12@Classification. Have: ";
    for (const std::string text : {"1:2", "1@class@", "1@", "1@ class", "1@plain"}) {
        call.selection = text;
        const bool isMissing = std::ranges::count(text, '@') == 1;
        EXPECT_EQ(run(), isMissing ? "Have no UserSelectionF: " + text.substr(2)
                                   : "Selection string broken. " + example + text);
        EXPECT_EQ(fieldNames(*out), Strings{"Positions"});
    }
}

/// The lattice in its parts, on boxes that begin at 0.
struct Layout : testing::Test {
    vector cellSize;
    point origin;
    Index cellCounts;

    std::string settle(const Quill::RegularFieldPtr& positions, const vector& wanted, const Index& overlap,
                       const vector& shift) {
        return Tilewright::prepareUniformLayout(positions, wanted, cellSize, overlap, {1, 1, 1}, origin,
                                                cellCounts, shift);
    }
};

TEST_F(Layout, MovesByWholeCellsOfTheOverlapAndWrapsBelowZero) {
    CloudBuilder cloud;
    cloud.box({0, 0, 0}, {10, 10, 10});
    EXPECT_EQ(settle(cloud.positions(), {2, 3, -3}, {5, 1, 0}, {0.5, 0, 0}), "");
    EXPECT_EQ(cellSize, vector(2, 10.0 / 3, 10 / 18446744073709551616.0));
    EXPECT_EQ(origin, point(-3, 0, 0));
    EXPECT_EQ(cellCounts, Index(10, 4, ~0ULL - 2));
}

TEST_F(Layout, IsRefusedWithoutPositionsOrBox) {
    EXPECT_EQ(settle({}, {1, 1, 1}, {}, {}), "in positions not regularly fragmented");
    EXPECT_EQ(settle(CloudBuilder().positions(), {1, 1, 1}, {}, {}), "raster:: No bbox");
}

TEST(Locator, DividesByTheStepWhereverTheFragmentStarts) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Larder::Ref<Quill::UniformCartesianArray> nodes(Index(5, 9, 1), point(100, -10, 3),
                                                          vector(0.1, -2, 0));
    const Tilewright::CellLocator locator(*nodes, {5, 9, 1});
    // (100.35 - 100) / 0.1 is just below 3.5. Without a step there is one layer.
    EXPECT_EQ(locator.locateCell({100.35, -15, nan}, 45), 3U + 5 * 3);
    EXPECT_EQ(locator.locateCell({100.3, -9, 3}, 45), 45U) << "half a cell before the node";
    EXPECT_EQ(locator.locateCell({9.3e18, -15, 3}, 45), 45U);
    const Tilewright::CellLocator nowhere(*nodes, {5, 9, 0});
    EXPECT_EQ(nowhere.locateCell({100, -10, 3}, 0), 0U) << "no layer";
}

} // namespace
