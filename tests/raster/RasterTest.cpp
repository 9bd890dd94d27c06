// Calls of raster from end to end: arguments, report, the order of effects, and the walk over the fragments.
#include "tests/support/CloudBuilder.h"

#include <cmath>
#include <map>
#include <random>
#include <stdexcept>
#include <thread>

namespace {

using namespace TestSupport;
using Strings = std::vector<std::string>;
using Doubles = std::vector<double>;
using Floats = std::vector<float>;
using Shorts = std::vector<unsigned short>;

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

TEST_F(Raster, ReducesEachFieldAsItsRequestSaysAndOthersToTheirMean) {
    in.values<float>("a", {1, 2, 4}).values<float>("b", {1, 2, 4}).values<float>("c", {1, 2, 4});
    call.requests = {"Positions:Max:Zdir", "a:Min:All", "b:Max:Xdir", "Height:Skip:All", "missing:Min:All"};
    call.withAlpha = true;
    call.sparseLimit = 1;
    EXPECT_EQ(run(), "");
    EXPECT_EQ(fieldNames(*out),
              (Strings{"Positions", "CellType", "Density", "Alpha", "Height", "a", "b", "c"}));
    EXPECT_EQ(cellsOf<double>(*out, "Height"), (Doubles{8, 1})) << "heights are asked for as Positions";
    EXPECT_EQ(cellsOf<double>(*out, "b"), (Doubles{4, 2}));
    EXPECT_EQ(cellsOf<float>(*out, "c"), (Floats{2.5, 2}));
    EXPECT_EQ(cellsOf<unsigned short>(*out, "Density"), (Shorts{2, 0}));
    EXPECT_EQ(cellsOf<unsigned char>(*out, "Alpha"), (std::vector<unsigned char>{255, 0}));
    EXPECT_FALSE(dataOf(*out, "a", {1, 0, 0})) << "the cloud has no such fragment of the field";
}

TEST_F(Raster, SkippedHeightsExistWithoutDataAndTakeTheCompanionsAlong) {
    in.values<int>("b", {1, 2, 4});
    call.requests = {"Positions:Skip:All"};
    EXPECT_EQ(run(), "");
    EXPECT_TRUE(fieldOf(*out, "Height") && dataOf(*out, "b"));
    EXPECT_FALSE(dataOf(*out, "Height") || dataOf(*out, "CellType") || dataOf(*out, "Density"));
}

TEST_F(Raster, FieldThatIsNotFragmentedEndsTheFieldsOfEachFragmentUnlessHeightsAloneAreWanted) {
    in.values<float>("before", {1, 2, 4});
    in.field("plain", Larder::Ref<Quill::Field>(Quill::FragmentIDCollectionPtr()));
    in.values<float>("behind", {1, 2, 4});
    call.heightOnly = true;
    EXPECT_EQ(call.observed(in.grid(), *out).warned, "");
    EXPECT_EQ(fieldNames(*out), (Strings{"Positions", "CellType", "Density", "Height"}));
    call.heightOnly = false;
    EXPECT_EQ(call.observed(in.grid(), *out).warned,
              "raster: is not regularly fragmentedraster: is not regularly fragmented");
    EXPECT_EQ(fieldNames(*out).back(), "before");
}

TEST_F(Raster, FragmentWithoutPointsIsPassedOverWithAWarning) {
    in.values<float>("Positions", {1, 2}).values<float>("a", {1, 2}).values<float>("b", {7}, {1, 0, 0});
    EXPECT_EQ(call.observed(in.grid(), *out).warned, "have no point cloud positions");
    EXPECT_TRUE(dataOf(*out, "Positions") && !dataOf(*out, "Height"));
    EXPECT_EQ(cellsOf<float>(*out, "b", {1, 0, 0}), (Floats{0, 7}));
    EXPECT_FALSE(fieldOf(*out, "a")) << "only a fragment of its own makes a field";
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

/// A random cloud, and its raster by a slow rule: every cell looks at every point.
struct RandomCloud {
    CloudBuilder In{{3, 2, 1}};
    std::map<std::pair<unsigned, unsigned>, std::vector<point>> Points;
    const RasterCall Call{.requests = {"Positions:Max:Zdir"},
                          .cellSize = {1.2, 1.2, 0},
                          .overlap = {2, 3, 0},
                          .shift = {0.25, -0.5, 0},
                          .sparseLimit = 1};

    explicit RandomCloud(unsigned seed) {
        std::mt19937_64 random(seed);
        std::uniform_real_distribution<double> aside(-3, 13), height(-5, 5);
        In.box({100, 200, -5}, {130, 220, 5});
        for (const auto& ij : {std::pair(0U, 0U), {1, 0}, {2, 0}, {0, 1}, {2, 1}}) {
            std::vector<point>& points = Points[ij];
            const double x = 100 + 10 * ij.first, y = 200 + 10 * ij.second;
            for (int n = 0; n < 50; ++n) // Points half way between nodes.
                points.push_back({x + 1.25 * (n % 9) + 0.125, y + 1.25 * (n / 9), 1});
            for (int n = 0; n < 350; ++n)
                points.push_back({x + aside(random), y + aside(random), height(random)});
            In.creator("Positions", onDemand(points), {ij.first, ij.second, 0});
        }
    }

    void compare(const Quill::Grid& out) const {
        // Fragments are 10 wide: 8 steps of 1.25 each, and the overlap.
        constexpr double size = 1.25;
        for (const auto& [ij, points] : Points) {
            const double startX = 100 + (0.25 - 1 + 8 * ij.first) * size;
            const double startY = 200 + (-0.5 - 1 + 8 * ij.second) * size;
            Doubles heights;
            Shorts densities;
            for (int cell = 0; cell < 10 * 11; ++cell) {
                double highest = -1e6;
                int n = 0;
                for (const point& p : points)
                    if (std::round((p[0] - startX) / size) == cell % 10 &&
                        std::round((p[1] - startY) / size) == cell / 10) {
                        highest = std::max(highest, p[2]);
                        ++n;
                    }
                heights.push_back(n == 0 ? 0 : highest);
                densities.push_back(static_cast<unsigned short>(n <= 1 ? 0 : n));
            }
            EXPECT_EQ(cellsOf<double>(out, "Height", {ij.first, ij.second, 0}), heights);
            EXPECT_EQ(cellsOf<unsigned short>(out, "Density", {ij.first, ij.second, 0}), densities);
        }
        EXPECT_FALSE(dataOf(out, "Height", {1, 1, 0}));
    }
};

TEST(RasterOfARandomCloud, AgreesWithTheSlowRuleWhateverTheCacheKeeps) {
    for (const unsigned long long bytes : {Larder::Cache::noLimit, 0ULL}) {
        const CacheBudget budget(bytes);
        const RandomCloud cloud(1);
        const Larder::Ref<Quill::Grid> out;
        EXPECT_EQ(cloud.Call(cloud.In.grid(), *out), "");
        cloud.compare(*out);
    }
}

TEST(RasterThreads, WorkOnGridsOfTheirOwnAtOnce) {
    const CacheBudget budget(20000); // Both crowd one another out of the shared cache.
    testing::internal::CaptureStdout();
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 2; ++t)
        threads.emplace_back([t] {
            for (unsigned round = 0; round < 3; ++round) {
                const RandomCloud cloud(10 * t + round);
                const Larder::Ref<Quill::Grid> out;
                EXPECT_EQ(cloud.Call.direct(cloud.In.grid(), *out), "");
                cloud.compare(*out);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    testing::internal::GetCapturedStdout();
}

} // namespace
