/// BlockQueue: brings the finished blocks of several threads into their order.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <io/blocks/BandTile.h>

namespace Tilewright::Io {

/// The finished pixels of a block, one tile per band; none where nothing is to be written.
using BlockTiles = std::vector<std::unique_ptr<BandTile>>;

/// Passes blocks on to `write` in ascending order, from whichever thread has the next one.
template <class Write> class BlockQueue {
public:
    BlockQueue(std::size_t blocksAhead, Write write) : Ahead(blocksAhead), WriteBlock(std::move(write)) {}

    /// Waits while the block is too far ahead of the one that is written next.
    void put(std::size_t block, BlockTiles tiles) {
        std::unique_lock guard(Lock);
        Moved.wait(guard, [&] { return Abandoned || block < Next + Ahead; });
        if (Abandoned)
            return;
        Waiting[block] = std::move(tiles);
        if (IsWriting)
            return;
        IsWriting = true;
        for (auto first = Waiting.begin(); first != Waiting.end() && first->first == Next;
             first = Waiting.begin()) {
            const BlockTiles next = std::move(first->second);
            Waiting.erase(first);
            guard.unlock();
            WriteBlock(next);
            guard.lock();
            ++Next;
            Moved.notify_all();
        }
        IsWriting = false;
    }

    /// From now on blocks are dropped. A thread that fails has to say so, or the others wait for its block.
    void abandon() {
        const std::lock_guard guard(Lock);
        Abandoned = true;
        Moved.notify_all();
    }

private:
    std::size_t Ahead;
    Write WriteBlock;
    std::mutex Lock;
    std::condition_variable Moved;
    std::map<std::size_t, BlockTiles> Waiting;
    std::size_t Next = 0;
    bool IsWriting = false;
    bool Abandoned = false;
};

} // namespace Tilewright::Io
