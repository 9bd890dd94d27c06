#include <io/outputs/OutputGuard.h>

#include <gmock/gmock.h>
#include <ogrsf_frmts.h>

#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::HasSubstr;

class OutputGuardTest : public FolderTest {
protected:
    std::string reason(const OutputGuard& guard, const std::string& output, const std::string& place) const {
        return messageOf<OutputError>([&] { guard.check(Top / output, Top / place); });
    }

    void saveShapes(const std::string& name) const {
        GDALAllRegister();
        GDALDatasetUniquePtr shapes(GetGDALDriverManager()
                                        ->GetDriverByName("ESRI Shapefile")
                                        ->Create((Top / name).c_str(), 0, 0, 0, GDT_Unknown, nullptr));
        OGRSpatialReference system;
        system.SetWellKnownGeogCS("WGS84");
        shapes->CreateLayer("points", &system, wkbPoint);
    }
};

TEST_F(OutputGuardTest, FilesOfARasterMayBeReplacedWithItAndThoseOfOthersNot) {
    const std::string grid = "ncols 1\nnrows 1\nxllcorner 0\nyllcorner 0\ncellsize 1\n5\n";
    const OutputGuard guard;
    saveShapes("a.shp");
    EXPECT_THAT(reason(guard, "a.asc", "a.prj"), HasSubstr("does not belong to an older a.asc"));
    saveAs(Top / "a.asc", grid);
    EXPECT_THAT(reason(guard, "a.asc", "a.prj"), HasSubstr("belongs to a."));
    for (const char* name : {"a.shp", "a.shx", "a.dbf"})
        fs::remove(Top / name);
    EXPECT_TRUE(guard.check(Top / "a.asc", Top / "a.prj"));
    EXPECT_THAT(reason(OutputGuard({}, false), "a.asc", "a.prj"), HasSubstr("--overwrite replaces it"));
    EXPECT_FALSE(guard.check(Top / "a.asc", Top / "a.hdr")) << "there is none";
}

TEST_F(OutputGuardTest, FilesOfInputsAreRecognisedByWhatTheyAre) {
    saveShapes("b.shp");
    saveAs(Top / "scan.las", LasBuilder().build());
    saveAs(Top / "scan.prj", "mine");
    saveAs(Top / "scan.tif", olderRaster);
    fs::create_directory_symlink(Top, Top / "again");
    const OutputGuard guard({Top / "b.shp", Top / "again/scan.las"}, true);
    EXPECT_THAT(reason(guard, "b.asc", "b.prj"), HasSubstr("belongs to the input"));
    EXPECT_THAT(reason(guard, "scan.asc", "scan.prj"), HasSubstr("belongs to the input"));
    EXPECT_THAT(reason(guard, "scan.las", "scan.las"), HasSubstr("is an input"));
    EXPECT_TRUE(guard.check(Top / "scan.tif", Top / "scan.tif"));
    saveAs(Top / "same", "mine");
    EXPECT_TRUE(guard.check(Top / "scan.asc", Top / "scan.prj", Top / "same")) << "nothing would change";
}

} // namespace
} // namespace Tilewright::Io::Test
