// A raster in parts, by the commands of the program.
#include <tests/program/ProgramTest.h>

namespace Tilewright::App::Test {
namespace {

using Io::Test::LasBuilder;

class PartsProgram : public ProgramTest {
protected:
    /// Points in 600 x 300 cells, which are six blocks.
    PartsProgram() {
        LasBuilder las;
        las.points.clear();
        for (int i = 0; i < 9000; ++i) {
            las.points.emplace_back();
            las.points.back().xyz = {60000 * (i % 97) / 97, 30000 * (i % 89) / 89, i};
        }
        save("in.las", las.build());
        EXPECT_EQ(0, raster({"--cell", "1"}).status);
        const Outcome plan =
            run({"plan", "in.las", "joined.tif", "--cell", "1", "--job", "job", "--parts", "2"});
        EXPECT_EQ(0, plan.status) << plan.err;
    }

    std::string bytesOf(const std::string& name) const { return textOf(Folder / name); }
};

TEST_F(PartsProgram, BecomeTheRasterOfOneRun) {
    EXPECT_EQ(0, run({"part", "job", "1"}).status);
    EXPECT_NE(std::string::npos, run({"status", "job", "--json"}).out.find("\"missing\": 1"));
    const Outcome early = run({"join", "job"});
    EXPECT_EQ(1, early.status);
    EXPECT_NE(std::string::npos, early.err.find("part 2 of 2 is missing")) << early.err;
    EXPECT_FALSE(fs::exists(Folder / "joined.tif"));
    EXPECT_EQ(0, run({"part", "job", "1-2"}).status);
    const Outcome joined = run({"join", "job"});
    ASSERT_EQ(0, joined.status) << joined.err;
    EXPECT_EQ(bytesOf("out.tif"), bytesOf("joined.tif"));
    EXPECT_FALSE(fs::exists(Folder / "job"));
}

TEST_F(PartsProgram, StayWhereTheyAreBelowAVrt) {
    EXPECT_EQ(0, run({"part", "job", "1-2"}).status);
    const Outcome joined = run({"join", "job", "--vrt"});
    ASSERT_EQ(0, joined.status) << joined.err;
    EXPECT_FALSE(fs::exists(Folder / "joined.tif"));
    const Band whole = readBand("out.tif");
    const Band parts = readBand("joined.vrt");
    EXPECT_EQ(whole.values, parts.values);
    EXPECT_EQ(whole.nodata, parts.nodata);
    EXPECT_EQ(whole.description, parts.description);
    EXPECT_TRUE(fs::exists(Folder / "job"));
}

} // namespace
} // namespace Tilewright::App::Test
