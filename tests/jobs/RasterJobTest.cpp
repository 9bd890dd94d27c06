// A raster made by several threads. The thread sanitizer reads these tests too.
#include <io/blocks/OnePass.h>
#include <io/blocks/RasterJob.h>

#include <atomic>
#include <cstring>
#include <limits>
#include <random>

#include <io/rasters/RasterWriter.h>
#include <io/runs/RasterRun.h>
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
        Plan.columns = {{PointColumn::Kind::Z, 0, FieldType::Double, {}, 1.0}};
        Plan.reductions = {{0, {directionZ, filterMedian}, {}}};
    }

    std::unique_ptr<SquareReader> makeReader(bool sorted, unsigned onThreads) const {
        return sorted ? makeSortedReader(*Cloud, Index, *Lattice, Plan.needs, 64, {onThreads, 1000, Top, {}})
                      : makeStretchReader(*Cloud, Index, *Lattice, Plan.needs, 64, {onThreads, 0, Top, {}});
    }

    /// Heights and counts, a file each.
    RasterJob jobOn(unsigned onThreads) const {
        RasterJob job;
        job.plan = Plan;
        job.bands.resize(2);
        job.bands[1].source = JobBand::Source::Count;
        job.bands[1].file = 1;
        job.threads = onThreads;
        return job;
    }

    std::vector<RasterDescription> describe() const {
        std::vector<RasterDescription> descriptions(2);
        for (std::size_t f = 0; f < 2; ++f) {
            descriptions[f].geometry = {Lattice->x().cells(), Lattice->y().cells(), 0, 0, 1, 1, ""};
            descriptions[f].type = f == 0 ? PixelType::Float32 : PixelType::UInt32;
            descriptions[f].nodata = -9999.0;
            descriptions[f].bands = {{"band", "", BandColour::Undefined, {}}};
        }
        descriptions[1].nodata = 4294967295.0;
        return descriptions;
    }

    std::array<std::string, 2> make(const SquareReader& reader, unsigned onThreads,
                                    const StepReport& report) const {
        return make(jobOn(onThreads), [&](const RasterJob& job, BlockSink& sink) {
            return runJob(job, *Lattice, reader, describe(), sink, report);
        });
    }

    std::array<std::string, 2> makeInOnePass(unsigned onThreads, const StepReport& report) const {
        const ReducedCells cells =
            reduceInOnePass(*Cloud, Index, *Lattice, {Plan, {"Intensity"}, onThreads}, report);
        EXPECT_EQ(Index.bounds.low, cells.measures.bounds().low);
        EXPECT_EQ(Index.bounds.high, cells.measures.bounds().high);
        EXPECT_EQ(Index.ranges[0].greatest, cells.measures.ranges()[0].greatest);
        return make(jobOn(onThreads), [&](const RasterJob& job, BlockSink& sink) {
            return runJob(job, *Lattice, cells, describe(), sink);
        });
    }

    /// Gives the bytes of both files.
    template <class Run> std::array<std::string, 2> make(const RasterJob& job, const Run& run) const {
        const std::vector<RasterDescription> descriptions = describe();
        const std::array<fs::path, 2> paths = {Top / "height.tif", Top / "count.tif"};
        std::vector<RasterWriter> writers;
        for (std::size_t f = 0; f < 2; ++f)
            writers.emplace_back(paths[f], descriptions[f]);
        FileSink sink(writers, job.bands);
        EXPECT_EQ(run(job, sink).points, 12000U);
        finishAll(writers);
        return {textOf(paths[0]), textOf(paths[1])};
    }

    std::unique_ptr<PointCloud> Cloud;
    CloudIndex Index;
    std::unique_ptr<BlockLattice> Lattice;
    ReductionPlan Plan;
};

TEST_F(RasterJobTest, ThreadsLeaveNoTraceInTheFiles) {
    const auto expected = make(*makeReader(false, 1), 1, {});
    for (const bool sorted : {false, true})
        EXPECT_EQ(make(*makeReader(sorted, threads), threads, {}), expected) << sorted;
}

