#pragma once

#include <map>
#include <mutex>
#include <typeindex>

#include <tilewright/substrate/Interface.h>

namespace Larder {

/// A set of interfaces on an object, at most one for each domain.
///
/// The set is a cache on the object rather than a part of its value, hence the const operations. Thread
/// safety: interfaces may be attached and found from any thread.
class TILEWRIGHT_API Intercube {
public:
    Intercube();
    virtual ~Intercube();

    /// Called by findInterface where nothing is attached: a class may make an interface on demand. Null here.
    virtual StrongPtr<InterfaceBase, InterfaceBase> createInterface(const std::type_info& domain) const;

    /// Attaches `interface` under its domain, in place of one that is there; null is ignored.
    void addInterface(const StrongPtr<InterfaceBase, InterfaceBase>& interface) const;

    /// The interface of `domain`, null if there is none.
    StrongPtr<InterfaceBase, InterfaceBase> findInterface(const std::type_info& domain) const;

private:
    mutable std::mutex Lock;
    mutable std::map<std::type_index, StrongPtr<InterfaceBase, InterfaceBase>> Interfaces;
};

} // namespace Larder
