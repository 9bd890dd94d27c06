#include <tilewright/substrate/SaveRegistry.h>

#include <map>
#include <mutex>
#include <typeindex>
#include <utility>
#include <vector>

namespace Larder {

namespace {

/// A list is replaced and never changed, so that a walk works on a list of its own without copying it.
struct CreatorList : ReferenceBase<CreatorList> {
    explicit CreatorList(std::vector<SaveInterfaceCreatorPtr> creators)
        : ReferenceBase(this), Creators(std::move(creators)) {}

    const std::vector<SaveInterfaceCreatorPtr> Creators;
};

using CreatorListPtr = StrongPtr<CreatorList, CreatorList>;

struct CreatorStore {
    std::mutex Lock;
    std::map<std::type_index, CreatorListPtr> Lists;
};

/// Never destroyed: arrays of static storage may be made and released while the process ends.
CreatorStore& creatorStore() {
    static auto* const store = new CreatorStore;
    return *store;
}

CreatorListPtr creatorsOf(const std::type_info& type) {
    CreatorStore& store = creatorStore();
    const std::lock_guard guard(store.Lock);
    const auto found = store.Lists.find(type);
    return found == store.Lists.end() ? CreatorListPtr() : found->second;
}

} // namespace

SaveInterfaceCreatorBase::SaveInterfaceCreatorBase() : ReferenceBase(this) {}

SaveInterfaceCreatorBase::~SaveInterfaceCreatorBase() = default;

SaveRegistryBase::SaveRegistryBase() = default;

SaveRegistryBase::~SaveRegistryBase() = default;

void SaveRegistryBase::registerCreator(const std::type_info& type, const SaveInterfaceCreatorPtr& creator) {
    CreatorStore& store = creatorStore();
    const std::lock_guard guard(store.Lock);
    CreatorListPtr& list = store.Lists[type];
    std::vector<SaveInterfaceCreatorPtr> longer;
    if (list)
        longer = list->Creators;
    longer.push_back(creator);
    list = Ref<CreatorList>(std::move(longer));
}

std::uint32_t SaveRegistryBase::traverseCreators(const std::type_info& type) {
    std::uint32_t answer = 0;
    if (const CreatorListPtr list = creatorsOf(type))
        for (SaveInterfaceCreatorPtr creator : list->Creators)
            answer = applyCreator(type, creator);
    return answer;
}

} // namespace Larder
