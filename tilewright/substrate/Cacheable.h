#pragma once

#include <mutex>
#include <typeinfo>

#include <tilewright/substrate/StrongPtr.h>

namespace Larder {

class TILEWRIGHT_API Creature;
class TILEWRIGHT_API CacheBase;

/// Data that may be cached: the reference domain of all arrays.
///
/// Thread safety: who made an object and who keeps it may be set and read from any thread.
class TILEWRIGHT_API Cacheable : public ReferenceBase<Cacheable> {
public:
    Cacheable();
    ~Cacheable() override;

    /// Bytes that the data takes.
    virtual unsigned long long memsize() const;

    /// The part of the construction that needs the complete object; runs when it is first strongly held.
    virtual void DeferredConstructor();

    virtual const std::type_info& DomainType() const;
    virtual const std::type_info& CreatorType() const;

    /// Called by the reference scheme when the first strong reference is taken.
    void CacheableDeferredConstructor() { DeferredConstructor(); }

    /// Called by the reference scheme after the mark of death, while the object is still whole.
    void PreDestructor() {}

    /// Reports to the cache that keeps this object, if any, that it was just used.
    void markAsUsed() const;

    /// Who made these data and can make them again.
    void setCreator(const WeakPtrImpl<Creature, Creature>& creator);
    WeakPtrImpl<Creature, Creature> getCreator() const;

    /// Called by a cache that takes the object in.
    void setKeeper(const WeakPtrImpl<CacheBase, CacheBase>& keeper);

private:
    mutable std::mutex Lock;
    WeakPtrImpl<Creature, Creature> Maker;
    WeakPtrImpl<CacheBase, CacheBase> Keeper;
};

/// A store that keeps cacheable data alive for as long as it sees fit.
class TILEWRIGHT_API CacheBase : public ReferenceBase<CacheBase> {
public:
    CacheBase();
    ~CacheBase() override;

    /// `object` was just used; one that is not kept here is ignored.
    virtual void touch(const Cacheable& object) = 0;
};

} // namespace Larder
