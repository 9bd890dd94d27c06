// The layer for people with points of their own.
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include <tilewright/tilewright.h>

namespace {

using Orrery::PhysicalSpace::point;
using Tilewright::Cloud;
using Tilewright::RasterSettings;

struct Rasterise : testing::Test {
    std::vector<point> points{{0, 0, 5}, {1, 0, 1}, {0.25, 0, 8}, {3.5, 0, 2}};
    RasterSettings settings{.requests = {"Positions:Mean:Zdir"}};

    void SetUp() override {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
    }
    void TearDown() override {
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
};

TEST_F(Rasterise, GivesTheFieldsThatWereAskedForAndNoOthers) {
    Cloud cloud(points);
    cloud.add("class", std::vector<int>{1, 2, 2, 1}).add("other", std::vector<float>(4));
    settings.requests.push_back("class:Max:All");
    settings.selection = "2@class";
    const auto raster = rasterise(cloud, settings);
    ASSERT_EQ(raster.failure, "");
    const auto heights = raster.cells<double>("Height");
    ASSERT_TRUE(heights);
    EXPECT_EQ(heights.extents, Quill::MultiIndex<3>(5, 1, 1));
    EXPECT_EQ(heights(0, 0), 8);
    EXPECT_EQ(heights(1, 0), 1);
    EXPECT_EQ(raster.cells<int>("class")(1, 0), 2);
    EXPECT_EQ(raster.cells<unsigned char>("CellType")(2, 0), 1);
    EXPECT_FALSE(raster.cells<float>("Height")) << "of another type";
    EXPECT_FALSE(raster.cells<float>("other"));
}

TEST_F(Rasterise, LosesNoPointWhateverTheCellSize) {
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> place(-100, 100);
    std::vector<point> many(2000);
    for (point& p : many)
        p = {place(random), 5e6 + place(random), place(random)};
    const Cloud cloud(many);
    for (const double size : {0.7, 1.0, 3.0, 1000.0}) {
        settings.cellSize = {size, size, size};
        const auto raster = rasterise(cloud, settings);
        ASSERT_EQ(raster.failure, "");
        unsigned total = 0;
        for (const unsigned short count : raster.cells<unsigned short>("Density").values)
            total += count;
        EXPECT_EQ(total, many.size()) << size;
    }
}

TEST_F(Rasterise, LaysItsCellsFromWhereItIsToldTo) {
    settings.firstNode = point(0.5, 0, 0);
    const auto raster = rasterise(Cloud(points), settings);
    const auto counts = raster.cells<unsigned short>("Density");
    EXPECT_EQ(counts.extents, Quill::MultiIndex<3>(4, 1, 1));
    EXPECT_EQ(counts(0, 0), 1) << "the point at 0 lies half a cell before the first node";
    EXPECT_EQ(raster.lattice.origin, point(0.5, 0, 0));
}

TEST_F(Rasterise, SaysWhatIsWrong) {
    const auto failure = [&](const RasterSettings& wrong) { return rasterise(Cloud(points), wrong).failure; };
    EXPECT_EQ(failure({}), "Have no parse string");
    EXPECT_EQ(failure({.requests = {"a:Mean:Up"}}), "Unknown direction: Up");
    EXPECT_EQ(
        failure({.requests = settings.requests, .selection = "1-2@class"}).find("Selection string broken"),
        0U);
    EXPECT_EQ(failure({.requests = settings.requests, .selection = "1@class"}),
              "Have no UserSelectionF: class");
    for (const double size : {-1.0, std::nan(""), 1e-15})
        EXPECT_NE(failure({.requests = settings.requests, .cellSize = {size, 1, 0}}), "");
    EXPECT_EQ(rasterise(Cloud(std::vector<point>()), settings).failure, "the cloud has no points");

    std::string warning;
    settings.warn = [&](const std::string& text) { warning = text; };
    settings.requests.push_back("short:Mean:All");
    Cloud cloud(points);
    cloud.add("short", std::vector<float>{1, 2});
    const auto raster = rasterise(cloud, settings);
    EXPECT_EQ(raster.failure, "");
    EXPECT_EQ(warning, "raster: short has fewer values than points");
    EXPECT_FALSE(raster.cells<float>("short"));
}

} // namespace
