// What cells come to hold: exact values whatever lies beside them, in the types, units and colours asked for.
#include <tests/program/ProgramTest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace Tilewright::App::Test {
namespace {

using Io::Test::Bytes;
using Io::Test::LasBuilder;
using Io::Test::put;
using Io::Test::textBytes;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

class Values : public ProgramTest {
protected:
    /// Cells of 1 in a row, each with its points; every value is an attribute and, if it is finite, a height.
    void saveCells(const std::vector<std::vector<double>>& cells) const {
        std::size_t count = 0;
        Bytes points;
        for (std::size_t c = 0; c < cells.size(); ++c)
            for (const double value : cells[c]) {
                put(points, static_cast<double>(c) + 0.5, 0.5, std::isfinite(value) ? value : 0.0, value);
                ++count;
            }
        Bytes file =
            textBytes("ply\nformat binary_little_endian 1.0\nelement vertex " + std::to_string(count) +
                      "\nproperty double x\nproperty double y\nproperty double z\n"
                      "property double a\nend_header\n");
        put(file, points);
        save("in.ply", file);
    }

    Outcome rasterOf(const std::string& input, Arguments more) const {
        more.insert(more.begin(), {"raster", input, "out.tif", "--overwrite"});
        const Outcome outcome = run(more);
        EXPECT_EQ(0, outcome.status) << outcome.err;
        return outcome;
    }

