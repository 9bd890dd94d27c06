/// Representation: how a skeleton is described over a base space, as a set of named fields.
///
/// Invariants:
/// 1. Fields are visited in the order in which their names first came in; a field that replaces another keeps
///    its place.
/// 2. References that findField gives stay valid as long as the representation lives.
/// 3. "Positions" is the name of the skeleton's positions; all other names are free.
///
/// Thread safety: none; a grid belongs to one thread.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <unordered_map>

#include <tilewright/model/BaseSpace.h>
#include <tilewright/model/Field.h>

namespace Quill {

/// The name under which a field is known in its representation.
class TILEWRIGHT_API FieldID : public Larder::ReferenceBase<FieldID> {
public:
    explicit FieldID(const std::string& fieldName);
    ~FieldID() override;

    const std::string name;
};

/// A map from keys to fields that remembers the order of arrival.
template <class Key> class TILEWRIGHT_API QuillMap : public BaseSpaceDependency, public Larder::Ageable {
protected:
    struct Entry {
        Key Identifier;
        FieldPtr Content;
    };

    std::deque<Entry> Entries;
    std::unordered_map<std::string, std::size_t> PlaceOfName;
};

/// The slot of a name; assigning a field stores it there, in place of any that is there.
class TILEWRIGHT_API FieldProxy {
public:
    FieldProxy(Representation& representation, const FieldIDPtr& identifier);
    ~FieldProxy();

    FieldProxy& operator=(const FieldPtr& field);

private:
    Representation& Target;
    FieldIDPtr Identifier;
};

class TILEWRIGHT_API Representation : public QuillMap<FieldIDPtr>,
                                      public Larder::Intercube,
                                      public FragmentIDCollectionProvider {
public:
    ~Representation() override;

    /// Null for an unknown name.
    FieldIDPtr findFieldID(const std::string& name) const;
    /// The field of that name; Field::NullPtrField() if there is none.
    const FieldPtr& findField(const FieldIDPtr& identifier) const;
    const FieldPtr& findField(const std::string& name) const;
    const FieldPtr& findField(const char* name) const { return findField(std::string(name)); }
    const FieldPtr& Positions() const { return findField("Positions"); }

    /// The slot of `name`, made if need be: representation["Density"] = field.
    FieldProxy operator[](const std::string& name);
    FieldIDPtr makeFieldID(const std::string& name);
    /// The slot of this field. With fragments or data a new field of them is stored in it.
    FieldProxy makeField(const Larder::WeakPtrImpl<FieldID, FieldID>& identifier,
                         const FragmentIDCollectionPtr& fragments, const ArrayPtr& data);
    /// Stores `field` as "Positions"; false, and nothing stored, if it is null.
    bool setPositions(const FieldPtr& field);

    /// Calls `visit` for each field until it answers false. The walk is over the fields that were there at
    /// its start, so that adding and replacing fields meanwhile is safe.
    void iterate(const std::function<bool(const FieldID&, const Field&)>& visit) const;

    /// The fragments of the positions, null without positions.
    FragmentIDCollectionPtr getFragmentIDCollection() const override;

private:
    friend class FieldProxy;

    void store(const FieldIDPtr& identifier, const FieldPtr& field);
};

} // namespace Quill
