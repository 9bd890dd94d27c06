#pragma once

#include <atomic>

#include <tilewright/export.h>

namespace Larder {

/// A statistic that any number of threads may add to without a lock and without a data race. It orders
/// nothing: a reader sees some recent value. A copy is a snapshot.
class TILEWRIGHT_API RelaxedCounter {
public:
    RelaxedCounter() = default;
    RelaxedCounter(const RelaxedCounter& other) : Value(other.load()) {}
    RelaxedCounter& operator=(const RelaxedCounter&) = delete;

    long long load() const { return Value.load(std::memory_order_relaxed); }
    operator long long() const { return load(); }

    RelaxedCounter& operator+=(long long amount) {
        Value.fetch_add(amount, std::memory_order_relaxed);
        return *this;
    }
    RelaxedCounter& operator-=(long long amount) { return *this += -amount; }

private:
    std::atomic<long long> Value{0};
};

} // namespace Larder
