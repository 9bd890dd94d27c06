/// ReferenceBase: the root of every class that is reached through reference pointers (StrongPtr.h).
///
/// The scheme counts twice, strong and weak, in a record of its own that outlives the object, so that a weak
/// holder can always ask whether its object still exists. The record belongs to a reference domain: the class
/// R that derives from ReferenceBase<R>.
///
/// Invariants:
/// 1. The record is freed with its last weak count, never with the last strong one. The object itself and
///    every pointer, weak or strong, hold one weak count each.
/// 2. An object is alive while `strongCount` is not negative; once it is -1 nothing revives it.
/// 3. An object that was never strongly held is never destroyed by the scheme.
/// 4. At the death of an object the order is fixed: extremeUnction while it is whole, then the mark of death,
///    then its destructors. Weak holders see it as gone from the mark on.
///
/// Thread safety: the counts are atomic and sequentially consistent. Threads may copy and release pointers to
/// one object freely if each uses a pointer of its own.
#pragma once

#include <atomic>
#include <cstdint>

#include <tilewright/export.h>
#include <tilewright/substrate/MemoryException.h>

namespace Larder {

class TILEWRIGHT_API Cacheable;

/// Set in `strongCount` while last words are spoken. It is so large that pointers that come and go meanwhile
/// never reach zero again and start a second destruction.
inline constexpr int dyingMark = 0x35000000;

/// Left in `object` after death: a poison that is not null, so only `strongCount` shows liveness.
inline constexpr std::uintptr_t goneMark = 0x1234;

/// The record that an object of domain R shares with its pointers.
template <class R> struct TILEWRIGHT_API ReferenceBlock {
    explicit ReferenceBlock(R* referred) : object(referred) {}

    bool alive() const { return object && strongCount.load() >= 0; }

    std::atomic<int> strongCount{0};
    std::atomic<unsigned> weakCount{0};
    R* object;
};

/// What a domain does at the turning points of its objects' lives: nothing, as a rule.
template <class R> struct DomainHooks {
    static void firstStrongReference(R&) {}
    static void markedDead(R&) {}
};

/// Cached data finish their construction when they are first held, after every constructor has run.
template <> struct TILEWRIGHT_API DomainHooks<Cacheable> {
    static void firstStrongReference(Cacheable& object);
    static void markedDead(Cacheable& object);
};

template <class T, class R> class DynPtr;
template <class T, class R> class WeakPtrImpl;

[[noreturn]] TILEWRIGHT_API void throwMemoryException();

template <class R> class TILEWRIGHT_API ReferenceBase {
    ReferenceBlock<R>* Block;

public:
    using reference_domain_t = R;

    /// Next serial number of the domain.
    inline static std::atomic<unsigned long long> MaxObjectCountID{1};

    /// Serial number of this object within its domain, from 1 on in the order of construction.
    const unsigned long long objectId;

    /// `object` is the object itself, as R. Null ends the process: there is no object to speak of.
    explicit ReferenceBase(R* object) noexcept
        : Block(new ReferenceBlock<R>(object ? object : (throwMemoryException(), nullptr))),
          objectId(MaxObjectCountID.fetch_add(1)) {
        Block->weakCount.fetch_add(1);
    }

    ReferenceBase(const ReferenceBase&) = delete;
    ReferenceBase& operator=(const ReferenceBase&) = delete;

    /// Last words: called when the last strong reference is gone and the object is still whole.
    virtual void extremeUnction() {}

    /// Also marks an object dead that is destroyed directly, without its last strong reference going.
    virtual ~ReferenceBase() {
        Block->strongCount.exchange(-1);
        releaseWeak(Block);
    }

private:
    template <class, class> friend class DynPtr;
    template <class, class> friend class WeakPtrImpl;

    /// Gives one weak count back; true if it was the last and the record is freed.
    static bool releaseWeak(ReferenceBlock<R>* block) {
        if (block->weakCount.fetch_sub(1) != 1)
            return false;
        delete block;
        return true;
    }
};

} // namespace Larder
