// One field in one fragment: which operation takes it, what is stored, and the companions of the heights.
#include "tests/support/CloudBuilder.h"

#include <numeric>

#include <tilewright/raster/FieldRasteriser.h>

namespace {

using namespace TestSupport;
using namespace Tilewright;
using Larder::Ref;
using Orrery::Color16;
using Orrery::Color8;
using Bytes = std::vector<unsigned char>;
using Shorts = std::vector<unsigned short>;
using Doubles = std::vector<double>;

/// A job on a raster of one fragment, with cells in one row.
struct Job {
    std::vector<unsigned> cellOfPoint{0, 2, 0};
    unsigned long long cellCount = 3;
    unsigned direction = directionAll;
    unsigned filter = filterMean;
    unsigned sparseLimit = 0;
    std::string name = "Height";
    bool withDensity = true;
    Index fragment{};
    CloudBuilder out{};

    /// Gives what was written to the console.
    std::string run(const Quill::CreatorPtr& input) {
        const CellLists cells({cellCount, 1, 1}, static_cast<std::uint32_t>(cellOfPoint.size()),
                              [&](std::uint32_t i, unsigned long long) { return cellOfPoint[i]; });
        testing::internal::CaptureStderr();
        const Quill::RegularFieldPtr density =
            withDensity ? out.regularField("Density") : Quill::RegularFieldPtr();
        rasterField({input, {direction, filter}, out.regularField(name), name}, {fragment, cells},
                    {out.regularField("CellType"), density, out.regularField("Alpha"), sparseLimit});
        return testing::internal::GetCapturedStderr();
    }
    template <class T> std::string run(const std::vector<T>& values) { return run(onDemand(values)); }
    template <class T> auto result(const std::string& field) { return cellsOf<T>(out.grid(), field); }
};

TEST(Companions, CountThePointsOfCellsAboveTheSparseLimitIn16Bits) {
    Job job{.cellOfPoint = std::vector<unsigned>(65535, 0), .cellCount = 4, .sparseLimit = 1};
    job.cellOfPoint.resize(65535 + 65536, 1);
    job.cellOfPoint.push_back(3);
    const Doubles twos(job.cellOfPoint.size(), 2);
    job.run(twos);
    EXPECT_EQ(job.result<double>("Height"), (Doubles{2, 2, 0, 2})) << "sparse cells keep their value";
    EXPECT_EQ(job.result<unsigned char>("CellType"), (Bytes{0, 0, 1, 1}));
    EXPECT_EQ(job.result<unsigned char>("Alpha"), (Bytes{255, 255, 0, 0}));
    EXPECT_EQ(job.result<unsigned short>("Density"), (Shorts{65535, 0, 0, 0}));
    job.sparseLimit = 0;
    job.run(twos);
    EXPECT_EQ(job.result<unsigned short>("Density"), (Shorts{65535, 0, 0, 1}));

    Job without{.withDensity = false};
    without.run<double>({2, 5, 4});
    EXPECT_TRUE(without.result<unsigned char>("Alpha") && !without.result<unsigned short>("Density"));

    Job other{.name = "Intensity"};
    other.run<double>({2, 5, 4});
    EXPECT_TRUE(other.result<double>("Intensity") && !other.result<unsigned char>("CellType"));
}

TEST(Rasteriser, ReadsThePlaneAtZeroWithoutPositionsOfTheCells) {
    Job job{.cellOfPoint = {0, 0, 0, 0}, .cellCount = 1, .direction = directionZ, .filter = filterRegression};
    job.run<point>({{-1, -1, 2}, {3, -1, 6}, {-1, 3, 10}, {3, 3, 14}});
    const auto height = job.result<double>("Height");
    ASSERT_TRUE(height);
    EXPECT_NEAR(height->front(), 5, 1e-12);
}

TEST(Rasteriser, StoresNothingForListsWithoutStorage) {
    CellLists cells;
    cells.sizes = {2, 1, 1};
    EXPECT_FALSE(reduceCells(cells, arrayOf<float>({1}), {directionAll, filterMean}));
}

TEST(Rasteriser, StoresNothingWithoutAFragment) {
    Job beyond{.fragment = {1, 0, 0}};
    beyond.run<double>({2, 5, 4});
    EXPECT_TRUE(beyond.out.regularField("Height")->Creators.empty());
}

TEST(Rasteriser, ReadsStorageFromItsHeadAlsoThroughAViewButOneOfAnotherTypeThroughTheView) {
    const Ref<Quill::MemArray<2, double>> rows(Quill::MultiIndex<2>(3, 2));
    std::iota(rows->data, rows->data + 6, 1.0);
    Job job;
    job.run(Ref<OnDemand>([row = rows->getSlice(1, {})] { return row; }));
    EXPECT_EQ(job.result<double>("Height"), (Doubles{2, 0, 2}));

    const Ref<Quill::MemArray<1, point>> points(Quill::MultiIndex<1>(3));
    for (unsigned i = 0; i < 3; ++i)
        points->data[i] = point(i, 10 + i, 100 + i * i);
    job.run(Ref<OnDemand>([heights = points->getComponentArray(2, {})] { return heights; }));
    EXPECT_EQ(job.result<double>("Height"), (Doubles{102, 0, 101}));
}

TEST(Dispatch, PicksTheComponentOfTheDirectionAndMakesTheArrayOnce) {
    const CacheBudget budget(0); // Nothing keeps the array between two probes.
    const unsigned short minima[] = {1, 400, 3};
    for (unsigned direction = directionX; direction <= directionZ; ++direction) {
        Job job{.cellOfPoint = {0, 0, 0}, .cellCount = 1, .direction = direction, .filter = filterMin};
        const auto colours = onDemand<Color16>({{1, 500, 30}, {4, 600, 6}, {7, 400, 3}});
        job.run(colours);
        EXPECT_EQ(job.result<unsigned short>("Height"), Shorts{minima[direction]});
        EXPECT_EQ(colours->made, 1);
    }
}

TEST(Dispatch, LeavesOtherTypesAndRanksWithoutDataAndComplainsOfADirectionThatNoRequestForms) {
    for (const Quill::ArrayPtr& array : {Quill::ArrayPtr(Ref<Quill::MemArray<3, float>>(Index(3, 1, 1))),
                                         Quill::ArrayPtr(), arrayOf(std::vector<Quill::Triple>(3))}) {
        Job job;
        EXPECT_EQ(job.run(Ref<OnDemand>([array] { return array; })), "");
        EXPECT_TRUE(job.out.regularField("Height")->Creators.empty());
    }
    for (const unsigned filter : {filterMean, filterSkip}) {
        Job job{.direction = 5, .filter = filter};
        EXPECT_EQ(job.run<float>({1, 2, 3}), "Filter type not supported");
        EXPECT_FALSE(dataOf(job.out.grid(), "Height"));
    }
}

} // namespace
