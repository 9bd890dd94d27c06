#include <tilewright/substrate/SaveRegistry.h>

#include <map>
#include <memory>
#include <mutex>
#include <typeindex>
#include <vector>

namespace Larder {

namespace {

using CreatorList = std::vector<SaveInterfaceCreatorPtr>;

/// A list is replaced and never changed, so that a walk works on a list of its own without copying it.
struct CreatorStore {
    std::mutex Lock;
    std::map<std::type_index, std::shared_ptr<const CreatorList>> Lists;
};

/// Never destroyed: arrays of static storage may be made and released while the process ends.
CreatorStore& creatorStore() {
    static auto* const store = new CreatorStore;
    return *store;
}

std::shared_ptr<const CreatorList> creatorsOf(const std::type_info& type) {
    CreatorStore& store = creatorStore();
    const std::lock_guard guard(store.Lock);
    const auto found = store.Lists.find(type);
    return found == store.Lists.end() ? nullptr : found->second;
}

} // namespace

SaveInterfaceCreatorBase::SaveInterfaceCreatorBase() : ReferenceBase(this) {}

SaveInterfaceCreatorBase::~SaveInterfaceCreatorBase() = default;

SaveRegistryBase::SaveRegistryBase() = default;

SaveRegistryBase::~SaveRegistryBase() = default;

void SaveRegistryBase::registerCreator(const std::type_info& type, const SaveInterfaceCreatorPtr& creator) {
    CreatorStore& store = creatorStore();
    const std::lock_guard guard(store.Lock);
    auto& list = store.Lists[type];
    CreatorList longer = list ? *list : CreatorList();
    longer.push_back(creator);
    list = std::make_shared<const CreatorList>(std::move(longer));
}

std::uint32_t SaveRegistryBase::traverseCreators(const std::type_info& type) {
    std::uint32_t answer = 0;
    if (const auto creators = creatorsOf(type))
        for (SaveInterfaceCreatorPtr creator : *creators)
            answer = applyCreator(type, creator);
    return answer;
}

} // namespace Larder
