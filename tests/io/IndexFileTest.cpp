// Where the points of a file lie, as a file: what comes back, what damage does, and when it is used again.
#include <io/clouds/IndexFolder.h>

#include <limits>
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
    /// With more stretches than fit a buffer. One was skipped.
    IndexFileTest() {
        std::mt19937_64 random(5);
        std::uniform_real_distribution<double> number(-1e7, 1e7);
        File = {1234567890123, {-5, 999'999'999}, 12001, {}, {"Intensity", ""}, {}};
        for (std::uint64_t first = 0; first < File.points; first += 7)
            File.index.stretches.push_back({0,
                                            first,
                                            std::min<std::uint64_t>(7, File.points - first),
                                            {number(random), number(random)},
                                            {number(random), number(random)}});
        File.index.stretches[3].low = {PointBounds::infinity, PointBounds::infinity};
        File.index.stretches[3].high = {-PointBounds::infinity, -0.0};
        File.index.stretches.erase(File.index.stretches.begin() + 5);
        File.index.skippedPoints = 7;
        File.index.bounds.low = {1.0 / 3.0, 0x1p-1074, -PointBounds::infinity};
        File.index.ranges = {{-1.5, 0x1.fffffffffffffp1023, true, false, true}, {}};
    }

    std::string faultOf(const FileIndex& index) const {
        writeIndex(Path, index);
        return messageOf([&] { readIndex(Path); });
    }

    FileIndex File;
    fs::path Path = Top / "index";
};

TEST_F(IndexFileTest, GivesBackWhatWasWritten) {
    File.window = {{1.0, -2.0}, {PointBounds::infinity, 4.0}};
    writeIndex(Path, File);
    const FileIndex read = readIndex(Path);
    EXPECT_EQ(read.bytes, File.bytes);
    EXPECT_EQ(read.modified, File.modified);
    EXPECT_EQ(read.points, File.points);
    EXPECT_EQ(read.fields, File.fields);
    ASSERT_TRUE(read.window);
    EXPECT_EQ(read.window->low, File.window->low);
    EXPECT_EQ(read.window->high, File.window->high);
    EXPECT_TRUE(std::ranges::equal(read.index.stretches, File.index.stretches, isSame));
    EXPECT_EQ(read.index.skippedPoints, 7U);
    EXPECT_EQ(read.index.bounds.low, File.index.bounds.low);
    EXPECT_EQ(read.index.bounds.high, File.index.bounds.high);
    ASSERT_EQ(read.index.ranges.size(), 2U);
    EXPECT_EQ(read.index.ranges[0].least, -1.5);
    EXPECT_EQ(read.index.ranges[0].greatest, File.index.ranges[0].greatest);
    EXPECT_TRUE(read.index.ranges[0].hasNaN);
    EXPECT_FALSE(read.index.ranges[0].by257);
    EXPECT_TRUE(read.index.ranges[0].by256);
    EXPECT_EQ(read.index.ranges[1].least, PointBounds::infinity);
    EXPECT_EQ(namesIn(Top), Names{"index"});

    const auto isLate = [](const Stretch& stretch) { return stretch.first >= 7000; };
    EXPECT_EQ(readIndex(Path, isLate).index.stretches.size(), 5001U / 7 + 1);
}

TEST_F(IndexFileTest, ShowsAnyDamage) {
    File.index.stretches.resize(3);
    File.index.stretches.back().count = 2;
    File.index.skippedPoints = 0;
    File.points = 16;
    writeIndex(Path, File);
    const std::string sound = textOf(Path);
    EXPECT_EQ(messageOf([&] { readIndex(Path); }), noFailure);
    EXPECT_EQ(sound.size(), 144U + 2 * 28 + 9 + 3 * 48 + 8) << "the layout is fixed";
    const auto faultOfBytes = [&](const std::string& bytes) {
        saveAs(Path, bytes);
        return messageOf([&] { readIndex(Path); });
    };
    for (std::size_t i = 0; i < sound.size(); ++i) {
        EXPECT_NE(faultOfBytes(sound.substr(0, i)), noFailure) << i;
        for (const int bit : {0x40, 0x80}) {
            std::string damaged = sound;
            damaged[i] = static_cast<char>(damaged[i] ^ bit);
            EXPECT_NE(faultOfBytes(damaged), noFailure) << i;
        }
    }
    EXPECT_NE(faultOfBytes(sound + '\0'), noFailure);
}

