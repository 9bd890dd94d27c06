// What the program makes of points, against a plain computation over their stored integers.
#include <tests/program/ProgramTest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <random>

namespace Tilewright::App::Test {
namespace {

using Io::Test::LasBuilder;
using Io::Test::LasPoint;

constexpr double unit = 0.01;

/// A lattice in hundredths, the unit in which coordinates are stored.
struct Lattice {
    std::int64_t cell;
    std::int64_t shiftX = 0;
    std::int64_t shiftY = 0;
};

struct Cell {
    unsigned count = 0;
    double sum = 0.0;
    double highest = -1000.0;
    double brightest = 0.0;
};

std::int64_t floorDivided(std::int64_t a, std::int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }

class Rastering : public ProgramTest {
protected:
    /// Many of the points lie exactly on edges, and about a half of the smaller cells is empty.
    void makeCloud(std::int64_t x, std::int64_t y) {
        std::mt19937 random(7);
        Las.offset = {static_cast<double>(x), static_cast<double>(y), 0.0};
        Las.scale = {unit, unit, 0.25};
        Las.points.assign(500, {});
        for (std::size_t i = 0; i < Las.points.size(); ++i) {
            LasPoint& point = Las.points[i];
            const unsigned step = i % 2 != 0 ? 1 : 10;
            point.xyz = {static_cast<int>(random() % (400 / step) * step) - 250,
                         static_cast<int>(random() % (200 / step) * step) - 100,
                         static_cast<int>(random() % 4000) - 1000};
            point.intensity = static_cast<std::uint16_t>(random());
            point.classification = static_cast<unsigned>(i % 5);
            point.scanAngle = static_cast<std::int16_t>(random() % 100) - 90;
        }
        save("in.las", Las.build());
    }

    Outcome rasterCloud(const Arguments& more) {
        const Outcome outcome = raster(more);
        EXPECT_EQ(0, outcome.status) << outcome.err;
        EXPECT_EQ("", outcome.err);
        return outcome;
    }

    /// Compares the bands that `allBands` asks for.
    void expectBandsOf(const Lattice& lattice, unsigned sparseLimit = 0, std::set<unsigned> classes = {}) {
        std::map<std::pair<std::int64_t, std::int64_t>, Cell> cells;
        std::int64_t west = std::numeric_limits<std::int64_t>::max(), south = west;
        std::int64_t east = -west, north = -west;
        for (const LasPoint& point : Las.points) {
            const auto x = static_cast<std::int64_t>(Las.offset[0]) * 100 + point.xyz[0] - lattice.shiftX;
            const auto y = static_cast<std::int64_t>(Las.offset[1]) * 100 + point.xyz[1] - lattice.shiftY;
            const std::pair index(floorDivided(x, lattice.cell), floorDivided(y, lattice.cell));
            west = std::min(west, index.first);
            east = std::max(east, index.first);
            south = std::min(south, index.second);
            north = std::max(north, index.second);
            if (!classes.empty() && !classes.contains(point.classification))
                continue;
            Cell& cell = cells[index];
            ++cell.count;
            cell.sum += point.xyz[2] * 0.25;
            cell.highest = std::max(cell.highest, point.xyz[2] * 0.25);
            cell.brightest = std::max<double>(cell.brightest, point.intensity);
        }
        const Band height = readBand("out-Height.tif");
        const Band highest = readBand("out-Height-Max.tif");
        const Band intensity = readBand("out-Intensity.tif");
        const Band type = readBand("out-CellType.tif");
        const Band density = readBand("out-Density.tif");
        const Band alpha = readBand("out-Alpha.tif");
        EXPECT_EQ((std::set<std::optional<double>>{-9999.0}),
                  (std::set{height.nodata, highest.nodata, intensity.nodata}));
        for (const Band& band : {height, highest, intensity, type, density, alpha}) {
            ASSERT_EQ((std::pair(east - west + 1, north - south + 1)),
                      (std::pair<std::int64_t, std::int64_t>(band.width, band.height)));
            EXPECT_DOUBLE_EQ(static_cast<double>(west * lattice.cell + lattice.shiftX) * unit, band.west);
            EXPECT_DOUBLE_EQ(static_cast<double>((north + 1) * lattice.cell + lattice.shiftY) * unit,
                             band.north);
        }
        for (int row = 0; row < height.height; ++row)
            for (int column = 0; column < height.width; ++column) {
                const Cell& cell = cells[{west + column, south + row}];
                const bool hasData = cell.count > sparseLimit;
                ASSERT_EQ(hasData ? cell.sum / cell.count : -9999.0, height.at(column, row))
                    << column << "," << row << " of " << cell.count << " points";
                ASSERT_EQ(hasData ? cell.highest : -9999.0, highest.at(column, row));
                ASSERT_EQ(hasData ? cell.brightest : -9999.0, intensity.at(column, row));
                ASSERT_EQ(hasData ? 0 : 1, type.at(column, row));
                ASSERT_EQ(hasData ? cell.count : 0, density.at(column, row));
                ASSERT_EQ(hasData ? 255 : 0, alpha.at(column, row));
            }
    }

