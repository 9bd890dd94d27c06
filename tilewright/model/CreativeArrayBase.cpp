#include <tilewright/model/CreativeArrayBase.h>

#include <tilewright/model/Cache.h>
#include <tilewright/model/Field.h>

namespace Quill {

CreativeArrayBase::CreativeArrayBase() = default;

CreativeArrayBase::~CreativeArrayBase() {
    if (const auto made = Made.promote())
        Larder::Cache::MemCache()->forget(*made);
}

ArrayPtr CreativeArrayBase::create() { return {}; }

ArrayPtr CreativeArrayBase::get() const { return Made.promote(); }

bool CreativeArrayBase::processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const {
    Field::adoptCreatorsInSlots();
    return Ownable<CreativeArrayBase>::processOwnership(target, source);
}

void CreativeArrayBase::updateOwnershipAge(const Larder::Ageable& changed) {
    Field::adoptCreatorsInSlots();
    Ownable<CreativeArrayBase>::updateOwnershipAge(changed);
}

ArrayPtr getData(const CreatorPtr& creator) {
    CreativeArrayBase* const maker = creator.rawptr();
    if (!maker)
        return {};
    const std::lock_guard guard(maker->Making);
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