TEST_F(IndexFileTest, IsRefusedIfItsStretchesAreNotThoseOfTheFile) {
    EXPECT_EQ(faultOf(File), noFailure);
    const std::string fault =
        Path.string() + ": can't be used as the index of a file: its stretches are not those of the file";
    FileIndex other = File;
    for (const std::uint64_t points : {std::uint64_t(12000), std::uint64_t(12002), std::uint64_t(0)}) {
        other.points = points;
        EXPECT_EQ(faultOf(other), fault) << points;
    }
    other = File;
    std::swap(other.index.stretches[0], other.index.stretches[1]);
    EXPECT_EQ(faultOf(other), fault);
    other = File;
    other.index.stretches[9].count = std::numeric_limits<std::uint64_t>::max() - 3;
    EXPECT_EQ(faultOf(other), fault);
}

class IndexFolderTest : public FolderTest {
protected:
    IndexFolderTest() : Indices(Top / "index") {
        fs::create_directory(Top / "index");
        for (const char* const name : {"a.las", "b.las"})
            save(name, 1000);
    }

    void save(const char* name, std::size_t points) const {
        std::mt19937 random(static_cast<unsigned>(points));
        LasBuilder las;
        las.points.assign(points, {});
        for (LasPoint& p : las.points) {
            p.xyz = {static_cast<int>(random() % 3000), static_cast<int>(random() % 2000), 7};
            p.intensity = static_cast<std::uint16_t>(random());
        }
        saveAs(Top / name, las.build());
    }

    /// Whichever is written gets a new one.
    std::vector<std::uint64_t> numbers() const {
        std::vector<std::uint64_t> all;
        for (const char* const name : {"a.las", "b.las"})
            all.push_back(stateOf(Indices.placeOf(Top / name)).inode);
        return all;
    }

    /// The same as without a folder.
    void index(const std::vector<std::string>& fields) const {
        const std::vector<fs::path> files = {Top / "a.las", Top / "b.las"};
        const PointCloud cloud(files, {}, false);
        const CloudIndex kept = indexCloud(cloud, {fields, 2, {}, {}, &Indices});
        const CloudIndex fresh = indexCloud(cloud, {fields, 2, {}, {}, nullptr});
        EXPECT_TRUE(std::ranges::equal(kept.stretches, fresh.stretches, isSame));
        EXPECT_EQ(kept.bounds.low, fresh.bounds.low);
        EXPECT_EQ(kept.bounds.high, fresh.bounds.high);
        ASSERT_EQ(kept.ranges.size(), fields.size());
        for (std::size_t f = 0; f < fields.size(); ++f) {
            EXPECT_EQ(kept.ranges[f].least, fresh.ranges[f].least);
            EXPECT_EQ(kept.ranges[f].greatest, fresh.ranges[f].greatest);
        }
    }

    IndexFolder Indices;
};

TEST_F(IndexFolderTest, KeepsWhatIsStillRight) {
    index({"Intensity", "Classification"});
    const auto first = numbers();
    index({"Classification", "Intensity"});
    index({});
    EXPECT_EQ(numbers(), first);

    save("b.las", 1001);
    index({"Intensity"});
    EXPECT_EQ(numbers()[0], first[0]);
    EXPECT_NE(numbers()[1], first[1]);
    const auto second = numbers();
    fs::last_write_time(Top / "a.las", fs::last_write_time(Top / "a.las") + std::chrono::nanoseconds(1));
    index({"Intensity"});
    EXPECT_NE(numbers()[0], second[0]);
    EXPECT_EQ(numbers()[1], second[1]);
    index({"Classification"});
    EXPECT_NE(numbers()[1], second[1]) << "b was measured without it";

    std::string damaged = textOf(Indices.placeOf(Top / "a.las"));
    damaged[150] = static_cast<char>(damaged[150] ^ 1);
    saveAs(Indices.placeOf(Top / "a.las"), damaged);
    index({"Classification"});
    EXPECT_NE(textOf(Indices.placeOf(Top / "a.las")), damaged);
}

} // namespace
} // namespace Tilewright::Io::Test