TEST_F(RasterJobTest, OnePassMakesTheSameFilesAsBlocks) {
    EXPECT_FALSE(bytesOfStates(Plan, Lattice->whole())) << "a median needs more than one pass";
    const auto expectTheSame = [&] {
        EXPECT_TRUE(bytesOfStates(Plan, Lattice->whole()));
        const auto expected = make(*makeReader(false, 1), 1, {});
        EXPECT_EQ(make(*makeReader(true, threads), threads, {}), expected);
        for (const unsigned count : {1U, threads})
            EXPECT_EQ(makeInOnePass(count, {}), expected) << "on " << count;
    };
    for (const FilterNumber filter : {filterMean, filterMin, filterMax, filterMaxOccurrence}) {
        SCOPED_TRACE(filter);
        Plan.reductions = {{0, {directionZ, filter}, {}}};
        expectTheSame();
    }
    using Kind = Statistic::Kind;
    for (const Kind kind : {Kind::Range, Kind::Sum, Kind::StdDev, Kind::Kurtosis, Kind::First, Kind::Last,
                            Kind::Above, Kind::AtHighest}) {
        SCOPED_TRACE(static_cast<int>(kind));
        Plan.columns[0].hasHeights = goesByHeight(kind);
        Plan.reductions = {{0, {}, {kind, 40.0}}};
        expectTheSame();
    }
    EXPECT_THROW(makeInOnePass(threads, [](std::uint64_t, std::uint64_t) { return false; }), Interruption);
}

TEST_F(RasterJobTest, HeadersThatLieAboutTheirPointsChangeNothing) {
    const auto raster = [&] {
        RasterRequest request;
        request.inputs = {(Top / "scan0.las").string()};
        request.output = (Top / "out.tif").string();
        request.bands = {"Height:Mean", "Intensity:Max", "UserData:Min"};
        request.cell = {5.0, 5.0};
        request.overwrite = true;
        request.stack = true;
        EXPECT_EQ(6000U, runRaster(request).rastered);
        return textOf(Top / "out.tif");
    };
    const std::string honest = textOf(Top / "scan0.las");
    const std::string expected = raster();
    constexpr std::size_t greatestX = 179;
    constexpr std::size_t leastX = 187;
    for (const std::size_t at : {greatestX, leastX})
        for (const double lie : {100.0, 150.5, 1e9, -1e9, std::numeric_limits<double>::quiet_NaN()}) {
            std::string lying = honest;
            std::memcpy(lying.data() + at, &lie, sizeof lie);
            saveAs(Top / "scan0.las", lying);
            EXPECT_EQ(raster(), expected) << lie << " at " << at;
        }
}

TEST_F(RasterJobTest, PartsInMemoryAreTheFilesTogether) {
    const auto reader = makeReader(true, threads);
    make(*reader, threads, {});
    const std::uint64_t columns = Lattice->x().cells(), rows = Lattice->y().cells();
    std::vector<float> heights(columns * rows);
    std::vector<unsigned int> counts(columns * rows);
    // The first two rows of blocks, and what is south of them.
    const std::uint64_t northern = 2 * BlockLattice::blockSide;
    const BlockRectangle all = Lattice->blocks();
    std::uint64_t points = 0;
    for (const bool isSouth : {false, true}) {
        const PixelWindow part = {0, isSouth ? northern : 0, columns, isSouth ? rows - northern : northern};
        const std::size_t begin = part.row * columns;
        MemorySink sink(part, {{std::span(heights).subspan(begin, part.pixels()), -9999.0},
                               {std::span(counts).subspan(begin, part.pixels()), 4294967295.0}});
        RasterJob job = jobOn(threads);
        job.blocks = isSouth ? BlockRectangle{0, 2, all.east, all.south} : BlockRectangle{0, 0, all.east, 2};
        points += runJob(job, *Lattice, *reader, describe(), sink, {}).points;
    }
    EXPECT_EQ(points, 12000U);
    EXPECT_EQ(heights, pixelsOf<float>(Top / "height.tif"));
    EXPECT_EQ(counts, pixelsOf<unsigned int>(Top / "count.tif"));
}

