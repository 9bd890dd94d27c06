// A raster made by several threads. The thread sanitizer reads these tests too.
#include <io/RasterJob.h>

#include <atomic>
#include <random>

#include <io/Errors.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

constexpr unsigned threads = 4;

class RasterJobTest : public FolderTest {
protected:
    /// Two files in no order, over six blocks and a rim of further ones.
    RasterJobTest() {
        std::mt19937 random(7);
        std::vector<fs::path> paths;
        for (int file = 0; file < 2; ++file) {
            LasBuilder las;
            las.points.assign(6000, {});
            for (LasPoint& p : las.points) {
                p.xyz = {static_cast<int>(random() % 30000),
                         static_cast<int>(random() % 52000) + file * 10000,
                         static_cast<int>(random() % 9000)};
                p.intensity = static_cast<std::uint16_t>(random());
            }
            paths.push_back(Top / ("scan" + std::to_string(file) + ".las"));
            saveAs(paths.back(), las.build());
        }
        Cloud = std::make_unique<PointCloud>(paths, CloudOptions(), false);
        Index = indexCloud(*Cloud, {"Intensity"}, threads, {});
        Lattice = std::make_unique<BlockLattice>(
            LatticeAxis::Request{Index.bounds.low[0], Index.bounds.high[0], 1.0, 0.0, {}},
            LatticeAxis::Request{Index.bounds.low[1], Index.bounds.high[1], 1.0, 0.0, {}});
        Plan.needs.fields = {{"Intensity", FieldType::UnsignedShort}};
        Plan.columns = {{GridColumn::Kind::Positions, 0, FieldType::Double, {}, 1.0},
                        {GridColumn::Kind::Attribute, 0, FieldType::UnsignedShort, {}, 1.0}};
        Plan.fields = {{"Positions", 0}, {"Intensity", 1}};
    }

    std::unique_ptr<UnitReader> makeReader(bool sorted, unsigned onThreads) const {
        return sorted ? makeSortedReader(Index, *Lattice, Plan.needs, 64, {onThreads, 1000, Top, {}})
                      : makeStretchReader(Index, *Lattice, Plan.needs, 64, {onThreads, 0, Top, {}});
    }

    /// Makes heights and counts; gives the bytes of both files.
    std::array<std::string, 2> make(const UnitReader& reader, unsigned onThreads,
                                    const StepReport& report) const {
        RasterJob job;
        job.grid = Plan;
        job.requests = {"Positions:Median:Zdir", "Intensity:Max:Xdir"};
        job.bands.resize(2);
        job.bands[0].field = "Height";
        job.bands[1].source = JobBand::Source::Count;
        job.bands[1].file = 1;
        job.threads = onThreads;
        std::vector<RasterDescription> descriptions(2);
        const std::array<fs::path, 2> paths = {Top / "height.tif", Top / "count.tif"};
        std::vector<RasterWriter> writers;
        for (std::size_t f = 0; f < 2; ++f) {
            descriptions[f].geometry = {Lattice->x().cells(), Lattice->y().cells(), 0, 0, 1, 1, ""};
            descriptions[f].type = f == 0 ? PixelType::Float32 : PixelType::UInt32;
            descriptions[f].nodata = -9999.0;
            descriptions[f].bands = {{"band", "", BandColour::Undefined, {}}};
        }
        descriptions[1].nodata = 4294967295.0;
        for (std::size_t f = 0; f < 2; ++f)
            writers.emplace_back(paths[f], descriptions[f]);
        EXPECT_EQ(runJob(job, *Lattice, reader, descriptions, writers, report).points, 12000U);
        finishAll(writers);
        return {textOf(paths[0]), textOf(paths[1])};
    }

    std::unique_ptr<PointCloud> Cloud;
    CloudIndex Index;
    std::unique_ptr<BlockLattice> Lattice;
    GridPlan Plan;
};

TEST_F(RasterJobTest, ThreadsLeaveNoTraceInTheFiles) {
    const auto expected = make(*makeReader(false, 1), 1, {});
    for (const bool sorted : {false, true})
        EXPECT_EQ(make(*makeReader(sorted, threads), threads, {}), expected) << sorted;
}

TEST_F(RasterJobTest, StopsOnAllThreadsWhereverItIsAskedTo) {
    const auto reader = makeReader(true, threads);
    int stops = 0;
    for (int last = 0;; last += 9) {
        std::atomic<int> reports = 0;
        try {
            make(*reader, threads, [&](std::uint64_t, std::uint64_t) { return reports++ < last; });
            break;
        } catch (const Interruption&) {
            ++stops;
        }
        ASSERT_EQ((Names{"scan0.las", "scan1.las"}), namesIn(Top)) << "nothing is left behind";
    }
    EXPECT_LT(3, stops);
}

} // namespace
} // namespace Tilewright::Io::Test