    static Arguments allBands(Arguments arguments) {
        for (const char* request :
             {"Positions:Mean:Zdir", "Intensity:Max:Xdir", "Positions:Max:Zdir", "CellType", "Density"})
            arguments.insert(arguments.end(), {"--request", request});
        arguments.push_back("--alpha");
        return arguments;
    }

    LasBuilder Las;
};

TEST_F(Rastering, NoPointIsLostOrMovedWhateverTheCells) {
    using Place = std::pair<std::int64_t, std::int64_t>;
    const std::map<std::string, std::int64_t> cells = {
        {"1", 100}, {"0.5", 50}, {"0.3", 30}, {"0.1", 10}, {"0.01", 1}};
    for (const auto& [x, y] : {Place{0, 0}, {637000, 5341000}, {-2500000, -1200001}}) {
        makeCloud(x, y);
        for (const auto& [text, size] : cells) {
            SCOPED_TRACE(text + " at " + std::to_string(x));
            rasterCloud(allBands({"--cell", text}));
            expectBandsOf({size});
        }
    }
}

TEST_F(Rastering, OriginAndShiftMoveTheEdgesAndOlderOptionsChangeNothing) {
    makeCloud(637000, -5341000);
    rasterCloud(
        allBands({"--cell", "0.5", "--shift", "0.5", "-1.2", "--fragments", "3x2", "--overlap", "3"}));
    expectBandsOf({50, 25, -60});
    rasterCloud(allBands({"--cell", "0.5", "--origin", "637000.25", "0.4"}));
    expectBandsOf({50, 25, 40});
    rasterCloud(allBands({"--cell", "1", "--shift", "1e300", "-1e300"}));
    expectBandsOf({100});
}

TEST_F(Rastering, ARasterLikeAnotherLiesUponIt) {
    makeCloud(637000, -5341000);
    rasterCloud({"--cell", "0.3", "0.7", "--origin", "0.1", "0.2", "--overwrite"});
    fs::rename(Folder / "out.tif", Folder / "model.tif");
    const Band model = readBand("model.tif");
    rasterCloud({"--like", "model.tif"});
    Band band = readBand("out.tif");
    EXPECT_EQ(std::tie(model.west, model.north, model.values), std::tie(band.west, band.north, band.values));
    // However far away the points are.
    makeCloud(0, 0);
    raster({"--like", "model.tif", "--overwrite"});
    band = readBand("out.tif");
    EXPECT_EQ(std::tie(model.west, model.north, model.width, model.height),
              std::tie(band.west, band.north, band.width, band.height));
    for (const std::string other : {"--cell", "--origin", "--bounds"})
        EXPECT_EQ(2, raster({"--like", "model.tif", other, "1", "2", "3", "4"}).status);

    const Outcome off = raster({"-te", "-1.3", "-1", "1", "1", "--overwrite"});
    EXPECT_NE(std::string::npos, off.err.find("spans -2 -1 1 1; --origin -1.3 -1 would")) << off.err;
    EXPECT_EQ("", raster({"-te", "-2", "-1", "1", "1", "--overwrite"}).err);
}

TEST_F(Rastering, SparseCellsAreWithoutDataAndSelectionLeavesTheLatticeAlone) {
    makeCloud(0, 0);
    for (const std::string limit : {"1", "3", "4294967295"}) {
        rasterCloud(allBands({"--cell", "0.3", "--sparse-limit", limit}));
        expectBandsOf({30}, static_cast<unsigned>(std::stoull(limit)));
    }
    rasterCloud(allBands({"--cell", "0.3", "--select", "1,3:4@Classification"}));
    expectBandsOf({30}, 0, {1, 3, 4});
}

TEST_F(Rastering, BandsAreNamedAfterFieldsAndComponentsAndKeepTheirTypes) {
    makeCloud(0, 0);
    const Outcome outcome =
        rasterCloud({"--request", "Positions:Mean:All", "--request", "ScanAngleRank:Min:All"});
    EXPECT_EQ((Names{"in.las", "out-Height-x.tif", "out-Height-y.tif", "out-Height-z.tif",
                     "out-ScanAngleRank.tif"}),
              files());
    const Band x = readBand("out-Height-x.tif");
    EXPECT_EQ("Height-x", x.description);
    for (int column = 0; column < x.width; ++column)
        EXPECT_EQ(x.west + column, std::floor(x.at(column, 0)));
    const Band angle = readBand("out-ScanAngleRank.tif");
    EXPECT_EQ(GDT_Int32, angle.type);
    EXPECT_EQ(2147483647.0, angle.nodata);
    EXPECT_EQ(-90.0, *std::ranges::min_element(angle.values));
    EXPECT_EQ(0U, outcome.out.find("in.las: 500 points, every one of them in its cell\n5 x 2 cells of 1, "));
    EXPECT_EQ(std::string::npos, outcome.out.find('\r')) << "progress belongs on the terminal";
    EXPECT_NE(std::string::npos, outcome.out.find("out-ScanAngleRank.tif: ScanAngleRank, -90 to "));

    rasterCloud({"--request", "Density"});
    EXPECT_EQ("Density", readBand("out.tif").description) << "a single band has the name as it was given";
}

TEST_F(Rastering, NodataIsAValueThatNoCellHas) {
    Las.points.assign(257, {});
    for (int i = 0; i < 257; ++i)
        Las.points[static_cast<std::size_t>(i)].xyz = {100 * (i + i / 256), 0, -999900};
    save("in.las", Las.build());
    rasterCloud({});
    const Band height = readBand("out.tif");
    EXPECT_EQ(-9999.0, height.at(0, 0));
    EXPECT_EQ(height.nodata, height.at(256, 0));
    EXPECT_NE(-9999.0, height.nodata);

    for (std::size_t i = 0; i < 257; ++i)
        Las.points[i].userData = static_cast<std::uint8_t>(i);
    save("in.las", Las.build());
    const auto noteOf = [&](const Arguments& more) { return raster(more).err; };
    EXPECT_NE(std::string::npos, noteOf({"--request", "UserData:Max:All"}).find("out.tif has UInt16"));
    const Band user = readBand("out.tif");
    EXPECT_EQ(GDT_UInt16, user.type) << "all 256 values are data";
    EXPECT_EQ(255.0, user.at(255, 0));
    EXPECT_EQ(user.nodata, user.at(256, 0));
    EXPECT_NE(std::string::npos, noteOf({"--request", "UserData:Max:All", "--nodata", "7"})
                                     .find("cells with data have the nodata value 7"));
    EXPECT_EQ(7.0, readBand("out.tif").at(256, 0));
}

} // namespace
} // namespace Tilewright::App::Test
