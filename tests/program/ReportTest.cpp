// Reports about clouds and runs: summaries, JSON, progress, and how to stop it.
#include <tests/program/ProgramTest.h>

#include <chrono>
#include <csignal>
#include <map>
#include <sstream>
#include <thread>

#include <pty.h>

#include <apps/tilewright/Progress.h>
#include <apps/tilewright/RasterSummary.h>

namespace Tilewright::App::Test {
namespace {

using Io::Test::LasBuilder;

class Reports : public ProgramTest {
protected:
    /// Lets Python read a JSON text as `d`, and takes the conditions apart.
    void expectJson(const std::string& json, const std::vector<std::string>& conditions) const {
        std::ofstream(Folder / "report.json") << json;
        std::ofstream script(Folder / "check.py");
        script << "import json\nd = json.loads(open('report.json', encoding='utf-8').read())\n";
        for (const std::string& condition : conditions)
            script << "assert " << condition << ", d\n";
        script.close();
        EXPECT_EQ(0, std::system(("cd '" + Folder.string() + "' && " TILEWRIGHT_PYTHON " check.py").c_str()))
            << json;
    }

    /// An L of 10 m breadth within a square of 100 m, 4 points a square metre.
    void saveCorner(const std::string& name) const {
        LasBuilder builder;
        builder.offset = {637000.0, 5341000.0, 0.0};
        builder.points.clear();
        for (int y = 0; y < 200; ++y)
            for (int x = 0; x < 200; ++x)
                if (x < 20 || y < 20) {
                    builder.points.emplace_back().xyz = {50 * x, 50 * y, x};
                    builder.points.back().intensity = static_cast<std::uint16_t>(y);
                }
        save(name, builder.build());
    }
};

TEST_F(Reports, InfoShowsBoundsFieldsAndACellSizeThatSuits) {
    saveCorner("a 1.las");
    LasBuilder other;
    other.offset = {637000.0, 5341000.0, 0.0};
    other.points[1].xyz = {1, 2, -300};
    save("b.las", other.build());
    for (const std::string threads : {"1", "3"}) {
        const Outcome outcome = run({"info", "a 1.las", "b.las", "--json", "--threads", threads});
        EXPECT_EQ((std::pair(0, std::string())), (std::pair(outcome.status, outcome.err)));
        expectJson(outcome.out,
                   {"d['points'] == 7603", "[f['points'] for f in d['files']] == [7600, 3]",
                    "d['low'] == [637000, 5341000, -3]", "d['high'] == [637099.5, 5341099.5, 1.99]",
                    "3.2 < d['density'] < 4.4", "d['cell'] == 1",
                    "[(f['type'], f['min'], f['max']) for f in d['fields'] if f['name'] == 'Intensity'] == "
                    "[('UInt16', 0, 199)]"});
    }
    const std::string text = run({"info", "a 1.las"}).out;
    EXPECT_NE(std::string::npos, text.find("tilewright raster 'a 1.las' heights.tif --cell 1\n")) << text;

    Io::Test::Bytes empty = other.build();
    Io::Test::poke(empty, 107, std::uint32_t(0));
    save("empty.las", empty);
    expectJson(run({"info", "empty.las", "--json"}).out,
               {"d['points'] == 0", "d['low'] is None", "d['density'] is None", "d['command'] is None"});
    EXPECT_EQ(1, run({"info", "nothing.las"}).status);
    // What can't be one raster gets no command for one.
    for (const auto& [name, wkt] : std::map<std::string, std::string>{
             {"c.las", Io::Test::compoundWkt},
             {"d.las", R"(GEOGCS["WGS 84",DATUM["WGS_1984",SPHEROID["WGS 84",6378137,298.257223563]],)"
                       R"(PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433]])"}}) {
        other.globalEncoding = 16;
        other.records = {{"LASF_Projection", 2112, Io::Test::textBytes(wkt)}};
        save(name, other.build());
    }
    EXPECT_NE(std::string::npos, run({"info", "c.las"}).out.find("tilewright raster"));
    const Outcome mixed = run({"info", "c.las", "d.las"});
    EXPECT_EQ(std::string::npos, mixed.out.find("tilewright raster")) << mixed.out;
    EXPECT_NE(std::string::npos, mixed.err.find("d.las is in another")) << mixed.err;
    EXPECT_EQ(2, run({"info"}).status);
}

TEST_F(Reports, InfoTellsHowPointsAreStored) {
    const std::string data = TILEWRIGHT_TEST_DATA "/laz/";
    const std::string fixed = data + "pf3.laz", varying = data + "pf7_variable.laz",
                      copc = data + "pf7.copc.laz";
    const auto storage = [&](const std::string& file) {
        const std::string text = run({"info", file}).out;
        const std::size_t begin = text.find("storage  ");
        return begin == std::string::npos ? "none"
                                          : text.substr(begin + 9, text.find('\n', begin) - begin - 9);
    };
    EXPECT_EQ("LAZ, 3 chunks of 500 points", storage(fixed));
    EXPECT_EQ("LAZ, 6 chunks of varying numbers of points", storage(varying));
    EXPECT_EQ("COPC, 5 chunks of varying numbers of points, in an octree of 2 levels",
              storage(copc).substr(0, 69));
    expectJson(
        run({"info", fixed, varying, copc, "--json"}).out,
        {"[f['compression']['chunkSize'] for f in d['files']] == [500, None, None]",
         "d['files'][2]['compression']['levels'] == 2",
         "d['files'][2]['compression']['spacing'] == 2 * d['files'][2]['compression']['finestSpacing']"});
    saveCorner("plain.las");
    EXPECT_EQ("none", storage("plain.las"));
    expectJson(run({"info", "plain.las", "--json"}).out, {"d['files'][0]['compression'] is None"});
}

TEST_F(Reports, PointsThatAHeaderLeavesOutAreNoted) {
    std::ifstream file(TILEWRIGHT_TEST_DATA "/laz/pf7_variable.laz", std::ios::binary);
    Io::Test::Bytes bytes = Io::Test::textBytes({std::istreambuf_iterator<char>(file), {}});
    Io::Test::poke(bytes, 247, std::uint64_t{800});
    save("scan.laz", bytes);
    for (const Arguments& words : {Arguments{"info", "scan.laz"}, {"raster", "scan.laz", "h.tif"}})
        EXPECT_NE(std::string::npos,
                  run(words).err.find("scan.laz has 1500 points in its chunks, and 800 by its header"));
}

TEST_F(Reports, JsonHoldsAnyNameAndEveryDigit) {
    Io::RasterReport report;
    report.cloud = "a\"b\\c\n\x01\xc3\xa9\xff\xed\xa0\x80\xf0\x9f\x8c\x8d\xe2\x82";
    report.points = 18446744073709551615U;
    report.cell = {0.1, 1e-300};
    report.extent = {-1.0 / 3.0, 5e-324, 1.7976931348623157e308, 0.0};
    report.bands.resize(2);
    report.bands[0].nodata = std::numeric_limits<double>::quiet_NaN();
    report.bands[1].range = {1.5, 1e22};
    std::ostringstream out;
    printJson(out, report);
    expectJson(out.str(),
               {R"(d['cloud'] == 'a"b\\c\n\x01\u00e9\ufffd\ufffd\ufffd\ufffd\U0001f30d\ufffd\ufffd')",
                "d['points'] == 2**64 - 1", "d['cell'] == [0.1, 1e-300]",
                "d['extent'] == [-1 / 3, 5e-324, 1.7976931348623157e308, 0]",
                "d['bands'][0]['nodata'] is None", "d['bands'][0]['min'] is None",
                "d['bands'][1]['max'] == 1e22", "d['dryRun'] is False", "d['notes'] == []"});
}

TEST(Summary, NamesCannotReachTheTerminal) {
    Io::RasterReport report;
    report.cloud = "a\x1b[2J\xc2\x9b.las";
    report.points = report.rastered = 1;
    std::ostringstream out;
    printSummary(out, report);
    EXPECT_EQ(0U, out.str().find("a [2J  .las: 1 point, every one of them in its cell\n")) << out.str();
}

TEST(Progress, BarFitsTheTerminalAndVanishes) {
    int terminal = 0;
    winsize size = {24, 60, 0, 0};
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, &size);
    ASSERT_LE(0, child);
    if (child == 0) {
        ::setenv("TERM", "xterm", 1);
        {
            ProgressBar bar;
            std::vector<std::jthread> threads;
            for (unsigned offset = 0; offset < 3; ++offset)
                threads.emplace_back([&bar, offset] {
                    for (unsigned i = offset; i < 1800; i += 3) {
                        bar.show("a step with quite a long name", 1000000UL * i, 1800000000);
                        std::this_thread::sleep_for(std::chrono::milliseconds(3));
                    }
                });
        }
        ::_exit(0);
    }
    std::string all;
    char buffer[4096];
    for (ssize_t got = 0; (got = ::read(terminal, buffer, sizeof buffer)) > 0;)
        all.append(buffer, static_cast<std::size_t>(got));
    ::waitpid(child, nullptr, 0);
    ::close(terminal);

    std::istringstream lines(all);
    std::string line;
    std::vector<int> shares;
    std::size_t widest = 0;
    while (std::getline(lines, line, '\r')) {
        EXPECT_GT(60U, line.size()) << line;
        widest = std::max(widest, line.size());
        if (const std::size_t percent = line.find(" %"); percent != std::string::npos)
            shares.push_back(std::stoi(line.substr(line.find_last_not_of("0123456789", percent - 1) + 1)));
    }
    EXPECT_LE(5U, shares.size()) << all;
    EXPECT_TRUE(std::ranges::is_sorted(shares)) << all;
    EXPECT_LE(all.size(), 60U * 30U) << "drawn too often";
    EXPECT_TRUE(all.ends_with("\r" + std::string(widest, ' ') + "\r")) << all;
}

TEST(Interruption, SecondOneEndsTheProgramAtOnce) {
    EXPECT_EXIT(
        {
            catchInterruptions();
            std::raise(SIGINT);
            if (!isInterrupted())
                ::_exit(1);
            std::raise(SIGINT);
            ::_exit(0);
        },
        testing::KilledBySignal(SIGINT), "");
}

} // namespace
} // namespace Tilewright::App::Test
