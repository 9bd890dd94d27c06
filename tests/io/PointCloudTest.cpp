#include <io/clouds/PointCloud.h>

#include <unistd.h>

#include <gmock/gmock.h>

#include <io/clouds/FileSearch.h>
#include <io/system/Errors.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::AllOf, testing::ElementsAre, testing::HasSubstr;

class PointCloudTest : public FolderTest {
protected:
    std::vector<std::string> find(const std::vector<std::string>& words) const {
        std::vector<std::string> absolute;
        for (const std::string& word : words)
            absolute.push_back((Top / word).string());
        std::vector<std::string> found;
        for (const fs::path& path : findPointFiles(absolute))
            found.push_back(path.lexically_relative(Top).string());
        return found;
    }

    PointCloud open(const std::vector<std::string>& names, bool ignoreSystems = false) const {
        std::vector<fs::path> files;
        for (const std::string& name : names)
            files.push_back(Top / name);
        return PointCloud(files, {Top, {}}, ignoreSystems);
    }
};

TEST_F(PointCloudTest, WordsStandForFilesFoldersAndPatterns) {
    for (const char* folder : {"tiles/north", "tiles/.trash", "notes"})
        fs::create_directories(Top / folder);
    for (const char* name : {"tiles/b.las", "tiles/a.LAZ", "tiles/north/c.xyz", "tiles/.trash/d.las",
                             "tiles/._a.las", "tiles/read.me", "notes/n.md", "z?.las", "zz.las"})
        saveAs(Top / name, Bytes(1));
    fs::create_directory_symlink("..", Top / "tiles/north/up");

    EXPECT_THAT(find({"zz.las", "tiles"}),
                ElementsAre("zz.las", "tiles/a.LAZ", "tiles/b.las", "tiles/north/c.xyz"));
    EXPECT_THAT(find({"t*s/*.l?s"}), ElementsAre("tiles/b.las"));
    EXPECT_THAT(find({"tiles/north/u*/*.las"}), ElementsAre("tiles/north/up/b.las"));
    EXPECT_THAT(find({"*/r*.me", "note*/*"}), ElementsAre("tiles/read.me", "notes/n.md"));
    // A file of that very name comes before the pattern.
    EXPECT_THAT(find({"z?.las"}), ElementsAre("z?.las"));
    for (const auto& [word, message] : {std::pair{"none.las", "none.las: cannot be opened: "},
                                        {"*.laz", "*.laz: no file fits this pattern"},
                                        {"notes", "notes: has no point files"}})
        EXPECT_THAT(messageOf([&, name = word] { find({name}); }), HasSubstr(message));
}

TEST_F(PointCloudTest, FieldsAreThoseOfAllFilesAndEachFileCountsOnce) {
    LasBuilder builder;
    saveAs(Top / "a.las", builder.build());
    builder.format = 1;
    saveAs(Top / "b.las", builder.build());
    builder.versionMinor = 4;
    builder.format = 7;
    builder.points.clear();
    Bytes empty = builder.build();
    poke<std::uint16_t>(empty, 105, 36);
    saveAs(Top / "empty.las", empty);
    fs::create_symlink("a.las", Top / "link.las");

    const PointCloud cloud = open({"empty.las", "b.las", "a.las", "link.las", "b.las"});
    EXPECT_EQ(cloud.sources().size(), 3U);
    EXPECT_EQ(cloud.pointCount(), 6U);
    EXPECT_EQ(cloud.name(), "3 files");
    EXPECT_NE(cloud.findField("Intensity"), nullptr);
    EXPECT_NE(cloud.findField("ScanAngleRank"), nullptr); // not in the file that has no points
    EXPECT_EQ(cloud.findField("GpsTime"), nullptr);
    EXPECT_NE(open({"b.las"}).findField("GpsTime"), nullptr);
    EXPECT_EQ(open({"b.las"}).name(), (Top / "b.las").string());
}

TEST_F(PointCloudTest, ReportIsAboutAllFilesTogether) {
    saveAs(Top / "a.xyz", "1 2 3\n");
    saveAs(Top / "b.xyz", "1 2 3\n4 5 6\n7 8 9\n");
    std::vector<std::uint64_t> reports;
    const auto report = [&reports](std::uint64_t done, std::uint64_t total) {
        EXPECT_EQ(total, 24U);
        reports.push_back(done);
        return true;
    };
    const PointCloud cloud(std::array{Top / "a.xyz", Top / "b.xyz"}, {Top, report}, false);
    EXPECT_EQ(cloud.pointCount(), 4U);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_EQ(std::pair(reports.front(), reports.back()), (std::pair<std::uint64_t, std::uint64_t>(0, 24)));
}

TEST_F(PointCloudTest, CoordinateSystemsMustAgree) {
    LasBuilder builder;
    saveAs(Top / "none.las", builder.build());
    const auto keyRecord = [](std::uint16_t code) {
        Bytes keys;
        put(keys, std::array<std::uint16_t, 12>{1, 1, 0, 2, 1024, 0, 1, 1, 3072, 0, 1, code});
        return LasRecord{"LASF_Projection", 34735, keys};
    };
    builder.records = {keyRecord(32632)};
    saveAs(Top / "keys.las", builder.build());
    const std::string wkt = open({"keys.las"}).coordinateSystem();
    std::string renamed = wkt;
    renamed.replace(renamed.find("WGS 84 / UTM zone 32N"), 21, "our system");
    builder.records = {{"LASF_Projection", 2112, textBytes(renamed)}};
    saveAs(Top / "wkt.las", builder.build());
    builder.records = {keyRecord(32633)};
    saveAs(Top / "other.las", builder.build());

    EXPECT_EQ(open({"none.las", "keys.las", "wkt.las"}).coordinateSystem(), wkt);
    EXPECT_THAT(
        messageOf([&] {
            open({"keys.las", "none.las", "other.las"});
        }),
        AllOf(HasSubstr("keys.las"), HasSubstr("other.las"), HasSubstr("zone 32N"), HasSubstr("zone 33N")));
    EXPECT_EQ(open({"keys.las", "other.las"}, true).coordinateSystem(), wkt);
}

TEST_F(PointCloudTest, ChangesOfAFileShowWhateverTheyAre) {
    const fs::path path = Top / "cloud.las";
    const Bytes bytes = LasBuilder().build();
    const auto rewrite = [&](const fs::path& file) {
        const auto time = fs::exists(file) ? fs::last_write_time(file) : fs::file_time_type::clock::now();
        saveAs(file, bytes);
        fs::last_write_time(file, time);
    };
    const std::vector<std::function<void()>> changes = {[&] { fs::resize_file(path, bytes.size() + 1); },
                                                        [&] { rewrite(path); },
                                                        [&] {
                                                            rewrite(Top / "other.las");
                                                            fs::rename(Top / "other.las", path);
                                                        },
                                                        [&] { fs::remove(path); }};
    for (std::size_t i = 0; i < changes.size(); ++i) {
        rewrite(path);
        const PointCloud cloud = open({"cloud.las"});
        EXPECT_NO_THROW(cloud.checkUnchanged());
        // Files have their times in ticks of the system.
        ::usleep(20000);
        changes[i]();
        EXPECT_THAT(messageOf([&] { cloud.checkUnchanged(); }), HasSubstr("cloud.las: was changed")) << i;
    }
}

} // namespace
} // namespace Tilewright::Io::Test
