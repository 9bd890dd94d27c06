// Blocks that are made when they are asked for, against the raster made at once.
#include <io/runs/BlockwiseRaster.h>

#include <atomic>
#include <chrono>
#include <random>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

class BlockwiseRasterTest : public FolderTest {
protected:
    BlockwiseRasterTest() {
        Request.inputs = {(Top / "scan.las").string()};
        Request.bands = {"Height:Median", "Height:IDW(3,2)", "count"};
        Request.threads = 2;
    }

    /// Over 3 x 3 blocks.
    void saveScan(bool inOrder) const {
        std::mt19937 random(3);
        LasBuilder las;
        las.points.assign(60000, {});
        for (std::size_t i = 0; i < las.points.size(); ++i) {
            const auto along = inOrder ? static_cast<int>(i) : static_cast<int>(random() % 60000);
            las.points[i].xyz = {static_cast<int>(random() % 60000), along,
                                 static_cast<int>(random() % 9000)};
        }
        saveAs(Top / "scan.las", las.build());
    }

    /// The pixels of the blocks are those at their place in the whole.
    static void expectSame(const std::vector<MemoryOutput>& made, const BlockRectangle& blocks,
                           const MemoryRaster& whole) {
        constexpr std::uint64_t side = BlockLattice::blockSide;
        const RasterGeometry& geometry = whole.outputs.front().description.geometry;
        const std::uint64_t columns = std::min(blocks.east * side, geometry.width) - blocks.west * side;
        ASSERT_EQ(made.size(), whole.outputs.size());
        for (std::size_t o = 0; o < made.size(); ++o)
            std::visit(
                [&]<class T>(const std::vector<T>& pixels) {
                    const auto& all = std::get<std::vector<T>>(whole.outputs[o].bands.front());
                    std::size_t others = 0;
                    for (std::size_t i = 0; i < pixels.size(); ++i) {
                        const std::uint64_t row = blocks.north * side + i / columns;
                        const T expected = all[row * geometry.width + blocks.west * side + i % columns];
                        others +=
                            pixels[i] == expected || (pixels[i] != pixels[i] && expected != expected) ? 0 : 1;
                    }
                    EXPECT_EQ(others, 0U) << made[o].name;
                },
                made[o].bands.front());
    }

    RasterRequest Request;
};

TEST_F(BlockwiseRasterTest, MakesAnyBlocksOnAnyThread) {
    for (const bool inOrder : {true, false}) {
        SCOPED_TRACE(inOrder);
        saveScan(inOrder);
        const MemoryRaster whole = rasterInMemory(nullptr, Request);
        const BlockwiseRaster raster(nullptr, Request);
        ASSERT_EQ(raster.blocksAcross(), 3U);
        ASSERT_EQ(raster.blocksDown(), 3U);
        EXPECT_EQ(raster.readsAllPoints(), !inOrder);
        EXPECT_EQ(raster.describe().report.rastered, whole.report.rastered);
        const std::vector<BlockRectangle> places = {{2, 2, 3, 3}, {0, 0, 1, 1}, {1, 0, 3, 2},
                                                    {0, 1, 3, 2}, {0, 0, 3, 3}, {1, 1, 2, 3}};
        std::vector<std::vector<MemoryOutput>> made(places.size());
        {
            std::atomic<std::size_t> next = 0;
            std::vector<std::jthread> threads;
            for (int t = 0; t < 4; ++t)
                threads.emplace_back([&] {
                    for (std::size_t i = next++; i < places.size(); i = next++)
                        made[i] = raster.make(places[i]);
                });
        }
        for (std::size_t i = 0; i < places.size(); ++i)
            expectSame(made[i], places[i], whole);
    }
}

TEST_F(BlockwiseRasterTest, IsTheSameFromItsState) {
    saveScan(true);
    Request.bands = {"Height:Median", "Classification:Max"};
    const BlockwiseRaster raster(nullptr, Request);
    const std::string state = raster.state();
    const BlockRectangle blocks = {1, 0, 3, 2};
    expectSame(BlockwiseRaster(nullptr, std::string_view(state)).make(blocks), blocks,
               rasterInMemory(nullptr, Request));
    for (std::size_t length = 0; length < state.size(); length += 997) {
        const std::string_view cut = std::string_view(state).substr(0, length);
        EXPECT_THROW(BlockwiseRaster(nullptr, cut), InputError) << length;
    }
    std::string other = state;
    other[other.size() - 45] = '\x7f'; // a stretch that begins after the last point
    EXPECT_THROW(BlockwiseRaster(nullptr, std::string_view(other)), InputError);
    fs::last_write_time(Top / "scan.las", fs::file_time_type::clock::now() + std::chrono::seconds(9));
    EXPECT_THROW(BlockwiseRaster(nullptr, std::string_view(state)), InputError);
}

TEST_F(BlockwiseRasterTest, RefusesWhatHasNoBlocks) {
    saveScan(true);
    const BlockwiseRaster raster(nullptr, Request);
    for (const BlockRectangle& blocks :
         {BlockRectangle{0, 0, 4, 1}, {0, 0, 1, 4}, {1, 0, 1, 1}, {0, 2, 1, 1}})
        EXPECT_THROW(raster.make(blocks), std::invalid_argument);
    EXPECT_THROW(raster.make({0, 0, 3, 3}, [](auto...) { return false; }), Interruption);
}

} // namespace
} // namespace Tilewright::Io::Test
