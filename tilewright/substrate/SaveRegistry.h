/// SaveRegistry: lets other modules attach interfaces that know how to save an object, at the moment when the
/// object is first held.
#pragma once

#include <cstdint>
#include <typeinfo>

#include <tilewright/substrate/StrongPtr.h>

namespace Larder {

/// A registered creator of save interfaces.
class TILEWRIGHT_API SaveInterfaceCreatorBase : public ReferenceBase<SaveInterfaceCreatorBase> {
public:
    SaveInterfaceCreatorBase();
    ~SaveInterfaceCreatorBase() override;
};

/// Such a creator for objects of class T.
template <class T> class TILEWRIGHT_API SaveInterfaceCreator : public SaveInterfaceCreatorBase {
public:
    /// Makes the save interface of `object` and attaches it; the answer is up to the creator.
    virtual std::uint32_t createSaveInterface(T* object) = 0;
};

using SaveInterfaceCreatorPtr = StrongPtr<SaveInterfaceCreatorBase, SaveInterfaceCreatorBase>;

/// One walk over the registered creators. Thread safety: the registry has a lock; creators run outside of it.
class TILEWRIGHT_API SaveRegistryBase {
public:
    SaveRegistryBase();
    virtual ~SaveRegistryBase();

    /// Registers `creator` for objects of `type`, for the life of the process.
    static void registerCreator(const std::type_info& type, const SaveInterfaceCreatorPtr& creator);

    /// Calls applyCreator for each creator registered under `type`, in the order of registration. Gives the
    /// last answer, 0 if there is no creator.
    std::uint32_t traverseCreators(const std::type_info& type);

    virtual std::uint32_t applyCreator(const std::type_info& type, SaveInterfaceCreatorPtr& creator) = 0;
};

/// That walk for an object of class T.
template <class T> class TILEWRIGHT_API SaveRegistry : public SaveRegistryBase {
public:
    explicit SaveRegistry(T* object) : Object(object) {}

    /// Lets every registered creator see `object`.
    static std::uint32_t addInterfaces(T* object) { return SaveRegistry(object).traverseCreators(typeid(T)); }

    /// Lets `creator` see the object; 0 if it is a creator for another class.
    std::uint32_t applyCreator(const std::type_info&, SaveInterfaceCreatorPtr& creator) override {
        const StrongPtr<SaveInterfaceCreator<T>, SaveInterfaceCreatorBase> typed = creator;
        return typed ? typed->createSaveInterface(Object) : 0;
    }

private:
    T* Object;
};

} // namespace Larder
