/// CreativeArrayBase: a creator, which holds or makes the array of one fragment of a field.
///
/// To make arrays on demand, derive from it, override create(), and put the creator into a field:
/// (*field)[index] = creator. The array is made when it is first asked for; after that the shared cache keeps
/// it (Cache.h), and when the cache lets it go it is made again.
///
/// Thread safety: several threads may read the data of one creator by getData at the same time. One of them
/// makes the array, and the others wait for it; create and get are never called by two threads at once.
/// Everything else on a creator belongs to the thread that works on its grid.
#pragma once

#include <mutex>

#include <tilewright/model/references.h>
#include <tilewright/substrate/Creature.h>

namespace Quill {

/// A creator of class Base that holds its object permanently.
template <class T, class Base> class TILEWRIGHT_API Creator : public Base {
    using Pointer = Larder::StrongPtr<T, Larder::Cacheable>;

public:
    explicit Creator(const Pointer& object) : Data(object) {}

    Pointer get() const override { return Data; }

private:
    Pointer Data;
};

class TILEWRIGHT_API CreativeArrayBase : public Larder::CreatorBase<MemBase>,
                                         public Ownable<CreativeArrayBase>,
                                         public SaveableAttributes {
public:
    CreativeArrayBase();
    /// The cache forgets what nobody can ask for any more.
    ~CreativeArrayBase() override;

    /// Makes the array; null if it can't be made.
    ArrayPtr create() override;
    /// The array that was made before, as long as anybody holds it.
    ArrayPtr get() const override;

    bool processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const override;
    void updateOwnershipAge(const Larder::Ageable& changed) override;

private:
    friend TILEWRIGHT_API ArrayPtr getData(const CreatorPtr& creator);

    std::mutex Making;
    Larder::WeakPtrImpl<MemBase, Larder::Cacheable> Made;
};

/// The array of a creator: the one at hand, else a new one, else null; null for a null creator. All access to
/// the data of fields goes through here.
TILEWRIGHT_API ArrayPtr getData(const CreatorPtr& creator);

} // namespace Quill
