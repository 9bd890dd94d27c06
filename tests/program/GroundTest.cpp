// Heights above the ground, from a raster of it or from points that are ground.
#include <map>

#include <ogr_spatialref.h>

#include <tests/program/ProgramTest.h>

namespace Tilewright::App::Test {
namespace {

using Io::Test::LasBuilder;
using Io::Test::textBytes;

class Ground : public ProgramTest {
protected:
    /// The height of the ground, in which bilinear interpolation makes no error.
    static double plane(double x, double y) { return 100.0 + 0.5 * x - 0.25 * y; }

    /// Two points in each cell of 30 x 20: on the ground, and as many units above it as its column says.
    Ground() {
        Las.versionMinor = 4;
        Las.format = 6;
        Las.globalEncoding = 16;
        Las.records = {{"LASF_Projection", 2112, textBytes(Io::Test::compoundWkt)}};
        Las.points.clear();
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 30; ++x)
                for (const int above : {0, x}) {
                    Las.points.emplace_back();
                    Las.points.back().xyz = {100 * x + 40, 100 * y + 20,
                                             static_cast<int>(100.0 * plane(x + 0.4, y + 0.2)) + 100 * above};
                    Las.points.back().classification = above == 0 ? 2 : 5;
                }
        save("in.las", Las.build());
    }

    /// The plane in cells of 2, of which those with centres below `holeUpTo` have no data.
    void saveGround(const std::string& name, int system, double holeUpTo = -2.0) const {
        GDALAllRegister();
        constexpr int across = 20, down = 15;
        const GDALDatasetUniquePtr data(GetGDALDriverManager()->GetDriverByName("GTiff")->Create(
            (Folder / name).c_str(), across, down, 1, GDT_Float64, nullptr));
        std::array<double, 6> place = {-4.0, 2.0, 0.0, 25.0, 0.0, -2.0};
        data->SetGeoTransform(place.data());
        if (system != 0) {
            OGRSpatialReference reference;
            reference.importFromEPSG(system);
            data->SetSpatialRef(&reference);
        }
        data->GetRasterBand(1)->SetNoDataValue(-1.0);
        std::vector<double> heights;
        for (int row = 0; row < down; ++row)
            for (int column = 0; column < across; ++column) {
                const double x = -3.0 + 2.0 * column;
                heights.push_back(x < holeUpTo ? -1.0 : plane(x, 24.0 - 2.0 * row));
            }
        EXPECT_EQ(CE_None, data->GetRasterBand(1)->RasterIO(GF_Write, 0, 0, across, down, heights.data(),
                                                            across, down, GDT_Float64, 0, 0, nullptr));
    }

    static Arguments with(Arguments some, const Arguments& more) {
        some.insert(some.end(), more.begin(), more.end());
        return some;
    }

    void expectHeights(const std::string& name, int firstColumn) const {
        const Band band = readBand(name);
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 30; ++x) {
                const double found = band.at(x, y);
                if (x < firstColumn)
                    ASSERT_EQ(*band.nodata, found) << x;
                else if (x == firstColumn && x > 0)
                    ASSERT_NEAR(x, found, 0.31) << "next to the hole the ground lies level";
                else
                    ASSERT_NEAR(x, found, 0.011) << x << " " << y << ": heights have hundredths";
            }
    }

    LasBuilder Las;
};

TEST_F(Ground, OfARasterIsSubtractedAndPointsWithoutItAreLeftOut) {
    saveGround("dtm.tif", 32632);
    const Outcome outcome = raster({"--ground", "dtm.tif", "--band", "HeightAboveGround:Max",
                                    "count[2.5:@HeightAboveGround]", "low=count[:2.5@HeightAboveGround]"});
    ASSERT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ(std::string::npos, outcome.out.find("without ground"));
    expectHeights("out-HeightAboveGround-Max.tif", 0);
    EXPECT_EQ(2.0, readBand("out-low.tif").at(2, 5));
    EXPECT_EQ(1.0, readBand("out-low.tif").at(3, 5));
    EXPECT_EQ(1.0, readBand("out-count-2.5-HeightAboveGround.tif").at(3, 5));
    // Cells of the ground up to 4 are empty, and so are four columns of points.
    saveGround("hole.tif", 32632, 4.0);
    const Outcome left = raster({"--ground", "hole.tif", "--band", "HeightAboveGround:Max", "--json"});
    EXPECT_NE(std::string::npos, left.out.find("\"withoutGround\": 160")) << left.out;
    expectHeights("out.tif", 4);
}

