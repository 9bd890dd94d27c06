#include <tilewright/model/CreativeArrayBase.h>

#include <tilewright/model/Cache.h>

namespace Quill {

CreativeArrayBase::CreativeArrayBase() = default;

CreativeArrayBase::~CreativeArrayBase() {
    if (const auto made = Made.promote())
        Larder::Cache::MemCache()->forget(*made);
}

ArrayPtr CreativeArrayBase::create() { return {}; }

ArrayPtr CreativeArrayBase::get() const { return Made.promote(); }

ArrayPtr getData(const CreatorPtr& creator) {
    CreativeArrayBase* const maker = creator.rawptr();
    if (!maker)
        return {};
    if (const ArrayPtr held = maker->get()) {
        held->markAsUsed();
        return held;
    }
    const ArrayPtr made = maker->create();
    if (!made)
        return {};
    maker->Made = made;
    made->setCreator(creator);
    maker->enableCaching(false);
    Larder::Cache::MemCache()->keep(made);
    return made;
}

} // namespace Quill
