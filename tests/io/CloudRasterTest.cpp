// What no whole run shows: that a raster which lost points would be noticed.
#include <io/CloudGrid.h>
#include <io/GridRaster.h>

#include <tests/io/FolderTest.h>
#include <tilewright/raster/raster.h>

namespace Tilewright::Io::Test {
namespace {

class CloudRaster : public FolderTest {};

TEST_F(CloudRaster, PointsThatTheRasterLostAreNoticed) {
    LasBuilder builder;
    builder.points[0].xyz = {350, 150, 400};
    builder.points[1].xyz = {50, 50, 100};
    builder.points[2].xyz = {320, 120, 200};
    saveAs(Top / "in.las", builder.build());
    // Cells of 1 over 4 x 2, in fragments of one cell; two of the points share a cell, and most are empty.
    const RasterLattice lattice({0.5, 0.5, 1.0}, {3.5, 1.5, 4.0}, {1.0, 0.0, 0.0, 4, 2, 0});
    const CloudGrid cloud = loadCloud(LasFile(Top / "in.las"), {}, {}, lattice, {});
    const Larder::Ref<Quill::Grid> out;
    testing::internal::CaptureStdout(); // the line that tells how far it is
    ASSERT_EQ("", raster(*cloud.grid, *out, {"Positions:Mean:Zdir"}, lattice.wantedCellSize(),
                         lattice.overlap(), {}, false, false, "", 0, {}));
    testing::internal::GetCapturedStdout();
    const GridRaster grid(out, lattice);
    using Counts = std::vector<std::uint32_t>;
    EXPECT_EQ((Counts{1, 0, 0, 0, 0, 0, 0, 2}), cloud.counts);
    EXPECT_EQ("", grid.compareCounts(cloud.counts, 0));
    EXPECT_NE("", grid.compareCounts(cloud.counts, 1)) << "another limit than the library was given";
    EXPECT_NE("", grid.compareCounts(Counts{1, 0, 0, 0, 0, 0, 0, 3}, 0)) << "too few in a cell";
    EXPECT_NE("", grid.compareCounts(Counts{1, 0, 0, 1, 0, 0, 0, 2}, 0)) << "a fragment without data";
    EXPECT_NE("", grid.compareCounts(Counts{0, 0, 0, 0, 0, 0, 0, 2}, 0)) << "a point too many";
}

} // namespace
} // namespace Tilewright::Io::Test
