// Input that the program cannot use, and runs that are stopped: both leave one line and no trace.
#include <tests/program/ProgramTest.h>

#include <chrono>
#include <csignal>
#include <map>
#include <thread>

namespace Tilewright::App::Test {
namespace {

using Io::Test::Bytes;
using Io::Test::LasBuilder;
using Io::Test::poke;
using Io::Test::textBytes;

class Refusal : public ProgramTest {
protected:
    Refusal() {
        LasBuilder builder;
        builder.points[1].xyz = {400, 300, 5};
        Good = builder.build();
        save("in.las", Good);
        saveAs(Folder / "out.tif", Io::Test::olderRaster);
        Before = files();
    }

    /// The program must end so, and leave the folder as it was.
    void expectRefusal(const Outcome& outcome, int status, const std::string& words) const {
        EXPECT_EQ(status, outcome.status);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ(0U, outcome.err.find("tilewright: ")) << outcome.err;
        EXPECT_EQ(outcome.err.size() - 1, outcome.err.find('\n')) << outcome.err;
        EXPECT_NE(std::string::npos, outcome.err.find(words)) << outcome.err;
        EXPECT_LT(outcome.err.size(), 700U) << outcome.err;
        EXPECT_EQ(Before, files());
        EXPECT_TRUE(textOf(Folder / "out.tif") == Io::Test::olderRaster);
    }

