#include <tilewright/model/Field.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include <tilewright/model/FragmentRange.h>

template class Larder::Interface<Quill::Ownable<Quill::Field>::Container::PassThrough>;

namespace Quill {

namespace {

/// The key of `fragment` among the creators; nothing for the null identifier of a field with fragments.
std::optional<unsigned> creatorKey(const Field& field, const FragmentIDPtr& fragment) {
    if (const FragmentID* const identifier = fragment.rawptr())
        return identifier->number;
    return field.Collection ? std::nullopt : std::optional<unsigned>(0);
}

using WeakFieldPtr = Larder::WeakPtrImpl<Field, Ownable<CreativeArrayBase>::Container>;

/// The fields of this thread that have handed out slots. A slot is a plain pointer that anybody may write
/// to, so owners can only be entered when somebody asks for them.
thread_local std::vector<WeakFieldPtr> fieldsWithSlots;

} // namespace

Field::Field(const FragmentIDCollectionPtr& collection) : FragmentAge(GlobalTime), Collection(collection) {}

Field::Field(const ArrayPtr& data, const FragmentIDCollectionPtr& collection) : Field(collection) {
    setPersistentData(data, Collection ? Collection->findFragmentID(0) : FragmentIDPtr(),
                      Larder::Cache::MemCache(), "");
}

Field::~Field() = default;

bool Field::processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const {
    return Ownable<Field>::processOwnership(target, source);
}

FragmentIDCollectionPtr Field::getFragmentIDCollection() const { return Collection; }

CreatorPtr Field::getCreator(const FragmentIDPtr& fragment) const {
    const auto key = creatorKey(*this, fragment);
    const auto found = key ? Creators.find(*key) : Creators.end();
    return found == Creators.end() ? CreatorPtr() : found->second;
}

ArrayPtr Field::getData(const FragmentIDPtr& fragment) const { return Quill::getData(getCreator(fragment)); }

void Field::setPersistentData(const ArrayPtr& data, const FragmentIDPtr& fragment,
                              const Larder::StrongPtr<Larder::Cache, Larder::CacheBase>&,
                              const std::string&) {
    const auto key = creatorKey(*this, fragment);
    if (!key)
        return;
    const Larder::Ref<Creator<MemBase, CreativeArrayBase>> creator(data);
    creator->addOwner(*this);
    if (const CreatorPtr replaced = std::exchange(Creators[*key], creator))
        replaced->removeOwner(*this);
    dropRange(*this, fragment);
}

ArrayPtr Field::newFragmentationArray() const {
    const FragmentIDCollection* const collection = Collection.rawptr();
    if (!collection || collection->Dimensions != 3 || !collection->Extents)
        return {};
    const unsigned long long* const extents = collection->Extents.get();
    return new MemArray<3, FragmentIDPtr>(collection->Fragments, {extents[0], extents[1], extents[2]});
}

void Field::handOutSlot() {
    if (HasHandedOutSlots)
        return;
    std::erase_if(fieldsWithSlots, [](const WeakFieldPtr& field) { return !field; });
    fieldsWithSlots.emplace_back(this);
    HasHandedOutSlots = true;
}

void Field::adoptCreatorsInSlots() {
    for (const WeakFieldPtr& open : fieldsWithSlots)
        if (const FieldPtr field = open.promote())
            for (const auto& [number, creator] : field->Creators)
                if (creator)
                    creator->addOwner(*field);
}

const FieldPtr& Field::NullPtrField() {
    static const FieldPtr missing;
    return missing;
}

} // namespace Quill
