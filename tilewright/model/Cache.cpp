#include <tilewright/model/Cache.h>

namespace Larder {

// Evicted objects are released after the lock: their destructors may use the cache.

Cache::Cache() = default;

Cache::~Cache() = default;

StrongPtr<Cache, CacheBase> Cache::MemCache() {
    // Never destroyed: creators of static storage ask it to forget their arrays while the process ends.
    static auto* const cache = new Ref<Cache>;
    return *cache;
}

unsigned long long Cache::budget() const {
    const std::lock_guard guard(Lock);
    return Budget;
}

unsigned long long Cache::bytesKept() const {
    const std::lock_guard guard(Lock);
    return Kept;
}

void Cache::setBudget(unsigned long long bytes) {
    Entries released;
    const std::lock_guard guard(Lock);
    Budget = bytes;
    released = evictBeyondBudget();
}

void Cache::keep(const StrongPtr<Cacheable, Cacheable>& object) {
    Cacheable* const raw = object.rawptr();
    if (!raw)
        return;
    Entries entry;
    entry.push_back({object, raw->memsize()});
    raw->setKeeper(this);
    Entries released;
    const std::lock_guard guard(Lock);
    const auto [place, isNew] = Places.try_emplace(raw, entry.begin());
    if (!isNew)
        return;
    Kept += entry.front().Bytes;
    Objects.splice(Objects.end(), entry);
    released = evictBeyondBudget();
}

void Cache::forget(const Cacheable& object) {
    Entries released;
    const std::lock_guard guard(Lock);
    const auto found = Places.find(&object);
    if (found == Places.end())
        return;
    Kept -= found->second->Bytes;
    released.splice(released.end(), Objects, found->second);
    Places.erase(found);
}

void Cache::touch(const Cacheable& object) {
    const std::lock_guard guard(Lock);
    if (const auto found = Places.find(&object); found != Places.end())
        Objects.splice(Objects.end(), Objects, found->second);
}

Cache::Entries Cache::evictBeyondBudget() {
    Entries evicted;
    while (Kept > Budget) {
        Kept -= Objects.front().Bytes;
        Places.erase(Objects.front().Object.rawptr());
        evicted.splice(evicted.end(), Objects, Objects.begin());
    }
    return evicted;
}

} // namespace Larder
