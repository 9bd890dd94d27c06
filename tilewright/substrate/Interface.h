/// Interface: what can be attached to an object at run time (Intercube.h).
#pragma once

#include <typeinfo>

#include <tilewright/substrate/StrongPtr.h>

namespace Larder {

class TILEWRIGHT_API Intercube;

/// What a walk over the interfaces of an object hands to each of them.
class TILEWRIGHT_API InterfaceIterationParameter : public ReferenceBase<InterfaceIterationParameter> {
public:
    InterfaceIterationParameter() : ReferenceBase(this) {}
};

/// Root of everything attachable. An object carries at most one interface of each interface domain.
class TILEWRIGHT_API InterfaceBase : public ReferenceBase<InterfaceBase> {
public:
    InterfaceBase();
    ~InterfaceBase() override;

    /// The type under which the interface is found again.
    virtual const std::type_info& getInterfaceDomain() const = 0;

    /// Called for an object that carries the interface; true to go on with the next one. Does nothing by
    /// itself.
    virtual bool apply_const(const Intercube& object,
                             const StrongPtr<InterfaceIterationParameter, InterfaceIterationParameter>&);
    virtual bool apply(Intercube& object,
                       const StrongPtr<InterfaceIterationParameter, InterfaceIterationParameter>&);
};

/// An interface of the domain T; as a rule T derives from it.
template <class T> class TILEWRIGHT_API Interface : public InterfaceBase {
public:
    const std::type_info& getInterfaceDomain() const override { return typeid(T); }
};

} // namespace Larder
