// The index of a cloud as a file: what comes back, and what damage does.
#include <io/clouds/IndexFile.h>

#include <random>

#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

bool isSame(const Stretch& a, const Stretch& b) {
    return a.source == b.source && a.first == b.first && a.count == b.count && a.low == b.low &&
           a.high == b.high;
}

class IndexFileTest : public FolderTest {
protected:
    /// Two sources around an empty one, with more stretches than fit a buffer. One was skipped.
    IndexFileTest() {
        std::mt19937_64 random(5);
        std::uniform_real_distribution<double> number(-1e7, 1e7);
        for (const std::uint32_t source : {0U, 2U})
            for (std::uint64_t first = 0; first < Points[source]; first += 7)
                Index.stretches.push_back({source,
                                           first,
                                           std::min<std::uint64_t>(7, Points[source] - first),
                                           {number(random), number(random)},
                                           {number(random), number(random)}});
        Index.stretches[3].low = {PointBounds::infinity, PointBounds::infinity};
        Index.stretches[3].high = {-PointBounds::infinity, -0.0};
        Index.stretches.erase(Index.stretches.begin() + 5);
        Index.skippedPoints = 7;
        Index.bounds.low = {1.0 / 3.0, 0x1p-1074, -PointBounds::infinity};
        Index.ranges = {{-1.5, 0x1.fffffffffffffp1023, true, false, true}, {}};
    }

    std::string tryToRead(const std::string& bytes, const std::vector<std::uint64_t>& points) const {
        saveAs(Path, bytes);
        return messageOf([&] { readIndex(Path, points); });
    }

    std::vector<std::uint64_t> Points = {5000, 0, 12001, 0};
    CloudIndex Index;
    fs::path Path = Top / "index";
};

TEST_F(IndexFileTest, GivesBackWhatWasWritten) {
    writeIndex(Path, Index);
    const CloudIndex read = readIndex(Path, Points);
    EXPECT_TRUE(std::ranges::equal(read.stretches, Index.stretches, isSame));
    EXPECT_EQ(read.skippedPoints, 7U);
    EXPECT_EQ(read.bounds.low, Index.bounds.low);
    EXPECT_EQ(read.bounds.high, Index.bounds.high);
    ASSERT_EQ(read.ranges.size(), 2U);
    EXPECT_EQ(read.ranges[0].least, -1.5);
    EXPECT_EQ(read.ranges[0].greatest, Index.ranges[0].greatest);
    EXPECT_TRUE(read.ranges[0].hasNaN);
    EXPECT_FALSE(read.ranges[0].by257);
    EXPECT_TRUE(read.ranges[0].by256);
    EXPECT_EQ(read.ranges[1].least, PointBounds::infinity);
    EXPECT_EQ(namesIn(Top), Names{"index"});

    const auto isSecond = [](const Stretch& stretch) { return stretch.source == 2; };
    const auto second = readIndex(Path, Points, isSecond).stretches;
    EXPECT_EQ(second.size(), 12001U / 7 + 1);
    EXPECT_TRUE(std::ranges::all_of(second, isSecond));
}

TEST_F(IndexFileTest, IsRefusedForOtherFiles) {
    writeIndex(Path, Index);
    const std::string fault = Path.string() + ": can't be used as the index of the cloud: its stretches are "
                                              "not those of the files";
    for (const auto& points : std::vector<std::vector<std::uint64_t>>{
             {5000, 0, 12000}, {5000, 0, 12002}, {5000, 12001}, {5000, 0, 12001, 1}, {}})
        EXPECT_EQ(messageOf([&] { readIndex(Path, points); }), fault) << points.size();
}

TEST_F(IndexFileTest, ShowsAnyDamage) {
    Index.stretches.resize(3);
    Index.stretches.back().count = 2;
    Index.skippedPoints = 0;
    Points = {16};
    writeIndex(Path, Index);
    const std::string sound = textOf(Path);
    EXPECT_EQ(tryToRead(sound, Points), noFailure);
    EXPECT_EQ(sound.size(), 80U + 2 * 24 + 3 * 52 + 8) << "the layout is fixed";
    for (std::size_t i = 0; i < sound.size(); ++i) {
        EXPECT_NE(tryToRead(sound.substr(0, i), Points), noFailure) << i;
        std::string damaged = sound;
        damaged[i] = static_cast<char>(damaged[i] ^ 0x40);
        EXPECT_NE(tryToRead(damaged, Points), noFailure) << i;
    }
    EXPECT_NE(tryToRead(sound + '\0', Points), noFailure);
}

} // namespace
} // namespace Tilewright::Io::Test
