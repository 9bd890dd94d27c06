// What the program does with input that it can't use, and when it is stopped: one line, and no trace.
#include <tests/program/ProgramTest.h>

#include <chrono>
#include <csignal>
#include <map>
#include <thread>

#include <sys/resource.h>

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
        std::ofstream(Folder / "out.tif") << "an older output";
        Before = files();
    }

    /// The program must end so, and leave the folder as it was.
    void expectRefusal(const Outcome& outcome, int status, const std::string& words) const {
        EXPECT_EQ(status, outcome.status);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ(0U, outcome.err.find("tilewright: ")) << outcome.err;
        EXPECT_EQ(outcome.err.size() - 1, outcome.err.find('\n')) << outcome.err;
        EXPECT_NE(std::string::npos, outcome.err.find(words)) << outcome.err;
        EXPECT_LT(outcome.err.size(), 500U) << outcome.err;
        EXPECT_EQ(Before, files());
        EXPECT_TRUE(textOf(Folder / "out.tif") == "an older output");
    }

    Bytes Good;
    Names Before;
};

TEST_F(Refusal, BrokenInputIsToldInOneLineAndNothingIsWritten) {
    Bytes overflowing = Good, empty = Good;
    poke(overflowing, 131, 1e300);
    poke(empty, 107, std::uint32_t(0));
    const std::map<std::string, Bytes> cases = {
        {"is not a LAS file", textBytes("x,y,z\n1,2,3\n")},
        {"only 2 are there", Bytes(Good.begin(), Good.end() - 1)},
        {"so large that they overflow", overflowing},
        {"has no points", empty},
    };
    for (const auto& [words, bytes] : cases) {
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
        {1, {"--select", "2@Nothing"}, "no field 'Nothing'"},
        {2, {"--request", "Positions"}, "FIELD:FILTER:DIRECTION"},
        {2, {"--request", "a\nb"}, "a b"},
        {2, {"--request", "Positions:mean:Zdir"}, "Regression; the nearest is Mean"},
        {1, {"--band", "Intensty:Max"}, "; the nearest is Intensity"},
        {2, {"--request", "Positions:Skip:Zdir"}, "no band"},
        {2, {"--request", "Positions:Min:Zdir", "--request", "Positions:Min:Zdir"}, "twice"},
        {2, {"--select", "x@Classification"}, "names no range"},
    };
    for (const auto& [status, arguments, words] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        expectRefusal(raster(arguments), status, words);
    }
    for (const auto& [arguments, words] : std::vector<std::pair<Arguments, std::string>>{
             {{}, ""},
             {{"raster", "in.las"}, ""},
             {{"rastr", "in.las", "out.tif"},
              "no command 'rastr'; the nearest is raster; see tilewright --help"},
             {{"in.las", "out.tif"}, "there are raster, info"},
             {{"help", "rastr"}, "the nearest is raster"},
             {{"raster", "in.las", "out.tif", "--unknown"}, "--unknown; see tilewright raster --help"}})
        expectRefusal(run(arguments), 2, words);
    const Outcome format = raster({"-of", "GTif"});
    EXPECT_EQ(2, format.status);
    for (const std::string words : {" AAIGrid, ", " PNG, ", "; the nearest is GTiff"})
        EXPECT_NE(std::string::npos, format.err.find(words)) << format.err;
}

TEST_F(Refusal, OutputThatCannotBeWrittenIsToldBeforeAnythingIs) {
    fs::create_directory(Folder / "locked");
    fs::permissions(Folder / "locked", fs::perms::owner_read | fs::perms::owner_exec);
    Before.insert("locked");
    if (::geteuid() != 0)
        expectRefusal(run({"raster", "in.las", "locked/x.tif"}), 1, "locked");
    for (const std::string name : {"nowhere/x.tif", "in.las/x.tif", "/proc/x.tif"})
        expectRefusal(run({"raster", "in.las", name}), 1, name);
    for (const std::string name : {"", ".", "locked"})
        expectRefusal(run({"raster", "in.las", name}), 2, "'" + name + "'");
    expectRefusal(run({"raster", "in.las", "out.tif"}), 1, "--overwrite");
    fs::rename(Folder / "in.las", Folder / "in.tif");
    Before = files();
    expectRefusal(run({"raster", "in.tif", "in.tif", "--overwrite"}), 1, "is an input");
}

TEST_F(Refusal, FullDiskLeavesNoneOfSeveralBands) {
    rlimit before = {};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
    const rlimit small = {4096, before.rlim_max};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &small));
    const Outcome outcome = raster({"--request", "Positions:Mean:Zdir", "--request", "CellType"});
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &before));
    expectRefusal(outcome, 1, "cannot be");
}

TEST_F(Refusal, InterruptionStopsTheRunSoonAndLeavesNothing) {
    ASSERT_EQ(0, finish(start("TILEWRIGHT_MAKESCAN", {"in.las", "--points", "400000"})).status);
    using Clock = std::chrono::steady_clock;
    for (const int milliseconds : {0, 100, 300}) {
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
        ::kill(pid, SIGINT);
        const auto asked = Clock::now();
        expectRefusal(finish(pid), 1, "interrupted");
        EXPECT_LT(Clock::now() - asked, std::chrono::seconds(5)) << "asked after " << milliseconds << " ms";
    }
}

} // namespace
} // namespace Tilewright::App::Test
