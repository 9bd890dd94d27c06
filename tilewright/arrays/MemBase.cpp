#include <tilewright/arrays/MemBase.h>

#include <map>
#include <mutex>
#include <typeindex>

#include <tilewright/arrays/ValueTypes.h>

template class Larder::Interface<Quill::MemBase::Allocator>;

namespace Quill {

namespace {

struct AllocatorEntry {
    MemBase::AllocatorPtr Allocator;
    Larder::StrongPtr<QuillTypeBase, QuillTypeBase> Type;
};

struct AllocatorStore {
    std::mutex Lock;
    std::map<std::type_index, AllocatorEntry> Entries;
};

/// Never destroyed: it outlives everything else that is destroyed while the process ends.
AllocatorStore& allocatorStore() {
    static auto* const store = new AllocatorStore;
    return *store;
}

} // namespace

Larder::RelaxedCounter MemBase::RegisteredTypes;

MemBase::MemBase(const QuillTypeIndex& valueType, const CreatorWeakPtr& creator) : ValueType(valueType) {
    setCreator(creator);
}

MemBase::~MemBase() = default;

MemBase::Allocator::~Allocator() = default;

bool MemBase::registerCreator(const AllocatorPtr& allocator,
                              const Larder::StrongPtr<QuillTypeBase, QuillTypeBase>& type) {
    AllocatorStore& store = allocatorStore();
    const std::lock_guard guard(store.Lock);
    return store.Entries.try_emplace(type->getType(), AllocatorEntry{allocator, type}).second;
}

MemBase::AllocatorPtr MemBase::findAllocator(const std::type_info& type) {
    registerValueTypes();
    AllocatorStore& store = allocatorStore();
    const std::lock_guard guard(store.Lock);
    const auto found = store.Entries.find(type);
    return found == store.Entries.end() ? AllocatorPtr() : found->second.Allocator;
}

} // namespace Quill
