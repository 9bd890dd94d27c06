#include <tilewright/substrate/Cacheable.h>

#include <tilewright/substrate/Creature.h>

namespace Larder {

void DomainHooks<Cacheable>::firstStrongReference(Cacheable& object) {
    object.CacheableDeferredConstructor();
}

void DomainHooks<Cacheable>::markedDead(Cacheable& object) { object.PreDestructor(); }

Cacheable::Cacheable() : ReferenceBase(this) {}

Cacheable::~Cacheable() = default;

unsigned long long Cacheable::memsize() const { return 0; }

void Cacheable::DeferredConstructor() {}

const std::type_info& Cacheable::DomainType() const { return typeid(Cacheable); }

const std::type_info& Cacheable::CreatorType() const { return typeid(Creature); }

void Cacheable::markAsUsed() const {
    StrongPtr<CacheBase, CacheBase> keeper;
    {
        const std::lock_guard guard(Lock);
        keeper = Keeper.promote();
    }
    if (keeper)
        keeper->touch(*this);
}

void Cacheable::setCreator(const WeakPtrImpl<Creature, Creature>& creator) {
    const std::lock_guard guard(Lock);
    Maker = creator;
}

WeakPtrImpl<Creature, Creature> Cacheable::getCreator() const {
    const std::lock_guard guard(Lock);
    return Maker;
}

void Cacheable::setKeeper(const WeakPtrImpl<CacheBase, CacheBase>& keeper) {
    const std::lock_guard guard(Lock);
    Keeper = keeper;
}

CacheBase::CacheBase() : ReferenceBase(this) {}

CacheBase::~CacheBase() = default;

} // namespace Larder