    Bytes Good;
    Names Before;
};

TEST_F(Refusal, BrokenInputIsReportedInOneLineAndNothingIsWritten) {
    Bytes empty = Good;
    poke(empty, 107, std::uint32_t(0));
    for (const auto& [words, bytes] :
         std::map<std::string, Bytes>{{"is not a LAS file", textBytes("x,y,z\n1,2,3\n")},
                                      {"only 2 are there", Bytes(Good.begin(), Good.end() - 1)},
                                      {"has no points", empty}}) {
        SCOPED_TRACE(words);
        save("in.las", bytes);
        expectRefusal(raster({}), 1, words);
    }
    for (const std::string name : {"missing.las", ".", "", "a\nb", "/dev/null"})
        expectRefusal(run({"raster", name, "out.tif"}), 1, name.substr(0, 1));
}

TEST_F(Refusal, WrongUsageAndBadInputHaveExitStatusesOfTheirOwn) {
    const std::vector<std::tuple<int, Arguments, std::string>> cases = {
        {1, {"--cell", "1e-6"}, "choose a larger --cell"},
        {1, {"--request", "Red:Mean:Zdir"}, "no field 'Red'"},
        {2, {"--request", "Positions"}, "FIELD:FILTER:DIRECTION"},
        {2, {"--request", "a\nb"}, "a b"},
        {2, {"--request", "Positions:mean:Zdir"}, "Regression; the nearest is Mean"},
        {1, {"--band", "Intensty:Max"}, "; the nearest is Intensity"},
        {2, {"--request", "Positions:Min:Zdir", "--request", "Positions:Min:Zdir"}, "twice"},
        {1, {"--select", "2@Nothing"}, "it has Height, X, Y, Intensity, "},
        {1, {"--select", "2@Classification", "--select", "!2@Nothing"}, "no field 'Nothing'"},
        {2, {"--returns", "fist"}, "'fist' are not some of first, last, only and intermediate"},
        {2, {"--returns", "first,"}, "'first,'"},
        {2, {"--select", "first & & last"}, "'first & & last' is not of the form RANGES@FIELD"},
    };
    for (const auto& [status, arguments, words] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        expectRefusal(raster(arguments), status, words);
    }
    for (const auto& [arguments, words] : std::vector<std::pair<Arguments, std::string>>{
             {{"raster", "in.las"}, ""},
             {{"rastr", "in.las", "out.tif"},
              "no command 'rastr'; the nearest is raster; see tilewright --help"},
             {{"in.las", "out.tif"}, "the commands are raster, plan, part, join, status, info"},
             {{"help", "rastr"}, "the nearest is raster"},
             {{"raster", "in.las", "out.tif", "--unknown"}, "--unknown; see tilewright raster --help"}})
        expectRefusal(run(arguments), 2, words);
    const Outcome format = raster({"-of", "GTif"});
    EXPECT_EQ(2, format.status);
    for (const std::string words : {" AAIGrid, ", " PNG, ", "; the nearest is GTiff"})
        EXPECT_NE(std::string::npos, format.err.find(words)) << format.err;
}

TEST_F(Refusal, SelectionsAreReadToTheLastCharacterOrNotAtAll) {
    for (const std::string list : {"x",   "1 2",   "1..2", "1:-", "1e",   "-",   ".",   "",    "2,",  ",2",
                                   " ",   "1:2:3", "1::2", "--1", "+-1",  "0x2", "1d",  "inf", "nan", "1e999",
                                   "2.7", "256",   "-1",   ":",   "256:", ":-1", "!!2", "2:&3"})
        expectRefusal(raster({"--select", list + "@Classification"}), 2,
                      list.empty() ? "RANGES@FIELD" : list);
    for (const std::string text : {"2", "2@", "@Classification"})
        expectRefusal(raster({"--select", text}), 2, "RANGES@FIELD");
}

TEST_F(Refusal, OutputThatCannotBeWrittenIsRefusedAtOnce) {
    for (const std::string name : {"nowhere/x.tif", "in.las/x.tif", "/proc/x.tif"})
        expectRefusal(run({"raster", "in.las", name}), 1, name);
    for (const std::string name : {"", "."})
        expectRefusal(run({"raster", "in.las", name}), 2, "'" + name + "'");
    expectRefusal(run({"raster", "in.las", "out.tif"}), 1, "--overwrite");
    fs::rename(Folder / "in.las", Folder / "in.tif");
    Before = files();
    expectRefusal(run({"raster", "in.tif", "in.tif", "--overwrite"}), 1, "is an input");
}

TEST_F(Refusal, WhatTheRunDidNotMakeIsNeverTouched) {
    saveAs(Folder / "scan", Good);
    saveAs(Folder / "cloud.tif", Good);
    fs::create_hard_link(Folder / "in.las", Folder / "link.tif");
    for (const char* name : {"dem.prj", "raw.hdr", "map.png.aux.xml", "top.tif.ovr"})
        saveAs(Folder / name, "mine");
    Before = files();
    const std::string good = textOf(Folder / "scan");
    const std::vector<std::tuple<int, Arguments, std::string>> cases = {
        {1, {"scan", "scan.ers"}, "scan: would be written along with scan.ers, but is an input"},
        {1, {"in.las", "./link.tif"}, "is an input"},
        {1, {"in.las", "cloud.tif"}, "it is a cloud"},
        {1, {"in.las", "dem.asc"}, "dem.prj"},
        {1, {"in.las", "raw.bsq", "--format", "ENVI"}, "raw.hdr"},
        {1, {"in.las", "top.tif"}, "top.tif.ovr"},
        {1, {"in.las", "new.png", "--preview", "../work/new.png", "-ot", "Byte"}, "two files"},
        {2, {"scan", "in.las"}, ".las"},
        {2, {"in.las", "new.tif", "--preview", "new.gif"}, "new.gif"},
        {2, {"in.las", "-"}, "'-'"},
    };
    for (auto [status, arguments, words] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        arguments.insert(arguments.begin(), "raster");
        expectRefusal(run(arguments), status, words);
        arguments.emplace_back("--overwrite");
        expectRefusal(run(arguments), status, words);
        for (const char* name : {"in.las", "scan", "cloud.tif"})
            EXPECT_TRUE(textOf(Folder / name) == good) << name;
        for (const char* name : {"dem.prj", "raw.hdr", "map.png.aux.xml", "top.tif.ovr"})
            EXPECT_EQ("mine", textOf(Folder / name));
    }
}

TEST_F(Refusal, InterruptionStopsTheRunSoonAndLeavesNothing) {
    ASSERT_EQ(0, finish(start("TILEWRIGHT_MAKESCAN", {"in.las", "--points", "400000"})).status);
    using Clock = std::chrono::steady_clock;
    const std::vector<std::pair<int, int>> cases = {{0, SIGINT},    {100, SIGINT},  {300, SIGINT},
                                                    {200, SIGPIPE}, {200, SIGUSR1}, {200, SIGALRM},
                                                    {200, SIGXCPU}, {200, SIGABRT}, {200, SIGRTMAX}};
    for (const auto& [milliseconds, signal] : cases) {
        SCOPED_TRACE(signal);
        const pid_t pid =
            start("TILEWRIGHT_PROGRAM", {"raster", "in.las", "out.tif", "--overwrite", "--cell", "0.025"});
        // Until the program minds interruptions, they end it like any other.
        const std::string state = "/proc/" + std::to_string(pid) + "/status";
        const auto isReady = [&] {
            const std::string text = textOf(state);
            const auto mask = std::stoull(text.substr(text.find("SigCgt:") + 7), nullptr, 16);
            return (mask >> (SIGINT - 1) & 1U) != 0;
        };
        const auto deadline = Clock::now() + std::chrono::seconds(30);
        while (!isReady() && Clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        ::kill(pid, signal);
        const auto asked = Clock::now();
        expectRefusal(finish(pid), 1, "interrupted");
        EXPECT_LT(Clock::now() - asked, std::chrono::seconds(5)) << "asked after " << milliseconds << " ms";
    }
}

TEST_F(Refusal, FilesAreCompleteWhenTheirSummaryGoesNowhere) {
    const std::string program =
        "cd '" + Folder.string() + "' && '" + std::getenv("TILEWRIGHT_PROGRAM") + "' ";
    const auto statusOf = [&](const std::string& words) {
        return WEXITSTATUS(std::system((program + words + " 2>'" + (Top / "err").string() + "'").c_str()));
    };
    for (const std::string where : {">&-", ">/dev/full", "<&- >&-"}) {
        EXPECT_EQ(0, statusOf("raster in.las new.tif " + where));
        EXPECT_NE(std::string::npos, textOf(Top / "err").find("note: the files are complete")) << where;
        EXPECT_EQ(5, readBand("new.tif").width);
        fs::remove(Folder / "new.tif");
    }
    EXPECT_EQ(2, statusOf("raster in.las new.tif --json >&-"));
    EXPECT_EQ(1, statusOf("info in.las >&-"));
    EXPECT_EQ(Before, files());
}

} // namespace
} // namespace Tilewright::App::Test
