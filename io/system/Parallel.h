/// Parallel: work on numbered pieces by several threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace Tilewright::Io {

/// Calls `work(i)` once for every i below `count`, on up to `threads` threads, the caller's included. Pieces
/// are begun in ascending order. After an exception no further piece is begun, and it comes out here when all
/// threads are done; of several the first.
///
/// `stop()` is called after each exception, on its thread, to end the work on other pieces early: what they
/// throw because of that always comes later than its reason. It must not throw.
template <class Work, class Stop>
void forEachPiece(unsigned threads, std::size_t count, Work&& work, Stop&& stop) {
    std::atomic<std::size_t> next = 0;
    std::mutex lock;
    std::exception_ptr failure;
    const auto run = [&]() noexcept {
        for (std::size_t i = next++; i < count; i = next++) {
            try {
                work(i);
            } catch (...) {
                {
                    const std::lock_guard guard(lock);
                    if (!failure)
                        failure = std::current_exception();
                }
                next = count;
                stop();
            }
        }
    };
    {
        std::vector<std::jthread> helpers;
        for (unsigned t = 1; t < threads && t < count; ++t)
            helpers.emplace_back(run);
        run();
    }
    if (failure)
        std::rethrow_exception(failure);
}

template <class Work> void forEachPiece(unsigned threads, std::size_t count, Work&& work) {
    forEachPiece(threads, count, std::forward<Work>(work), [] {});
}

} // namespace Tilewright::Io
