#include <io/gdal/Gdal.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace Tilewright::Io::Test {
namespace {

GDALDatasetUniquePtr memoryRaster(int width) {
    return GDALDatasetUniquePtr(driverFor("MEM").Create("", width, 1, 1, GDT_Float64, nullptr));
}

TEST(BlockRoomTest, LargeOnesWaitForOneAnotherAndSmallOnesDoNot) {
    const auto large = memoryRaster(3'000'000); // Two rows of blocks take 96 MB.
    std::atomic<int> inside = 0, most = 0, done = 0;
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&] {
                const BlockRoom room(*large);
                most = std::max(most.load(), ++inside);
                std::this_thread::yield();
                --inside;
                ++done;
            });
    }
    EXPECT_EQ(1, most);
    EXPECT_EQ(4, done);
    EXPECT_LE(96'000'000, GDALGetCacheMax64());

    const auto small = memoryRaster(100);
    std::latch both(2);
    const auto meetTheOther = [&] {
        const BlockRoom room(*small);
        both.arrive_and_wait();
    };
    std::jthread other(meetTheOther);
    meetTheOther();
}

} // namespace
} // namespace Tilewright::Io::Test
