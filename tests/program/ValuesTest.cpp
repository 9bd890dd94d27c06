// What cells come to hold: exact values whatever lies beside them, in the types, units and colours asked for.
#include <tests/program/ProgramTest.h>

#include <algorithm>
#include <cmath>
#include <limits>

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
        const std::vector<std::string> filters = {"Min", "Max", "Median", "MaxOccurrence", "Mean"};
        Arguments arguments = {"-ot", "Float64", "--nodata", "-1"};
        for (const std::string& filter : filters)
            arguments.insert(arguments.end(), {"--band", "a:" + filter, "--band", "Height:" + filter});
        rasterOf("in.ply", arguments);
        for (const std::string field : {"a", isFinite ? "Height" : "a"})
            for (const std::string& filter : filters) {
                const Band band = readBand("out-" + field + "-" + filter + ".tif");
                for (std::size_t c = 0; c < cells.size(); ++c) {
                    const std::vector<double>& v = cells[c];
                    const double expected = filter == "Mean" ? v.front() / 2 + v.back() / 2
                                            : filter == "Max" || filter == "Median"
                                                ? std::max(v.front(), v.back())
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
                                           {"Median", 18446744073709551615U},
                                           {"Max", 18446744073709551615U}}) {
        rasterOf("in.csv", {"--band", std::string("id:") + filter});
        const auto file = openRaster(Folder / "out.tif");
        EXPECT_EQ(expected, readAll<std::uint64_t>(*file->GetRasterBand(1), GDT_UInt64)[0]) << filter;
    }
}

TEST_F(Values, OfSelectedPointsAreThoseWithinTheRanges) {
    saveCells({{1e-7, 2e-7}, {3, 40}, {-5, 6.5}});
    const std::vector<std::pair<std::string, std::vector<double>>> cases = {
        {"1e-1:7@Z", {0, 1, 1}},    {"7:-5@Height", {2, 1, 2}},
        {"+3; 6.5 @a", {0, 1, 1}},  {"-6 : -4,40@a", {0, 1, 1}},
        {"0:1.5@X", {2, 2, 0}},     {"0.5@Y", {2, 2, 2}},
        {"1E1:1e300@a", {0, 1, 0}}, {"-1e-3:1e-3,6.5e0@a", {2, 0, 1}},
        {"0,1,2,3.0@a", {0, 1, 0}}, {"1000@Y", {0, 0, 0}}};
    for (const auto& [text, counts] : cases) {
        rasterOf("in.ply", {"--band", "count", "--select", text, "--nodata", "0"});
        EXPECT_EQ(counts, readBand("out.tif").values) << text;
    }
}

TEST_F(Values, OfHeightsAndCoordinatesAloneHaveAUnitOfLength) {
    LasBuilder las;
    las.versionMinor = 4;
    las.format = 7;
    las.globalEncoding = 16;
    las.records = {{"LASF_Projection", 2112, textBytes(Io::Test::compoundWkt)}};
    save("in.las", las.build());
    const Arguments bands = {"--band", "Height:Max", "--band",   "X:Mean", "--band",
                             "count",  "--band",     "celltype", "--band", "Classification:Max",
                             "--band", "rgb"};
    Arguments stacked = bands;
    stacked.insert(stacked.end(), {"--stack", "--preview", "p.png"});
    rasterOf("in.las", stacked);
    const auto stack = openRaster(Folder / "out.tif");
    std::vector<std::string> units;
    for (int i = 1; i <= stack->GetRasterCount(); ++i)
        units.emplace_back(stack->GetRasterBand(i)->GetUnitType());
    EXPECT_EQ((std::vector<std::string>{"metre", "metre", "1", "1", "1", "1", "1", "1"}), units);
    rasterOf("in.las", bands);
    for (const auto& [name, unit] : {std::pair("Height-Max", "metre"), {"count", "1"}, {"rgb", "1"}}) {
        const auto file = openRaster(Folder / ("out-" + std::string(name) + ".tif"));
        EXPECT_STREQ(unit, file->GetRasterBand(1)->GetUnitType()) << name;
    }
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
