/// Ownable: who owns whom in the data model, seen from the owned side.
///
/// A creator belongs to fields, a field to representations, a representation to skeletons, a skeleton to a
/// grid. Ownable<T> is the base of a T that knows its owners, all of them weakly; Ownable<T>::Container is
/// the base of its owners and, as their root, their reference domain.
///
/// Thread safety: none beyond that of the counts; a grid belongs to one thread.
#pragma once

#include <unordered_map>

#include <tilewright/substrate/Ageable.h>
#include <tilewright/substrate/Attributes.h>
#include <tilewright/substrate/Intercube.h>
#include <tilewright/substrate/Interface.h>

namespace Quill {

/// Root of everything that knows its owners.
class TILEWRIGHT_API OwnerBase {
public:
    OwnerBase();
    virtual ~OwnerBase();

    /// Hands the age of `changed` on to every live owner, and from there to the owners' owners.
    virtual void updateOwnershipAge(const Larder::Ageable& changed);
};

template <class T> class TILEWRIGHT_API Ownable : public virtual OwnerBase {
public:
    class TILEWRIGHT_API Container : public Larder::ReferenceBase<Container> {
    public:
        /// Attached to an object that hands questions of ownership on to its own owners.
        class TILEWRIGHT_API PassThrough : public Larder::Interface<PassThrough> {};

        Container() : Larder::ReferenceBase<Container>(this) {}

        /// Called by what this container owns; false stops the walk over the owners.
        virtual bool processOwnership(Larder::Intercube&, const Larder::Intercube&) const { return true; }
    };

    /// Asks every live owner; false at the first that answers false.
    virtual bool processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const {
        for (const auto& [id, owner] : Owners)
            if (const auto live = owner.promote(); live && !live->processOwnership(target, source))
                return false;
        return true;
    }

    /// An owner that has an age takes that of `changed`.
    void updateOwnershipAge(const Larder::Ageable& changed) override {
        for (const auto& [id, owner] : Owners)
            if (const auto live = owner.promote())
                ageOwner(*live, changed);
    }

    void addOwner(const Container& owner) { Owners.try_emplace(owner.objectId, &owner); }
    void removeOwner(const Container& owner) { Owners.erase(owner.objectId); }

private:
    static void ageOwner(Container& owner, const Larder::Ageable& changed) {
        if (auto* const aged = dynamic_cast<Larder::Ageable*>(&owner))
            aged->setAge(changed);
        if (auto* const owned = dynamic_cast<OwnerBase*>(&owner))
            owned->updateOwnershipAge(changed);
    }

    std::unordered_map<unsigned long long, Larder::WeakPtrImpl<Container, Container>> Owners;
};

/// Base of everything that can save attributes.
class TILEWRIGHT_API SaveableAttributes : public Larder::Attributes {
public:
    virtual ~SaveableAttributes();
};

} // namespace Quill