    static bool isSame(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }
};

TEST_F(Values, OfACellAreExactWhateverLiesInAnother) {
    constexpr double most = std::numeric_limits<double>::max();
    constexpr double sentinel = std::numeric_limits<float>::max();
    std::vector<std::vector<double>> cells = {
        {12.5, 13.25},       {1.1e-7, 2e9},     {-sentinel}, {sentinel, 1e20},
        {-1000000.5, -1e20}, {1e6, 1000000.25}, {0.1},       {-0.1, 1e-300}};
    for (const std::vector<double>& extreme :
         {std::vector<double>{0.25}, {most, most}, {-most, -most}, {infinity}, {-infinity}, {nan}}) {
        SCOPED_TRACE(extreme.front());
        cells.back() = extreme;
        saveCells(cells);
        const bool isFinite = std::isfinite(extreme.front());
        const std::vector<std::string> filters = {"Min",  "Max",    "MedianHigh", "MedianLow",
                                                  "Mode", "Median", "Mean"};
        Arguments arguments = {"-ot", "Float64", "--nodata", "-1"};
        for (const std::string& filter : filters)
            arguments.insert(arguments.end(), {"--band", "a:" + filter, "--band", "Height:" + filter});
        rasterOf("in.ply", arguments);
        for (const std::string field : {"a", isFinite ? "Height" : "a"})
            for (const std::string& filter : filters) {
                const Band band = readBand("out-" + field + "-" + filter + ".tif");
                for (std::size_t c = 0; c < cells.size(); ++c) {
                    const std::vector<double>& v = cells[c];
                    const double expected =
                        filter == "Mean" || filter == "Median"      ? v.front() / 2 + v.back() / 2
                        : filter == "Max" || filter == "MedianHigh" ? std::max(v.front(), v.back())
                                                                    : std::min(v.front(), v.back());
                    EXPECT_TRUE(isSame(expected, band.values.at(c)))
                        << field << ":" << filter << " of cell " << c << ": " << band.values.at(c);
                }
            }
    }
    saveCells({{1.5}});
    rasterOf("in.ply", {"--band", "Height:Max"});
    EXPECT_EQ(GDT_Float32, readBand("out.tif").type);
    saveCells({{most}, {1.5}});
    rasterOf("in.ply", {"--band", "Height:Max"});
    EXPECT_EQ(most, readBand("out.tif").values[0]) << "beyond single precision";

    // Neither is a double.
    saveAs(Folder / "in.csv", "x,y,z,id\n.5,.5,1,18446744073709551615\n.5,.5,1,9007199254740993\n");
    for (const auto& [filter, expected] : {std::pair("Min", 9007199254740993U),
                                           {"MedianHigh", 18446744073709551615U},
                                           {"AtLowest", 18446744073709551615U},
                                           {"Mode", 9007199254740993U},
                                           {"Max", 18446744073709551615U}}) {
        rasterOf("in.csv", {"--band", std::string("id:") + filter});
        EXPECT_EQ(expected, pixelsOf<unsigned long long>(Folder / "out.tif")[0]) << filter;
    }
}

TEST_F(Values, OfPointsAroundCountByTheirDistance) {
    // Beside the centre of the first cell, at that of the third, and within reach of none but its own.
    saveAs(Folder / "in.csv", "x,y,z\n0.75,0.5,10\n2.5,0.5,30\n2.0,0.5,90\n599.9,0.5,70\n");
    rasterOf("in.csv", {"--band", "IDW=Height:IDW(1.5)", "b=Height:IDW(1.5,1)", "n=Height:IDW(0.3)", "count",
                        "--nodata", "200"});
    const auto valuesOf = [&](const std::string& name) { return readBand("out-" + name + ".tif").values; };
    const auto expectFirst = [](const std::vector<double>& expected, const std::vector<double>& values) {
        for (std::size_t i = 0; i < expected.size(); ++i)
            EXPECT_NEAR(expected[i], values.at(i), 1e-5) << i;
    };
    const auto mean = [](double nearer, double a, double other, double b, double third, double c) {
        return (nearer * a + other * b + third * c) / (a + b + c);
    };
    expectFirst({mean(10, 1 / 0.0625, 90, 1 / 2.25, 0, 0), mean(10, 1 / 0.5625, 30, 1, 90, 4), 30,
                 mean(0, 0, 30, 1, 90, 1 / 2.25), 200},
                valuesOf("IDW"));
    expectFirst({mean(10, 4, 90, 1 / 1.5, 0, 0), mean(10, 1 / 0.75, 30, 1, 90, 2)}, valuesOf("b"));
    expectFirst({10, 200, 30, 200}, valuesOf("n"));
    EXPECT_FLOAT_EQ(70.0F, static_cast<float>(valuesOf("IDW").at(598)));
    EXPECT_EQ(200.0, valuesOf("n").at(599)) << "no point is so near";
    EXPECT_EQ(2.0, valuesOf("count").at(2)) << "the points of the cell, whatever is around";
}

TEST_F(Values, OfHolesComeFromTheirSurroundingsAndAreMarked) {
    // A corner of a square, a triangle and a hole that no triangle covers.
    saveAs(Folder / "in.csv", "x,y,z,Classification\n.5,.5,0,2\n4.5,.5,4,6\n.5,4.5,8,2\n11.5,.5,50,9\n");
    const std::size_t across = 12;
    const auto fill = [&](const std::string& method) {
        rasterOf("in.csv", {"--band", "h=Height:Mean", "c=Classification:Mode", "filled", "--nodata", "99",
                            "--fill", "6", method});
        return std::array{readBand("out-h.tif").values, readBand("out-c.tif").values,
                          readBand("out-filled.tif").values};
    };
    const std::size_t bottom = 4 * across;
    const auto [heights, classes, filled] = fill("tin");
    EXPECT_NEAR(2.0, heights[bottom + 2], 1e-6);
    EXPECT_NEAR(1.0 + 2.0, heights[bottom - across + 1], 1e-6);
    EXPECT_EQ(99.0, heights[bottom + 8]) << "its triangles have longer edges";
    EXPECT_EQ((std::vector<double>{0, 1, 1, 1, 0, 0}),
              std::vector<double>(filled.begin() + static_cast<long>(bottom),
                                  filled.begin() + static_cast<long>(bottom) + 6));
    EXPECT_EQ(6.0, classes[bottom + 3]) << "never between two classes";
    const auto nearest = fill("nearest");
    EXPECT_EQ(4.0, nearest[0][bottom + 3]);
    EXPECT_EQ(50.0, nearest[0][bottom + 9]);
    EXPECT_EQ(8.0, nearest[0][1]);
    EXPECT_EQ(classes, nearest[1]);
    EXPECT_EQ(1.0, nearest[2][bottom + 8]);
}

TEST_F(Values, OfSelectedPointsAreThoseWithinTheRanges) {
    saveCells({{1e-7, 2e-7}, {3, 40}, {-5, 6.5}});
    const std::vector<std::pair<std::string, std::vector<double>>> cases = {
        {"1e-1:7@Z", {0, 1, 1}},    {"7:-5@Height", {2, 1, 2}},
        {"+3; 6.5 @a", {0, 1, 1}},  {"-6 : -4,40@a", {0, 1, 1}},
        {"0:1.5@X", {2, 2, 0}},     {"0.5@Y", {2, 2, 2}},
        {"1E1:1e300@a", {0, 1, 0}}, {"-1e-3:1e-3,6.5e0@a", {2, 0, 1}},
        {"0,1,2,3.0@a", {0, 1, 0}}, {"1000@Y", {0, 0, 0}},
        {"3:@a", {0, 2, 1}},        {":-5, 40:@a", {0, 1, 1}},
        {"! 3:@a", {2, 0, 1}},      {"!-5,40@a & 1:@X", {0, 1, 1}},
        {"!:2@X&!6:@a", {0, 0, 1}}};
    for (const auto& [text, counts] : cases) {
        rasterOf("in.ply", {"--band", "count", "--select", text, "--nodata", "0"});
        EXPECT_EQ(counts, readBand("out.tif").values) << text;
    }
}

TEST_F(Values, AreThoseOfThePointsThatMeetAllSelections) {
    std::string text = "x,y,z,v,ReturnNumber,NumberOfReturns\n";
    // The first of a single return, of two and of three, the second of two and of three, and the third.
    const std::vector<std::array<int, 2>> returns = {{1, 1}, {1, 2}, {1, 3}, {2, 2}, {2, 3}, {3, 3}};
    for (std::size_t cell = 0; cell < returns.size(); ++cell)
        text += std::to_string(cell) + ".5,0.5,1,nan," + std::to_string(returns[cell][0]) + "," +
                std::to_string(returns[cell][1]) + "\n";
    saveAs(Folder / "in.csv", text + "5.5,0.5,1,inf,3,3\n");
    const std::vector<std::pair<Arguments, std::vector<double>>> cases = {
        {{"--returns", "first"}, {1, 1, 1, 0, 0, 0}},
        {{"--returns", "last"}, {1, 0, 0, 1, 0, 2}},
        {{"--returns", "only"}, {1, 0, 0, 0, 0, 0}},
        {{"--returns", "intermediate"}, {0, 0, 0, 0, 1, 0}},
        {{"--returns", "intermediate, only"}, {1, 0, 0, 0, 1, 0}},
        {{"--returns", "first", "--select", "!only"}, {0, 1, 1, 0, 0, 0}},
        {{"--select", "1:4@X", "--select", "3@NumberOfReturns"}, {0, 0, 1, 0, 0, 0}},
        {{"--select", "0:@v"}, {0, 0, 0, 0, 0, 1}},
        {{"--select", "!0:@v"}, {1, 1, 1, 1, 1, 1}}};
    for (const auto& [options, counts] : cases) {
        Arguments arguments = {"--band", "count", "--nodata", "0"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        rasterOf("in.csv", arguments);
        EXPECT_EQ(counts, readBand("out.tif").values) << testing::PrintToString(options);
    }
}

TEST_F(Values, OfABandWithAConditionAreThoseOfASelection) {
    std::mt19937 random(5);
    LasBuilder las;
    las.points.assign(9000, {});
    for (auto& p : las.points) {
        p.xyz = {static_cast<int>(random() % 4000), static_cast<int>(random() % 3000),
                 static_cast<int>(random() % 900)};
        p.intensity = static_cast<std::uint16_t>(random());
        p.classification = static_cast<unsigned>(random() % 4);
        p.numberOfReturns = 2;
        p.returnNumber = static_cast<unsigned>(random() % 2) + 1;
    }
    las.format = 2;
    save("in.las", las.build());
    const std::vector<std::string> conditions = {"2@Classification", "! 0:1 @Classification & first",
                                                 "last&2:6.5@Height", "60000:@Intensity"};
    const auto name = [](std::size_t condition, std::size_t band) {
        return "band" + std::to_string(condition) + "of" + std::to_string(band);
    };
    // In one pass, and block by block.
    for (const std::vector<std::string>& bands :
         {std::vector<std::string>{"Height:Mean", "Intensity:Max", "count", "alpha"},
          {"Height:Median", "X:Max", "rgb", "density", "Height:Regression"}}) {
        Arguments all = {"--sparse-limit", "1", "--band", "count"};
        for (std::size_t c = 0; c < conditions.size(); ++c)
            for (std::size_t b = 0; b < bands.size(); ++b)
                all.push_back(name(c, b) + "=" + bands[b] + "[" + conditions[c] + "]");
        rasterOf("in.las", all);
        for (std::size_t c = 0; c < conditions.size(); ++c)
            for (std::size_t b = 0; b < bands.size(); ++b) {
                const std::vector<double> values = readBand("out-" + name(c, b) + ".tif").values;
                rasterOf("in.las", {"--sparse-limit", "1", "--select", conditions[c], "--band", bands[b]});
                EXPECT_EQ(readBand("out.tif").values, values) << bands[b] << " of " << conditions[c];
            }
    }
}

TEST_F(Values, OfHeightsAndCoordinatesAloneHaveAUnitOfLength) {
    LasBuilder las;
    las.versionMinor = 4;
    las.format = 7;
    las.globalEncoding = 16;
    las.records = {{"LASF_Projection", 2112, textBytes(Io::Test::compoundWkt)}};
    save("in.las", las.build());
    rasterOf("in.las", {"--band", "Height:Max", "X:Mean", "count", "celltype", "Classification:Max", "rgb",
                        "--stack", "--preview", "p.png"});
    const auto stack = openRaster(Folder / "out.tif");
    std::vector<std::string> units;
    for (int i = 1; i <= stack->GetRasterCount(); ++i)
        units.emplace_back(stack->GetRasterBand(i)->GetUnitType());
    EXPECT_EQ((std::vector<std::string>{"metre", "metre", "1", "1", "1", "1", "1", "1"}), units);
}

/// Three cells in a row, the last of them far away, and none between.
class Types : public Values {
protected:
    Types() {
        saveAs(Folder / "in.csv", "x,y,z,Red,Green,Blue,v\n"
                                  ".5,.5,1,65535,32896,257,-3\n1.5,.5,1,0,1,128,12\n600.5,.5,1,9,9,9,300\n");
    }

    std::vector<double> valuesOf(const std::string& name, int band) const {
        const auto all = pixelsOf<double>(Folder / name, band);
        return {all[0], all[1], all[300], all[600]};
    }

    using Numbers = std::vector<double>;
};

TEST_F(Types, ColoursFillTheirPixels) {
    for (const auto& [type, red, blue] : {std::tuple("Byte", Numbers{255, 0, 0, 0}, Numbers{1, 0, 0, 0}),
                                          {"UInt16", Numbers{65535, 0, 0, 9}, Numbers{257, 128, 0, 9}}}) {
        const Outcome outcome = rasterOf("in.csv", {"--band", "rgb", "--stack", "-ot", type});
        EXPECT_EQ("", outcome.err);
        EXPECT_EQ(red, valuesOf("out.tif", 1));
        EXPECT_EQ(blue, valuesOf("out.tif", 3));
        const double opaque = red[0];
        EXPECT_EQ((Numbers{opaque, opaque, 0, opaque}), valuesOf("out.tif", 4));
        const auto file = openRaster(Folder / "out.tif");
        EXPECT_EQ(GCI_RedBand, file->GetRasterBand(1)->GetColorInterpretation());
        EXPECT_EQ(GCI_AlphaBand, file->GetRasterBand(4)->GetColorInterpretation());
    }
    saveAs(Folder / "in.csv", "x,y,z,Red,Green,Blue\n.5,.5,1,255,0,1\n600.5,.5,1,0,0,0\n");
    rasterOf("in.csv", {"--band", "rgb", "-ot", "UInt16"});
    EXPECT_EQ(65535.0, valuesOf("out.tif", 1)[0]) << "8 bits to 16";
}

TEST_F(Types, CutCellsAreCountedAndAlphaIs255InAnyStack) {
    const Outcome outcome = rasterOf("in.csv", {"--band", "v:Max", "-ot", "Byte"});
    EXPECT_NE(std::string::npos,
              outcome.err.find("note: 2 cells of the band v-Max had to be cut to Byte, 0 to 255\n"))
        << outcome.err;
    EXPECT_EQ((Numbers{0, 12, 254, 255}), valuesOf("out.tif", 1)) << "255 is data";
    for (const std::string type : {"UInt16", "UInt32", "Int32", "Float32"}) {
        rasterOf("in.csv", {"--band", "count", "--band", "alpha", "--stack", "-ot", type});
        EXPECT_EQ((Numbers{255, 255, 0, 255}), valuesOf("out.tif", 2)) << type;
    }
}

TEST_F(Types, ValuesWithoutAPixelStandBesideOthers) {
    saveAs(Folder / "odd.csv",
           "x,y,z,v\n.5,.5,1,7\n.5,.5,1,9\n1.5,.5,1,1e300\n1.5,.5,1,1e300\n600.5,.5,1,5\n");
    const double most = std::numeric_limits<float>::max();
    const Outcome outcome =
        rasterOf("odd.csv", {"--band", "v:SampleVariance", "v:Max", "--nodata", "-9999", "-ot", "Float32"});
    EXPECT_EQ((Numbers{2, 0, -9999, -9999}), valuesOf("out-v-SampleVariance.tif", 1)) << "one point has none";
    EXPECT_EQ((Numbers{9, most, -9999, 5}), valuesOf("out-v-Max.tif", 1));
    EXPECT_NE(std::string::npos, outcome.err.find("note: 1 cell of the band v-Max had to be cut"))
        << outcome.err;
}

TEST_F(Types, TheOneThatWasChosenStaysOrTheRunFails) {
    std::string text = "x,y,z,v\n";
    for (int i = 0; i < 256; ++i)
        text += std::to_string(i) + ".5,.5,1," + std::to_string(i) + "\n";
    saveAs(Folder / "full.csv", text);
    saveAs(Folder / "hole.csv", text + "257.5,.5,1,1\n");
    rasterOf("full.csv", {"--band", "v:Max", "-ot", "Byte"});
    const Band full = readBand("out.tif");
    EXPECT_EQ((std::pair(GDT_Byte, std::optional<double>())), (std::pair(full.type, full.nodata)));
    EXPECT_EQ(255.0, full.values[255]);

    const auto refusal = [&](Arguments more) {
        more.insert(more.begin(), {"raster", "hole.csv", "x.tif", "--band", "v:Max", "-ot", "Byte"});
        const Outcome outcome = run(more);
        EXPECT_LT(0, outcome.status);
        EXPECT_FALSE(fs::exists(Folder / "x.tif"));
        return outcome.err;
    };
    EXPECT_NE(std::string::npos, refusal({}).find("leave no value of Byte")) << refusal({});
    for (const Arguments& more : {Arguments{"-co", "NBITS=1", "--nodata", "0"},
                                  {"-co", "nbits=7"},
                                  {"-co", "NBITS=9"},
                                  {"-co", "NBITS=1", "--nodata", "7"}})
        EXPECT_NE(std::string::npos, refusal(more).find("NBITS")) << refusal(more);
    rasterOf("hole.csv", {"--band", "count", "-ot", "Byte", "-co", "NBITS=1"});
    const Band count = readBand("out.tif");
    EXPECT_EQ((std::pair(0.0, 1.0)), (std::pair(count.values[256], count.values[257])));
    EXPECT_EQ(0.0, count.nodata);
}

TEST_F(Values, OfACloudThatIsRewrittenMeanwhileAreNotMixed) {
    ASSERT_EQ(0, finish(start("TILEWRIGHT_MAKESCAN", {"in.las", "--points", "400000"})).status);
    const std::uintmax_t size = fs::file_size(Folder / "in.las");
    const pid_t pid = start("TILEWRIGHT_PROGRAM", {"raster", "in.las", "out.tif", "--cell", "0.1"});
    siginfo_t ended = {};
    std::fstream file(Folder / "in.las", std::ios::in | std::ios::out | std::ios::binary);
    while (::waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0) {
        // The last byte of the last point.
        file.seekp(static_cast<std::streamoff>(size) - 1).put('\1').flush();
        ::usleep(2000);
    }
    const Outcome outcome = finish(pid);
    EXPECT_EQ(1, outcome.status);
    EXPECT_NE(std::string::npos, outcome.err.find("in.las: was changed while it was read")) << outcome.err;
    EXPECT_EQ((Names{"in.las"}), files());
}

} // namespace
} // namespace Tilewright::App::Test
