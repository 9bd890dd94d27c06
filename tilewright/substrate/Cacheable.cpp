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
    if (const auto keeper = Keeper.promote())
        keeper->touch(*this);
}

void Cacheable::setCreator(const WeakPtrImpl<Creature, Creature>& creator) { Maker = creator; }

void Cacheable::setKeeper(const WeakPtrImpl<CacheBase, CacheBase>& keeper) { Keeper = keeper; }

CacheBase::CacheBase() : ReferenceBase(this) {}

CacheBase::~CacheBase() = default;

} // namespace Larder
