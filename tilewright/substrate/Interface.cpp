#include <tilewright/substrate/Interface.h>

namespace Larder {

InterfaceBase::InterfaceBase() : ReferenceBase(this) {}

InterfaceBase::~InterfaceBase() = default;

bool InterfaceBase::apply_const(const Intercube&,
                                const StrongPtr<InterfaceIterationParameter, InterfaceIterationParameter>&) {
    return true;
}

bool InterfaceBase::apply(Intercube&,
                          const StrongPtr<InterfaceIterationParameter, InterfaceIterationParameter>&) {
    return true;
}

} // namespace Larder
