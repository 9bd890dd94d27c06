/// Turnstile: lets the threads of a job through one by one, in the order of the pieces that they work on.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace Tilewright::Io {

class Turnstile {
public:
    /// Waits until all pieces before this one have left. False if the turnstile was closed meanwhile.
    bool enter(std::size_t piece) {
        std::unique_lock guard(Lock);
        Moved.wait(guard, [&] { return IsClosed || Next == piece; });
        return !IsClosed;
    }

    /// To be called once for each piece, after it was let in.
    void leave() {
        {
            const std::lock_guard guard(Lock);
            ++Next;
        }
        Moved.notify_all();
    }

    /// Lets nobody in any more. A thread that fails has to close it, or the others wait for its piece.
    void close() {
        {
            const std::lock_guard guard(Lock);
            IsClosed = true;
        }
        Moved.notify_all();
    }

private:
    std::mutex Lock;
    std::condition_variable Moved;
    std::size_t Next = 0;
    bool IsClosed = false;
};

} // namespace Tilewright::Io
