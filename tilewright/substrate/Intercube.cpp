#include <tilewright/substrate/Intercube.h>

#include <utility>

namespace Larder {

Intercube::Intercube() = default;

Intercube::~Intercube() = default;

StrongPtr<InterfaceBase, InterfaceBase> Intercube::createInterface(const std::type_info&) const { return {}; }

void Intercube::addInterface(const StrongPtr<InterfaceBase, InterfaceBase>& interface) const {
    if (!interface)
        return;
    // What is replaced is released after the lock: its destructor may use this set.
    StrongPtr<InterfaceBase, InterfaceBase> replaced = interface;
    const std::lock_guard guard(Lock);
    std::swap(Interfaces[interface->getInterfaceDomain()], replaced);
}

StrongPtr<InterfaceBase, InterfaceBase> Intercube::findInterface(const std::type_info& domain) const {
    {
        const std::lock_guard guard(Lock);
        if (const auto found = Interfaces.find(domain); found != Interfaces.end())
            return found->second;
    }
    const auto made = createInterface(domain);
    addInterface(made);
    return made;
}

} // namespace Larder