TEST_F(Ground, OfClassesIsFoundInTheSameRun) {
    // Without ground below some of the cells, and none below those far away.
    for (auto& point : Las.points)
        if (point.xyz[0] / 100 % 5 == 3)
            point.classification = 1;
    for (int i = 0; i < 7; ++i) {
        Las.points.emplace_back();
        Las.points.back().xyz = {20000 + 100 * i, 100, 0};
    }
    save("in.las", Las.build());
    const Arguments bands = {"--ground-classes",     "2", "--bounds", "0", "0", "30", "20", "--band",
                             "HeightAboveGround:Max"};
    ASSERT_EQ(0, raster(bands).status);
    // Holes get the mean of their surroundings, which the slope lies about.
    const Band band = readBand("out.tif");
    for (int x = 0; x < 28; ++x)
        EXPECT_NEAR(x, band.at(x, 10), 0.3) << x;
    const Outcome far = raster({"--ground-classes", "2", "--band", "count"});
    EXPECT_NE(std::string::npos, far.out.find("7 points without ground below left out"))
        << far.out << far.err;
}

TEST_F(Ground, IsTheSameOnAnyWayThroughTheCloud) {
    saveGround("dtm.tif", 32632, 2.0);
    for (const Arguments& ground : {Arguments{"--ground", "dtm.tif"}, {"--ground-classes", "2"}}) {
        std::map<std::string, std::string> expected;
        for (const Arguments& way : {Arguments{}, {"--threads", "1"}, {"--memory", "64M"}})
            for (const Arguments& bands :
                 {Arguments{"a=HeightAboveGround:Mean", "b=count[1:@HeightAboveGround]"},
                  {"c=HeightAboveGround:P90", "d=HeightAboveGround:Mean"}}) {
                const Outcome outcome = raster(
                    with(with(ground, way), with({"--select", "0.5:20@HeightAboveGround", "--band"}, bands)));
                ASSERT_EQ(0, outcome.status) << outcome.err;
                for (const std::string& band : bands) {
                    const std::string name = "out-" + band.substr(0, 1) + ".tif";
                    EXPECT_EQ(expected.try_emplace(name, textOf(Folder / name)).first->second,
                              textOf(Folder / name))
                        << name;
                }
            }
    }
}

TEST_F(Ground, IsRefusedWhereItCannotBeMeant) {
    saveGround("dtm.tif", 32632);
    saveGround("none.tif", 0);
    saveGround("other.tif", 25833);
    saveAs(Folder / "text.tif", "no raster");
    const std::vector<std::tuple<int, Arguments, std::string>> cases = {
        {1, {"--ground", "none.tif"}, "none.tif: names no coordinate system"},
        {1, {"--ground", "other.tif"}, "other.tif: is in ETRS89 / UTM zone 33N, and the cloud in WGS 84"},
        {1, {"--ground", "text.tif"}, "text.tif: is not a raster"},
        {1, {"--ground", "nowhere.tif"}, "nowhere.tif"},
        {2, {"--ground-classes", "x"}, "'x'"},
        {2, {"--ground-classes", "256"}, "256"},
        {1, {"--ground-classes", "9"}, "no point of the classes of ground"},
        {2, {"--ground", "dtm.tif", "--ground-classes", "2"}, "--ground"},
        {2, {"--band", "HeightAboveGround:Mean"}, "--ground or --ground-classes"},
        {2, {"--select", "2:@HeightAboveGround"}, "--ground or --ground-classes"}};
    for (const auto& [status, arguments, words] : cases) {
        const Outcome outcome = raster(arguments);
        EXPECT_EQ(status, outcome.status) << testing::PrintToString(arguments);
        EXPECT_NE(std::string::npos, outcome.err.find(words)) << outcome.err;
        EXPECT_FALSE(fs::exists(Folder / "out.tif"));
    }
    const std::string before = textOf(Folder / "dtm.tif");
    const Outcome over = run({"raster", "in.las", "dtm.tif", "--ground", "dtm.tif", "--overwrite"});
    EXPECT_NE(std::string::npos, over.err.find("is an input")) << over.err;
    EXPECT_EQ(before, textOf(Folder / "dtm.tif"));
}

} // namespace
} // namespace Tilewright::App::Test
