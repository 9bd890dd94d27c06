#include <tilewright/model/Representation.h>

#include <algorithm>
#include <utility>

namespace Quill {

FieldID::FieldID(const std::string& fieldName) : ReferenceBase(this), name(fieldName) {}

FieldID::~FieldID() = default;

FieldProxy::FieldProxy(Representation& representation, const FieldIDPtr& identifier)
    : Target(representation), Identifier(identifier) {}

FieldProxy::~FieldProxy() = default;

FieldProxy& FieldProxy::operator=(const FieldPtr& field) {
    Target.store(Identifier, field);
    return *this;
}

Representation::~Representation() = default;

FieldIDPtr Representation::findFieldID(const std::string& name) const {
    const auto found = PlaceOfName.find(name);
    return found == PlaceOfName.end() ? FieldIDPtr() : Entries[found->second].Identifier;
}

const FieldPtr& Representation::findField(const FieldIDPtr& identifier) const {
    const FieldID* const known = identifier.rawptr();
    const auto found = known ? PlaceOfName.find(known->name) : PlaceOfName.end();
    return found == PlaceOfName.end() ? Field::NullPtrField() : Entries[found->second].Content;
}

const FieldPtr& Representation::findField(const std::string& name) const {
    return findField(findFieldID(name));
}

FieldProxy Representation::operator[](const std::string& name) {
    return makeField(makeFieldID(name), {}, {});
}

FieldIDPtr Representation::makeFieldID(const std::string& name) {
    if (const FieldIDPtr known = findFieldID(name))
        return known;
    const Larder::Ref<FieldID> made(name);
    // Reserved first, so that no lack of memory leaves a name without a place.
    Entries.push_back({made, {}});
    try {
        PlaceOfName.emplace(name, Entries.size() - 1);
    } catch (...) {
        Entries.pop_back();
        throw;
    }
    return made;
}

FieldProxy Representation::makeField(const Larder::WeakPtrImpl<FieldID, FieldID>& identifier,
                                     const FragmentIDCollectionPtr& fragments, const ArrayPtr& data) {
    FieldProxy slot(*this, identifier);
    if (data)
        slot = Larder::Ref<Field>(data, fragments);
    else if (fragments)
        slot = Larder::Ref<Field>(fragments);
    return slot;
}

bool Representation::setPositions(const FieldPtr& field) {
    if (!field)
        return false;
    (*this)["Positions"] = field;
    return true;
}

void Representation::iterate(const std::function<bool(const FieldID&, const Field&)>& visit) const {
    const std::deque<Entry> standing = Entries;
    for (const Entry& entry : standing)
        if (entry.Content && !visit(*entry.Identifier, *entry.Content))
            return;
}

FragmentIDCollectionPtr Representation::getFragmentIDCollection() const {
    const Field* const positions = Positions().rawptr();
    return positions ? positions->getFragmentIDCollection() : FragmentIDCollectionPtr();
}

void Representation::store(const FieldIDPtr& identifier, const FieldPtr& field) {
    const FieldID* const known = identifier.rawptr();
    if (!known)
        return;
    const FieldIDPtr own = makeFieldID(known->name);
    if (field)
        field->addOwner(*this);
    const FieldPtr replaced = std::exchange(Entries[PlaceOfName.at(own->name)].Content, field);
    const auto isReplaced = [&](const Entry& entry) { return entry.Content == replaced; };
    // A field may be known under several names.
    if (replaced && std::ranges::none_of(Entries, isReplaced))
        replaced->removeOwner(*this);
}

} // namespace Quill
