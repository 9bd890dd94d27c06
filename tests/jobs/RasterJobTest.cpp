// A raster made by several threads. The thread sanitizer reads these tests too.
#include <io/blocks/RasterJob.h>

#include <atomic>
#include <random>

#include <io/system/Errors.h>
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

    std::unique_ptr<SquareReader> makeReader(bool sorted, unsigned onThreads) const {
        return sorted ? makeSortedReader(Index, *Lattice, Plan.needs, 64, {onThreads, 1000, Top, {}})
                      : makeStretchReader(Index, *Lattice, Plan.needs, 64, {onThreads, 0, Top, {}});
    }

    /// Makes heights and counts; gives the bytes of both files.
    std::array<std::string, 2> make(const SquareReader& reader, unsigned onThreads,
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

/// One cell has nearly all points, and another one a few more than are loaded at a time.
class DenseCellTest : public FolderTest {
protected:
    DenseCellTest() {
        std::mt19937 random(3);
        LasBuilder las;
        las.points.assign(3000, {});
        for (std::size_t i = 0; i < las.points.size(); ++i) {
            LasPoint& p = las.points[i];
            const auto inCell = [&] { return static_cast<int>(random() % 90) + 5; };
            const int cell = i % 100 == 0 ? static_cast<int>(random() % 3000) : i % 100 == 1 ? 700 : 1200;
            p.xyz = {cell + inCell(), cell + inCell(), static_cast<int>(random() % 9000) - 4000};
            p.intensity = static_cast<std::uint16_t>(random());
        }
        saveAs(Top / "scan.las", las.build());
        const std::vector<fs::path> paths = {Top / "scan.las"};
        Cloud = std::make_unique<PointCloud>(paths, CloudOptions(), false);
        Index = indexCloud(*Cloud, {}, 1, {});
        Lattice = std::make_unique<BlockLattice>(LatticeAxis::Request{0.0, 31.0, 1.0, 0.0, {}},
                                                 LatticeAxis::Request{0.0, 31.0, 1.0, 0.0, {}});
        Plan.needs.fields = {{"Intensity", FieldType::UnsignedShort}};
        Plan.columns = {{GridColumn::Kind::Positions, 0, FieldType::Double, {}, 1.0},
                        {GridColumn::Kind::Attribute, 0, FieldType::UnsignedShort, {}, 1.0},
                        {GridColumn::Kind::Z, 0, FieldType::Double, {}, 2.0}};
    }

    /// Every filter under `direction`, of whole positions and two kinds of numbers; gives all pixels.
    std::string make(const std::string& direction, std::uint64_t pointsOfCell, bool sorted) {
        RasterJob job;
        Plan.fields = {{"Positions", 0}};
        job.requests = {"Positions:Mean:Zdir"};
        for (const std::string& filter : Filters)
            for (std::size_t column = 0; column < 3; ++column) {
                const std::string name = filter + std::to_string(column);
                Plan.fields.emplace_back(name, column);
                job.requests.push_back(name + ":" + filter + ":" + direction);
                job.bands.push_back({});
                job.bands.back().field = name;
                if (column == 0 && direction == "All")
                    job.bands.back().component = 1;
            }
        for (const JobBand::Source source :
             {JobBand::Source::Count, JobBand::Source::Density, JobBand::Source::CellType}) {
            job.bands.push_back({});
            job.bands.back().source = source;
        }
        job.grid = Plan;
        job.sparseLimit = 1;
        job.pointsOfCell = job.pointsOfWindow = pointsOfCell;
        job.memoryForPlanes = MemoryForPlanes;
        RasterDescription description;
        description.geometry = {Lattice->x().cells(), Lattice->y().cells(), 0, 0, 1, 1, ""};
        description.type = PixelType::Float64;
        description.nodata = -9999.0;
        for (std::size_t b = 0; b < job.bands.size(); ++b) {
            job.bands[b].number = b;
            description.bands.push_back({"band", "", BandColour::Undefined, {}});
        }
        std::vector<RasterWriter> writers;
        writers.emplace_back(Top / "all.tif", description);
        const ReadingPlan reading = {1, 1000, Top, {}};
        const auto reader = sorted ? makeSortedReader(Index, *Lattice, Plan.needs, 16, reading)
                                   : makeStretchReader(Index, *Lattice, Plan.needs, 16, reading);
        EXPECT_EQ(runJob(job, *Lattice, *reader, {description}, writers, {}).points, 3000U);
        finishAll(writers);
        return textOf(Top / "all.tif");
    }

    std::unique_ptr<PointCloud> Cloud;
    CloudIndex Index;
    std::unique_ptr<BlockLattice> Lattice;
    GridPlan Plan;
    std::vector<std::string> Filters = {"Mean", "Min", "Max", "Median", "MaxOccurrence"};
    std::uint64_t MemoryForPlanes = 3000 * 300;
};

TEST_F(DenseCellTest, ComesOutAsIfAllItsPointsWereLoadedAtOnce) {
    for (const char* const direction : {"Xdir", "Zdir", "All"}) {
        const std::string expected = make(direction, mostPointsAtATime, false);
        EXPECT_EQ(make(direction, 29, false), expected) << direction;
        EXPECT_EQ(make(direction, 1000, true), expected) << direction;
    }
}

TEST_F(DenseCellTest, GetsAPlaneIfThereIsRoomForAllItsPoints) {
    Filters = {"Regression"};
    const std::string expected = make("All", mostPointsAtATime, false);
    EXPECT_EQ(make("All", 100, true), expected);
    MemoryForPlanes /= 2;
    EXPECT_THROW(make("All", 100, true), InputError);
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
