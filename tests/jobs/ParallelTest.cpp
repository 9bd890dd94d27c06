#include <io/system/Parallel.h>

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace Tilewright::Io::Test {
namespace {

TEST(Parallel, ReasonOfAFailureComesOutAndNotWhatItStopped) {
    for (int repeat = 0; repeat < 100; ++repeat) {
        std::atomic<bool> isStopped = false;
        std::string message;
        try {
            forEachPiece(
                4, 4,
                [&](std::size_t piece) {
                    if (piece == 0)
                        throw std::runtime_error("the disk is full");
                    while (!isStopped)
                        std::this_thread::yield();
                    throw std::runtime_error("interrupted");
                },
                [&] { isStopped = true; });
        } catch (const std::runtime_error& error) {
            message = error.what();
        }
        ASSERT_EQ("the disk is full", message);
    }
}

} // namespace
} // namespace Tilewright::Io::Test
