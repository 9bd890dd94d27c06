#include <tilewright/substrate/Intercube.h>

namespace Larder {

Intercube::Intercube() = default;

Intercube::~Intercube() = default;

StrongPtr<InterfaceBase, InterfaceBase> Intercube::createInterface(const std::type_info&) const { return {}; }

void Intercube::addInterface(const StrongPtr<InterfaceBase, InterfaceBase>& interface) const {
    if (interface)
        Interfaces[interface->getInterfaceDomain()] = interface;
}

StrongPtr<InterfaceBase, InterfaceBase> Intercube::findInterface(const std::type_info& domain) const {
    if (const auto found = Interfaces.find(domain); found != Interfaces.end())
        return found->second;
    const auto made = createInterface(domain);
    addInterface(made);
    return made;
}

} // namespace Larder