TEST(MemorySinkTest, TakesWhatLiesInItsPart) {
    std::vector<int> room(6);
    MemorySink sink({2, 1, 3, 2}, {{std::span(room), -1.0}});
    const std::vector<int> pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    sink.take(0, {1, 0, 3, 3}, std::span(pixels));
    EXPECT_EQ(room, (std::vector{5, 6, -1, 8, 9, -1}));
    sink.take(0, {5, 1, 3, 3}, std::span(pixels));
    EXPECT_EQ(room, (std::vector{5, 6, -1, 8, 9, -1})) << "nothing of it lies in the part";
    const std::vector<float> others(9);
    EXPECT_THROW(sink.take(0, {1, 0, 3, 3}, std::span(others)), std::invalid_argument);
    EXPECT_THROW(MemorySink({0, 0, 4, 2}, {{std::span(room), {}}}), std::invalid_argument);
    EXPECT_THROW(MemorySink({0, 0, 3, 2}, {{std::span(room), 0.5}}), std::invalid_argument);
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
        // Hardly a point, and none in most cells.
        PointCondition highIntensities;
        highIntensities.field = Plan.needs.fields[0];
        highIntensities.ranges = {{30000.0, 65535.0}};
        PointCondition summits;
        summits.quantity = PointCondition::Quantity::Z;
        summits.ranges = {{49.0, 100.0}};
        Plan.subsets = {{highIntensities}, {summits}};
        using Kind = PointColumn::Kind;
        Plan.columns = {{Kind::Positions, 0, FieldType::Double, {}, 1.0},
                        {Kind::Attribute, 0, FieldType::UnsignedShort, {}, 1.0},
                        {Kind::Z, 0, FieldType::Double, {}, 2.0},
                        {Kind::Z, 0, FieldType::Double, {}, 1.0, 1},
                        {Kind::Attribute, 0, FieldType::UnsignedShort, {}, 1.0, 2}};
    }

    /// Every filter under `direction`, of whole positions and two kinds of numbers; gives all pixels.
    std::string make(unsigned direction, std::uint64_t pointsOfCell, bool sorted) {
        RasterJob job;
        for (const unsigned filter : Filters)
            for (std::size_t column = 0; column < Plan.columns.size(); ++column) {
                job.bands.push_back({});
                job.bands.back().subset = Plan.columns[column].subset;
                job.bands.back().reduction = job.plan.reductions.size();
                if (column == 0 && direction == directionAll && filter != filterRegression)
                    job.bands.back().component = 1;
                job.plan.reductions.push_back({column, {direction, filter}, {}});
            }
        // All statistics, of columns that have none of the library's scale.
        for (std::size_t column = 1; column < 3; ++column)
            for (const Statistic& statistic : Statistics) {
                job.bands.push_back({});
                job.bands.back().reduction = job.plan.reductions.size();
                job.bands.back().reachesOut = statistic.kind == Statistic::Kind::InverseDistance;
                job.plan.reductions.push_back({column, {}, statistic});
            }
        job.plan.columns = Plan.columns;
        job.plan.subsets = Plan.subsets;
        job.plan.needs = Plan.needs;
        for (const JobBand::Source source :
             {JobBand::Source::Count, JobBand::Source::Density, JobBand::Source::CellType})
            for (const std::size_t subset : {0U, 2U}) {
                job.bands.push_back({});
                job.bands.back().source = source;
                job.bands.back().subset = subset;
            }
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
        const auto reader = sorted ? makeSortedReader(*Cloud, Index, *Lattice, Plan.needs, 16, reading)
                                   : makeStretchReader(*Cloud, Index, *Lattice, Plan.needs, 16, reading);
        FileSink sink(writers, job.bands);
        EXPECT_EQ(runJob(job, *Lattice, *reader, {description}, sink, {}).points, 3000U);
        finishAll(writers);
        return textOf(Top / "all.tif");
    }

    std::unique_ptr<PointCloud> Cloud;
    CloudIndex Index;
    std::unique_ptr<BlockLattice> Lattice;
    ReductionPlan Plan;
    std::vector<unsigned> Filters = {filterMean, filterMin, filterMax, filterMedian, filterMaxOccurrence};
    std::vector<Statistic> Statistics = {
        {Statistic::Kind::Median, 0.0},      {Statistic::Kind::MedianHigh, 0.0},
        {Statistic::Kind::MedianLow, 0.0},   {Statistic::Kind::Percentile, 0.0},
        {Statistic::Kind::Percentile, 99.5}, {Statistic::Kind::Mode, 0.0},
        {Statistic::Kind::Distinct, 0.0},    {Statistic::Kind::AboveMean, 0.0},
        {Statistic::Kind::Sum, 0.0},         {Statistic::Kind::SampleStdDev, 0.0},
        {Statistic::Kind::Skewness, 0.0},    {Statistic::Kind::Last, 0.0}};
    std::uint64_t MemoryForPlanes = 3000 * 300;
};

TEST_F(DenseCellTest, ComesOutAsIfAllItsPointsWereLoadedAtOnce) {
    for (const unsigned direction : {directionX, directionZ, directionAll}) {
        const std::string expected = make(direction, mostPointsAtATime, false);
        EXPECT_EQ(make(direction, 29, false), expected) << direction;
        EXPECT_EQ(make(direction, 1000, true), expected) << direction;
    }
}

TEST_F(DenseCellTest, AndItsNeighboursAreAddedUpTheSameWayInPieces) {
    Filters = {};
    Statistics = {{Statistic::Kind::InverseDistance, 0.7}};
    const std::string expected = make(directionX, mostPointsAtATime, false);
    for (const std::uint64_t points : {29U, 2000U})
        EXPECT_EQ(make(directionX, points, true), expected) << points;
}

TEST_F(DenseCellTest, GetsAPlaneIfThereIsRoomForAllItsPoints) {
    Filters = {filterRegression};
    Statistics = {};
    const std::string expected = make(directionFit, mostPointsAtATime, false);
    EXPECT_EQ(make(directionFit, 100, true), expected);
    MemoryForPlanes /= 2;
    EXPECT_THROW(make(directionFit, 100, true), InputError);
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
