/// MemBase: an array of which neither the rank nor the value type is known.
///
/// Arrays live under the reference scheme in the domain Larder::Cacheable and carry interfaces. Operations
/// that make an array take the creator that shall own it in the grid, as their last argument: null outside of
/// a field.
///
/// Thread safety: different arrays may be used by different threads; one array may be read by several, and
/// distinct elements of it written.
#pragma once

#include <typeinfo>

#include <tilewright/arrays/DynamicSize.h>
#include <tilewright/arrays/Iterator.h>
#include <tilewright/arrays/QuillType.h>
#include <tilewright/substrate/Cacheable.h>
#include <tilewright/substrate/Creature.h>
#include <tilewright/substrate/Intercube.h>

namespace Quill {

class TILEWRIGHT_API CreativeArrayBase;
class TILEWRIGHT_API MemBase;

using CreatorWeakPtr = Larder::WeakPtrImpl<CreativeArrayBase, Larder::Creature>;
using ArrayPtr = Larder::StrongPtr<MemBase, Larder::Cacheable>;
using ChunkPtr = Larder::StrongPtr<Larder::ChunkBase, Larder::ChunkBase>;

class TILEWRIGHT_API MemBase : public Larder::Cacheable, public Larder::Intercube {
public:
    class Allocator;
    using AllocatorPtr = Larder::StrongPtr<Allocator, Larder::InterfaceBase>;

    /// How many arrays of registered value types were made; a statistic.
    static Larder::RelaxedCounter RegisteredTypes;

    ~MemBase() override;

    virtual int rank() const = 0;
    virtual DynamicSize getSize() const = 0;
    virtual unsigned long long nElements() const = 0;
    virtual const std::type_info& getType() const = 0;
    virtual HyperslabParameters getHyperslabParameters() = 0;
    /// Element zero of the storage, null where the elements are not in memory.
    virtual void* getPtr() = 0;
    virtual ChunkPtr getChunk() const = 0;
    /// First node and spacing of a procedural array, as its value types; null for an array in memory.
    virtual const void* OriginPtr() const = 0;
    virtual const void* DeltaPtr() const = 0;
    /// This array with its elements in memory: itself if they are there already.
    virtual ArrayPtr makeMemArray(const CreatorWeakPtr& creator) const = 0;
    /// Component `component` of every element as an array of scalars of the same sizes that shares this
    /// array's storage; null for a component that the value type does not have. Negative components are not
    /// caught.
    virtual ArrayPtr getComponentArray(int component, const CreatorWeakPtr& creator) = 0;
    /// A copy of the box of `size` at `offset`, which must lie inside the array; null if a rank differs.
    virtual ArrayPtr createSubArray(const DynamicSize& offset, const DynamicSize& size,
                                    const CreatorWeakPtr& creator) const = 0;
    /// An array of these sizes around `chunk`; null without a chunk or if it has another number of elements.
    virtual ArrayPtr createEquallySizedMemArray(const ChunkPtr& chunk,
                                                const CreatorWeakPtr& creator) const = 0;
    /// Takes over the elements of `source`; false if its value type or number of elements differs. Arrays
    /// that share this array's storage see them too.
    virtual bool copyFrom(const ChunkPtr& source) = 0;
    /// An array with a copy of the whole storage. The copy of a slice reads from the start of that storage.
    virtual ArrayPtr copy(const CreatorWeakPtr& creator) const = 0;

    /// The description of the value type.
    const QuillTypeIndex& valueType() const { return ValueType; }

    /// Keeps `allocator` as the maker of arrays of `type`; false if there is one already, which then stays.
    static bool registerCreator(const AllocatorPtr& allocator,
                                const Larder::StrongPtr<QuillTypeBase, QuillTypeBase>& type);

    /// The maker of arrays of the value type `type`, null if it is not registered.
    static AllocatorPtr findAllocator(const std::type_info& type);

protected:
    MemBase(const QuillTypeIndex& valueType, const CreatorWeakPtr& creator);

private:
    QuillTypeIndex ValueType;
};

} // namespace Quill

extern template class Larder::Interface<Quill::MemBase::Allocator>;

namespace Quill {

/// Makes arrays of one value type for code that doesn't know it.
class TILEWRIGHT_API MemBase::Allocator : public Larder::Interface<MemBase::Allocator> {
public:
    ~Allocator() override;

    /// A new, zero-filled array; null for a rank other than 1 to 4.
    virtual ArrayPtr create(const DynamicSize& size) const = 0;
};

} // namespace Quill
