/// OrderedQueue: brings what several threads make of numbered pieces into the order of the pieces.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

namespace Tilewright::Io {

/// Passes items on in ascending order, without gaps from 0 on, one at a time. A thread that is not next
/// leaves its item and goes on to another piece: whoever has the next one passes on all that wait.
template <class Item> class OrderedQueue {
public:
    /// Up to `mostAhead` items wait.
    OrderedQueue(std::size_t mostAhead, std::function<void(const Item&)> use)
        : Ahead(mostAhead), Use(std::move(use)) {}

    /// To be called once for each number. Waits while the item is too far ahead of the next one.
    void put(std::size_t number, Item item) {
        std::unique_lock guard(Lock);
        Moved.wait(guard, [&] { return IsAbandoned || number < Next + Ahead; });
        if (IsAbandoned)
            return;
        Waiting.emplace(number, std::move(item));
        if (IsBusy)
            return;
        IsBusy = true;
        while (!Waiting.empty() && Waiting.begin()->first == Next) {
            const auto first = Waiting.extract(Waiting.begin());
            guard.unlock();
            Use(first.mapped());
            guard.lock();
            ++Next;
            Moved.notify_all();
        }
        IsBusy = false;
    }

    /// Waits until all items before this one have been passed on: until it is put, the caller is on its own.
    /// False if the queue was abandoned meanwhile.
    bool waitFor(std::size_t number) {
        std::unique_lock guard(Lock);
        Moved.wait(guard, [&] { return IsAbandoned || Next == number; });
        return !IsAbandoned;
    }

    /// From now on items are dropped. A thread that fails has to say so, or the others wait for its item.
    void abandon() {
        const std::lock_guard guard(Lock);
        IsAbandoned = true;
        Moved.notify_all();
    }

private:
    std::size_t Ahead;
    std::function<void(const Item&)> Use;
    std::mutex Lock;
    std::condition_variable Moved;
    std::map<std::size_t, Item> Waiting;
    std::size_t Next = 0;
    bool IsBusy = false;
    bool IsAbandoned = false;
};

} // namespace Tilewright::Io
