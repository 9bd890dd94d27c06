// Calls of raster from end to end: arguments, report, the order of effects, and the walk over the fragments.
#include "tests/support/CloudBuilder.h"

#include <stdexcept>

namespace {

using namespace TestSupport;
using Strings = std::vector<std::string>;
using Doubles = std::vector<double>;
using Floats = std::vector<float>;

struct Raster : testing::Test {
    /// Two fragments of two cells each along x; the cells' nodes stand at 0 and 1, and at 2 and 3.
    CloudBuilder in{{2, 1, 1}};
    Larder::Ref<Quill::Grid> out;
    RasterCall call;

    Raster() {
        in.box({0, 0, 0}, {4, 1, 9});
        in.points({{0, 0, 5}, {1, 0, 1}, {0.25, 0, 8}}).points({{3, 0, 2}}, {1, 0, 0});
    }
    std::string run() { return call(in.grid(), *out); }
};

TEST_F(Raster, BadArgumentsAreRefusedBeforeTheOutputIsTouched) {
    const std::pair<Strings, const char*> cases[] = {
        {{}, "Have no parse string"},
        {{"a:Mean:"}, "Wrong input: "},
        {{"a:Mean:All:x"}, "Wrong input: "},
        {{"a::All"}, "Unknown filter type: "},
        {{"a:mean:Bar"}, "Unknown filter type: mean"},
        {{"a:Skip:xdir"}, "Unknown direction: xdir"},
        {{"a:Mean:All", "a:Max:Up", "nonsense"}, "Unknown direction: Up"},
    };
    for (const auto& [requests, result] : cases) {
        call.requests = requests;
        EXPECT_EQ(run(), result);
        EXPECT_FALSE(out->findVertices(-1) || out->findAttribute("PointCloudToRaster"));
    }
    for (const vector& tiny : {vector(), vector(0.0009, 0, 0), vector(0.0005, -0.0005, 0.0005)}) {
        call.cellSize = tiny;
        EXPECT_EQ(run(), "Cell size is too small") << "comes before the requests";
    }
}

TEST_F(Raster, CellSizeBelowZeroMayAskForMoreThanMemoryHolds) {
    call.cellSize = {0, 0, -4}; // The count wraps.
    testing::internal::CaptureStdout();
    EXPECT_THROW(call.direct(in.grid(), *out), std::length_error);
    testing::internal::GetCapturedStdout();
}

TEST_F(Raster, ReportTellsTheCallWordForWordAndTheProgressOfEveryFragment) {
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
    EXPECT_EQ(log->calls, (Strings{"Fragment: 0/2", "Fragment: 1/2"})) << "empty ones are told too";
    EXPECT_TRUE(cellsOf<double>(*out, "Height")) << "the last request for a field counts";
}

TEST_F(Raster, CloudWithoutFragmentsOrBoxLeavesWhatWasMadeBefore) {
    CloudBuilder pointless;
    pointless.points({}).values<float>("a", {});
    EXPECT_EQ(call(pointless.grid(), *out), " Could no create GlobalBBox. Maybe In-File not fragmented?");
    EXPECT_EQ(fieldNames(*out), (Strings{"Positions", "CellType", "Density", "Height", "a"}));
    EXPECT_EQ(cellsOf<float>(*out, "a"), Floats());
    in.field("Positions", Larder::Ref<Quill::Field>(Quill::FragmentIDCollectionPtr()));
    const Larder::Ref<Quill::Grid> other;
    EXPECT_EQ(call(in.grid(), *other), "raster::Warning! Have no In-Positions Field. ");
    EXPECT_TRUE(other->getCartesianRepresentation("") && other->findAttribute("PointCloudToRaster"));
}

TEST_F(Raster, InterruptedHasThePlacesForDataAndWhatIsFinished) {
    const auto never = onDemand<point>({{0, 0, 0}});
    in.creator("Positions", never);
    call.progress = Larder::Ref<ProgressLog>(0U);
    call.withAlpha = true;
    EXPECT_EQ(run(), "Interrupted");
    EXPECT_EQ(fieldNames(*out), (Strings{"Positions", "CellType", "Density", "Alpha"}));
    EXPECT_TRUE(dataOf(*out, "Positions", {1, 0, 0}) && never->made == 0);
    in.points({{0, 0, 5}, {1, 0, 1}});
    call.progress = Larder::Ref<ProgressLog>(1U);
    EXPECT_EQ(run(), "Interrupted");
    EXPECT_EQ(cellsOf<double>(*out, "Height"), (Doubles{5, 1})) << "what is finished stays";
}

} // namespace
