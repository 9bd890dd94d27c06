// A raster made in parts, whatever happens to them, against the raster made at once.
#include <io/parts/Parts.h>

#include <random>
#include <thread>

#include <gmock/gmock.h>

#include <io/system/Errors.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::EndsWith, testing::HasSubstr;

class PartsTest : public FolderTest {
protected:
    PartsTest() : Job(Top / "job") {
        Request.inputs = {(Top / "scan.las").string()};
        Request.bands = {"Height:Median", "Intensity:Mean", "UserData:Max", "Classification:Min", "count"};
        Request.threads = 2;
        fs::create_directory(Top / "whole");
        fs::create_directory(Top / "joined");
    }

    /// Over 3 x 3 blocks; only those in the east have the user data 255.
    void saveScan(bool inOrder) const {
        std::mt19937 random(3);
        LasBuilder las;
        las.points.assign(20000, {});
        for (std::size_t i = 0; i < las.points.size(); ++i) {
            LasPoint& p = las.points[i];
            const auto along = inOrder ? static_cast<int>(i * 3) : static_cast<int>(random() % 60000);
            p.xyz = {static_cast<int>(random() % 60000), along, static_cast<int>(random() % 9000)};
            p.intensity = static_cast<std::uint16_t>(random());
            p.classification = static_cast<unsigned>(random() % 3);
            p.userData = static_cast<std::uint8_t>(random() % (p.xyz[0] > 40000 ? 256 : 200));
        }
        saveAs(Top / "scan.las", las.build());
    }

    RasterRequest into(const char* folder) const {
        RasterRequest request = Request;
        request.output = (Top / folder / "out.tif").string();
        return request;
    }

    std::uint64_t plan(std::uint64_t parts) const { return planParts(into("joined"), Job, parts).parts; }

    void expectSame() const {
        const Names names = namesIn(Top / "whole");
        ASSERT_EQ(names, namesIn(Top / "joined"));
        ASSERT_FALSE(names.empty());
        for (const std::string& name : names)
            EXPECT_EQ(textOf(Top / "whole" / name), textOf(Top / "joined" / name)) << name;
    }

    void expectSameIn(std::uint64_t parts) {
        SCOPED_TRACE(parts);
        const std::uint64_t count = plan(parts);
        EXPECT_EQ(count, std::min<std::uint64_t>(parts, 9));
        for (std::uint64_t part = count; part != 0; --part)
            EXPECT_EQ(makePart(Job, part), PartOutcome::Made);
        joinParts(Job, false);
        expectSame();
        EXPECT_FALSE(fs::exists(Job));
        for (const std::string& name : namesIn(Top / "joined"))
            fs::remove(Top / "joined" / name);
    }

    RasterRequest Request;
    fs::path Job;
};

TEST_F(PartsTest, AreTheRasterTogetherHoweverManyTheyAre) {
    for (const bool inOrder : {true, false}) {
        SCOPED_TRACE(inOrder);
        saveScan(inOrder);
        fs::remove_all(Top / "whole");
        fs::create_directory(Top / "whole");
        runRaster(into("whole"));
        for (const std::uint64_t parts : {1U, 4U, 100U})
            expectSameIn(parts);
    }
}

TEST_F(PartsTest, AgreeAboutNoDataSelectionsAndAStack) {
    saveScan(true);
    Request.stack = true;
    Request.selections = {"1:2@Classification"};
    Request.bounds = {{33.3, 20.0, 500.5, 480.0}};
    Request.fill = 2.0;
    for (const std::optional<double> nodata : {std::optional<double>(), {7.0}}) {
        Request.nodata = nodata;
        Request.overwrite = true;
        const std::vector<std::string> notes = runRaster(into("whole")).notes;
        plan(3);
        for (std::uint64_t part = 1; part <= 3; ++part)
            makePart(Job, part);
        EXPECT_EQ(joinParts(Job, false).notes.size(), notes.size());
        expectSame();
    }
}

TEST_F(PartsTest, AreMadeOnceOrAgainWhenTheyAreDamaged) {
    saveScan(true);
    runRaster(into("whole"));
    plan(4);
    EXPECT_THROW(plan(4), OutputError) << "the job is there";
    const auto fault = [&] { return messageOf([&] { joinParts(Job, true); }); };
    EXPECT_THAT(fault(), HasSubstr("parts 1-4 of 4 are missing"));
    EXPECT_THROW(makePart(Job, 0), UsageError);
    EXPECT_THROW(makePart(Job, 5), UsageError);
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 3; ++i)
            threads.emplace_back([&] { makePart(Job, 2); });
    }
    EXPECT_EQ(makePart(Job, 2), PartOutcome::WasThere);
    makePart(Job, 4);
    EXPECT_THAT(fault(), HasSubstr("parts 1, 3 of 4 are missing"));
    makePart(Job, 1);
    makePart(Job, 3);

    const fs::path pixels = Job / "parts" / "3";
    const std::string sound = textOf(pixels);
    for (const std::size_t at : {std::size_t(3), std::size_t(14), std::size_t(30), sound.size() - 1}) {
        std::string damaged = sound;
        damaged[at] = static_cast<char>(damaged[at] ^ 64);
        saveAs(pixels, damaged);
        EXPECT_THAT(fault(), EndsWith("parts/3: is damaged; make this part once more")) << at;
        EXPECT_EQ(namesIn(Top / "joined"), Names{});
    }
    saveAs(pixels, sound.substr(0, sound.size() / 2));
    EXPECT_THAT(fault(), HasSubstr("is damaged"));
    saveAs(Job / "parts" / "1.json", "{");
    EXPECT_THAT(fault(), HasSubstr("part 1 of 4 is missing"));
    EXPECT_EQ(makePart(Job, 1), PartOutcome::Made);
    EXPECT_EQ(makePart(Job, 3), PartOutcome::Made);
    joinParts(Job, true);
    expectSame();
    EXPECT_TRUE(fs::exists(Job / "plan.json"));
}

TEST_F(PartsTest, AreRefusedForAnotherCloudAndSayWhy) {
    saveScan(true);
    plan(3);
    makePart(Job, 1);
    saveScan(false);
    EXPECT_THAT(messageOf([&] { makePart(Job, 2); }), HasSubstr("has changed since the plan was made"));
    const std::vector<PartStatus> status = statusOfParts(Job);
    ASSERT_EQ(status.size(), 3U);
    EXPECT_EQ(status[0].state, PartStatus::State::Done);
    EXPECT_EQ(status[1].state, PartStatus::State::Failed);
    EXPECT_THAT(status[1].failure, HasSubstr("scan.las: has changed"));
    EXPECT_EQ(status[2].state, PartStatus::State::Missing);
    EXPECT_THROW(statusOfParts(Top), InputError);
}

TEST_F(PartsTest, StopWhenAskedToAndLeaveNothing) {
    saveScan(true);
    plan(3);
    const RunProgress stop = [](auto...) { return false; };
    EXPECT_THROW(makePart(Job, 2, stop), Interruption);
    EXPECT_EQ(namesIn(Job / "parts"), Names{});
    for (std::uint64_t part = 1; part <= 3; ++part)
        makePart(Job, part);
    EXPECT_THROW(joinParts(Job, false, stop), Interruption);
    EXPECT_EQ(namesIn(Top / "joined"), Names{});
    EXPECT_TRUE(fs::exists(Job / "plan.json"));
}

} // namespace
} // namespace Tilewright::Io::Test
