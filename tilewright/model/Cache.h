#pragma once

#include <limits>
#include <list>
#include <mutex>
#include <unordered_map>

#include <tilewright/substrate/Cacheable.h>

namespace Larder {

/// Keeps what on-demand creators have made, as long as a budget of bytes allows; what was used least
/// recently goes first.
///
/// Invariants:
/// 1. The bytes kept never exceed the budget once an operation has returned.
/// 2. Letting an object go only releases the cache's own reference: whoever else holds it keeps it alive.
///
/// Thread safety: all operations may be called from any thread.
class TILEWRIGHT_API Cache : public CacheBase {
public:
    static constexpr unsigned long long noLimit = std::numeric_limits<unsigned long long>::max();

    Cache();
    ~Cache() override;

    /// The cache that all grids of the process share.
    static StrongPtr<Cache, CacheBase> MemCache();

    /// Bytes that may be kept; at first without limit.
    unsigned long long budget() const;
    /// Lets go at once of what exceeds a smaller budget.
    void setBudget(unsigned long long bytes);

    /// Bytes kept at present; each object counts with the size that it had when it came in.
    unsigned long long bytesKept() const;

    /// Keeps `object`, as the one used last. An object larger than the budget is let go at once.
    void keep(const StrongPtr<Cacheable, Cacheable>& object);
    void forget(const Cacheable& object);
    void touch(const Cacheable& object) override;

private:
    struct Entry {
        StrongPtr<Cacheable, Cacheable> Object;
        unsigned long long Bytes;
    };
    using Entries = std::list<Entry>;

    Entries evictBeyondBudget();

    mutable std::mutex Lock;
    unsigned long long Budget = noLimit;
    unsigned long long Kept = 0;
    /// Least recently used first.
    Entries Objects;
    std::unordered_map<const Cacheable*, Entries::iterator> Places;
};

} // namespace Larder
