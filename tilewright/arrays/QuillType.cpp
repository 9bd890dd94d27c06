#include <tilewright/arrays/QuillType.h>

#include <map>
#include <mutex>
#include <typeindex>

namespace Quill {

namespace {

struct TypeStore {
    std::mutex Lock;
    std::map<std::type_index, QuillTypeBase::Pointer> Types;
};

/// Never destroyed: the descriptions in it end while the process ends, in an order that nobody knows.
TypeStore& typeStore() {
    static auto* const store = new TypeStore;
    return *store;
}

} // namespace

QuillTypeBase::QuillTypeBase(const QuillTypeIndex& index) : ReferenceBase(this), QuillTypeIndex(index) {}

QuillTypeBase::~QuillTypeBase() = default;

void QuillTypeBase::remember() {
    TypeStore& store = typeStore();
    const std::lock_guard guard(store.Lock);
    store.Types[getType()] = this;
}

QuillTypeBase::Pointer QuillTypeBase::find(const std::type_info& type) {
    TypeStore& store = typeStore();
    const std::lock_guard guard(store.Lock);
    const auto found = store.Types.find(type);
    return found == store.Types.end() ? Pointer() : found->second;
}

} // namespace Quill
