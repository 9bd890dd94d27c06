#include <io/clouds/PointCloud.h>

#include <chrono>
#include <csignal>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <io/system/StepReport.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::AllOf, testing::EndsWith, testing::HasSubstr, testing::Not;

/// A program stands in for pdal.
class PdalReaderTest : public FolderTest {
protected:
    PdalReaderTest() : path((Top / "programs").string() + ":/usr/bin:/bin") {
        fs::create_directories(Top / "programs");
        fs::create_directories(Top / "scratch");
        saveAs(Top / "points.las", LasBuilder().build());
        saveAs(Top / "scan.e57", "ASTM-E57");
    }

    void install(const std::string& script) const {
        saveAs(Top / "programs/pdal", "#!/bin/sh\n" + script);
        fs::permissions(Top / "programs/pdal", fs::perms::owner_all);
    }

    std::unique_ptr<PointSource> open(const std::string& name, const StepReport& report = {}) const {
        return openPointFile(Top / name, {Top / "scratch", report});
    }

    const PathOfPrograms path;
};

TEST_F(PdalReaderTest, ConvertedFileLeavesNothingBehindAndKeepsItsName) {
    const std::string folder = Top.string();
    install("echo \"$@\" > '" + folder + "/words'\ncp '" + folder + "/points.las' \"$3\"\n");
    const auto source = open("scan.e57");
    EXPECT_EQ(source->pointCount(), 3U);
    EXPECT_EQ(positionsOf(*source), std::vector<double>(9));
    EXPECT_EQ(source->name(), (Top / "scan.e57").string());
    EXPECT_EQ(namesIn(Top / "scratch"), Names{});
    EXPECT_THAT(textOf(Top / "words"),
                AllOf(testing::StartsWith("translate " + (Top / "scan.e57").string() + " "),
                      HasSubstr("--writers.las.extra_dims=all"), HasSubstr("--writers.las.scale_z=auto")));
}

TEST_F(PdalReaderTest, FailuresAreSaidInOneLineAndLeaveNothingBehind) {
    for (const auto& [script, message] :
         {std::pair{"echo 'PDAL: bad' >&2; printf 'PDAL: worse\\n \\n' >&2; exit 3",
                    "pdal cannot convert it: PDAL: worse"},
          {"yes x | head -c 100000 >&2; touch \"$3\"; exit 1", "pdal cannot convert it: x"},
          {"kill -9 $$", "pdal cannot convert it: it was ended without a word"},
          {"exit 0", "pdal cannot convert it: it wrote nothing"}}) {
        install(script);
        EXPECT_THAT(messageOf([&] { open("scan.e57"); }), AllOf(HasSubstr(message), Not(HasSubstr("\n"))));
    }
    install("echo half > \"$3\"; kill -2 $$");
    EXPECT_THROW(open("scan.e57"), Interruption);
    install("echo half > \"$3\"; exec sleep 600");
    EXPECT_THROW(open("scan.e57",
                      [&](std::uint64_t, std::uint64_t) {
                          return fs::is_empty(Top / "scratch") ||
                                 fs::is_empty(*fs::directory_iterator(Top / "scratch"));
                      }),
                 Interruption);
    EXPECT_EQ(namesIn(Top / "scratch"), Names{});

    const PathOfPrograms nothing((Top / "nothing").string());
    EXPECT_THAT(messageOf([&] { open("scan.e57"); }), HasSubstr("scan.e57: is of no kind that can be read"));
}

TEST_F(PdalReaderTest, KilledProcessTakesItsProgramAlongAndTheNextOneClearsUp) {
    const fs::path told = Top / "pid";
    install("echo $$ > '" + told.string() + ".new'; mv '" + told.string() + ".new' '" + told.string() +
            "'; exec sleep 600");
    const pid_t child = ::fork();
    if (child == 0) {
        openPointFile(Top / "scan.e57", {Top / "scratch", {}});
        ::_exit(0);
    }
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    const auto waitUntil = [&](const std::function<bool()>& holds) {
        while (!holds() && Clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return holds();
    };
    ASSERT_TRUE(waitUntil([&] { return fs::exists(told); }));
    const auto program = static_cast<pid_t>(std::stoi(textOf(told)));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    // Whoever inherits it may take a while to hear of its end.
    const std::string state = "/proc/" + std::to_string(program) + "/stat";
    EXPECT_TRUE(waitUntil([&] { return textOf(state).find(") S") == std::string::npos; }));
    EXPECT_EQ(1U, namesIn(Top / "scratch").size());
    install("cp '" + Top.string() + "/points.las' \"$3\"\n");
    EXPECT_EQ(open("scan.e57")->pointCount(), 3U);
    EXPECT_EQ(namesIn(Top / "scratch"), Names{});
}

} // namespace
} // namespace Tilewright::Io::Test
