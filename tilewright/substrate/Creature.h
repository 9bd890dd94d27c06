#pragma once

#include <tilewright/substrate/Ageable.h>
#include <tilewright/substrate/Cacheable.h>
#include <tilewright/substrate/Intercube.h>

namespace Larder {

/// Something with a life of its own: the reference domain of the creators of data.
class TILEWRIGHT_API Creature : public ReferenceBase<Creature>, public Intercube, public Ageable {
public:
    Creature();
    ~Creature() override;

    /// With false, a creator that keeps copies of what it makes stops doing so, since the shared cache now
    /// keeps them. The plain creator keeps none and does nothing.
    virtual void enableCaching(bool enabled) const;
};

/// A creator of objects of class T.
template <class T> class TILEWRIGHT_API CreatorBase : public Creature {
public:
    /// Makes a new T, null if it can't. The maker does not keep it.
    virtual StrongPtr<T, Cacheable> create() { return {}; }

    /// The object if there is one already, else null; makes nothing.
    virtual StrongPtr<T, Cacheable> get() const { return {}; }
};

} // namespace Larder
