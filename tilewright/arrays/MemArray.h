/// MemArray: the unit of data of the model, an N-dimensional array of one value type in memory.
///
/// It is a MemBase to code that knows neither rank nor type, a MemArrayBase<N> or a TypedArray<T> to code
/// that knows one of them, and a MemArray<N,T> to code that knows both. Storage (Larder::Chunk) and shape are
/// separate: a slice or a component view is one more object on the same chunk and copies no element.
///
/// Invariants:
/// 1. An array keeps its chunk alive; the chunk is not resized while arrays view it.
/// 2. An array around a chunk of the wrong value type exists but has no elements, and must be tested for
///    that.
/// 3. A chunk may have more elements than the sizes ask for: the rest is left out at the end of the run. One
///    with fewer is accepted without complaint.
///
/// The usual way to make one is Larder::Ref<MemArray<3,float>> array(size). Thread safety: see MemBase.h.
#pragma once

#include <algorithm>

#include <tilewright/arrays/CopySubset.h>
#include <tilewright/arrays/MemBase.h>
#include <tilewright/arrays/MultiArray.h>
#include <tilewright/arrays/ValueTypes.h>
#include <tilewright/substrate/SaveRegistry.h>

namespace Quill {

template <int N, class T> class MemArray;
template <class T> class MemArrayAllocator;

/// Whether T belongs in the registry of value types. All types do except pointers: an array of those is an
/// internal table that no generic code makes.
template <class T> inline constexpr bool isRegisteredValueType = true;
template <class T, class R> inline constexpr bool isRegisteredValueType<Larder::StrongPtr<T, R>> = false;

/// An array of known rank.
template <int N> class TILEWRIGHT_API MemArrayBase : public virtual MemBase {
public:
    ~MemArrayBase() override = default;

    int rank() const override { return N; }
    virtual MultiIndex<N> Size() const = 0;
    /// A new zero-filled array of the same value type.
    virtual ArrayPtr newMemArraynD(const MultiIndex<N>& size, const CreatorWeakPtr& creator) const = 0;
    /// A copy of the box of `size` at `offset`, which must lie inside the array.
    virtual ArrayPtr createSubMemArray(const MultiIndex<N>& offset, const MultiIndex<N>& size,
                                       const CreatorWeakPtr& creator) const = 0;
    ArrayPtr createSubArray(const DynamicSize& offset, const DynamicSize& size,
                            const CreatorWeakPtr& creator) const override {
        if (offset.rank() != N || size.rank() != N)
            return {};
        return createSubMemArray(offset.toMultiIndex<N>(), size.toMultiIndex<N>(), creator);
    }
    DynamicSize getSize() const override { return DynamicSize(Size()); }
    /// The elements at `index` of the last dimension, as a view of one rank less; null for rank 1. The index
    /// is not checked.
    virtual ArrayPtr getSlice(unsigned long long index, const CreatorWeakPtr& creator) const = 0;
};

/// An array of known value type.
template <class T> class TILEWRIGHT_API TypedArray : public virtual MemBase {
public:
    using TypedChunkPtr = Larder::StrongPtr<Larder::TypedChunk<T>, Larder::ChunkBase>;

    /// The elements at the zero index and at the last index; an empty array must not be asked.
    virtual T first() const = 0;
    virtual T last() const = 0;
    virtual CreativeIterator<T> creativeIterator() = 0;
    virtual CreativeIterator<T> creativeIterator() const = 0;
    virtual TypedChunkPtr myChunk() const = 0;
    ChunkPtr getChunk() const override { return myChunk(); }
    const std::type_info& getType() const override { return typeid(T); }
};

/// An array on a chunk.
template <int N, class T>
class TILEWRIGHT_API ReferencingMemArray : public MemArrayBase<N>,
                                           public MultiArray<N, T>,
                                           public TypedArray<T> {
public:
    using typename TypedArray<T>::TypedChunkPtr;

    /// The storage; may be shared with other arrays.
    TypedChunkPtr chunk;

    bool copyFrom(const ChunkPtr& source) override {
        const TypedChunkPtr mine = myChunk();
        const TypedChunkPtr theirs = source;
        if (!mine || !theirs || mine->elements() != theirs->elements())
            return false;
        std::ranges::copy(theirs->base_vector(), mine->base_vector().begin());
        return true;
    }
    TypedChunkPtr myChunk() const override { return chunk; }
    unsigned long long memsize() const override {
        return chunk ? chunk->elements() * static_cast<unsigned long long>(chunk->element_size()) : 0;
    }
    unsigned long long nElements() const override { return this->sizes.product(); }
    void DeferredConstructor() override { Larder::SaveRegistry<MemBase>::addInterfaces(this); }
    const std::type_info& getType() const override { return typeid(T); }
    HyperslabParameters getHyperslabParameters() override { return *this; }
    void* getPtr() override { return this->data; }
    const void* OriginPtr() const override { return nullptr; }
    const void* DeltaPtr() const override { return nullptr; }
    T first() const override { return elementAt(MultiIndex<N>()); }
    T last() const override {
        MultiIndex<N> index;
        for (std::size_t d = 0; d < N; ++d)
            index[d] = this->sizes[d] == 0 ? 0 : this->sizes[d] - 1;
        return elementAt(index);
    }
    CreativeIterator<T> creativeIterator() override { return *this; }
    CreativeIterator<T> creativeIterator() const override { return *this; }

protected:
    ReferencingMemArray(const ChunkPtr& storage, const MultiIndex<N>& size)
        : MultiArray<N, T>(wholeRun(storage), size, nullptr), chunk(storage) {}

    ReferencingMemArray(const CreativeIterator<T>& run, const MultiIndex<N>& size, const ChunkPtr& storage)
        : MultiArray<N, T>(run, size, run.creator), chunk(storage) {}

private:
    static Iterator<T> wholeRun(const ChunkPtr& storage) {
        Iterator<T> run;
        if (const Larder::StrongPtr<Larder::Chunk<T>, Larder::ChunkBase> typed = storage) {
            run.count = run.componentStride = typed->elements();
            run.data = static_cast<T*>(typed->data_ptr());
        }
        return run;
    }

    T elementAt(const MultiIndex<N>& index) const {
        // Triples may lie in planes, so a proxy gathers their components.
        if constexpr (std::is_same_v<T, Triple>)
            return ElementProxy<Iterator<T>>{this, index.linearIn(this->sizes)};
        else
            return (*this)[index];
    }
};

/// Cuts slices from arrays of rank N.
template <int N> struct MemArrayGetSlice {
    template <class T>
    static Larder::StrongPtr<MemArray<N - 1, T>, Larder::Cacheable>
    getSlice(const MemArray<N, T>& array, unsigned long long index, const CreatorWeakPtr& creator) {
        const MultiIndex<N - 1> size = array.sizes.lower();
        CreativeIterator<T> run = array;
        if (run.data) {
            run.firstSkip += index * size.product();
            run.creator = nullptr;
        } else if (run.creator) {
            run = array.creator->slice(N - 1, index);
            run.creator = array.creator;
        }
        return new MemArray<N - 1, T>(run, size, array.chunk, creator);
    }
};

/// The run of an array of records, seen as plain records of scalars: plain ones as they are, all others
/// interleaved.
template <Orrery::Record T> auto plainRecordsOf(const Iterator<T>& records) {
    using Plain = Orrery::FixedArray<typename T::element_type, T::element_count>;
    Iterator<Plain> run;
    static_cast<HyperslabParameters&>(run) = records;
    run.data = records.data;
    if constexpr (!std::is_same_v<T, Plain>) {
        run.count *= T::element_count;
        run.stride = T::element_count;
        run.componentStride = 1;
    }
    return run;
}

template <int N, class T> class TILEWRIGHT_API MemArray : public ReferencingMemArray<N, T> {
public:
    /// Whether the value type is registered. Every constructor refers to it, which ties the registration to
    /// the use of the class.
    static const bool TypeIsRegistered;

    /// A new chunk of value-initialised elements, made once the MemBase is complete. Throws std::length_error
    /// or std::bad_alloc if it can't be had.
    explicit MemArray(const MultiIndex<N>& size, const CreatorWeakPtr& creator = {})
        : MemBase(description(), creator), ReferencingMemArray<N, T>(newStorage(size), size) {
        countConstruction();
    }

    /// Around `storage`, without copying.
    MemArray(const ChunkPtr& storage, const MultiIndex<N>& size, const CreatorWeakPtr& creator = {})
        : MemBase(description(), creator), ReferencingMemArray<N, T>(storage, size) {
        countConstruction();
    }

    /// A view of `run`, which lies in `storage`.
    MemArray(const Iterator<T>& run, const MultiIndex<N>& size, const ChunkPtr& storage,
             const CreatorWeakPtr& creator = {})
        : MemArray(CreativeIterator<T>{run, nullptr}, size, storage, creator) {}

    /// The same for a run that may have its elements elsewhere.
    MemArray(const CreativeIterator<T>& run, const MultiIndex<N>& size, const ChunkPtr& storage,
             const CreatorWeakPtr& creator = {})
        : MemBase(description(), creator), ReferencingMemArray<N, T>(run, size, storage) {
        countConstruction();
    }

    MultiIndex<N> Size() const override { return this->sizes; }

    ArrayPtr newMemArraynD(const MultiIndex<N>& size, const CreatorWeakPtr& creator) const override {
        return new MemArray(size, creator);
    }

    ArrayPtr createSubMemArray(const MultiIndex<N>& offset, const MultiIndex<N>& size,
                               const CreatorWeakPtr& creator) const override {
        const Larder::StrongPtr<MemArray, Larder::Cacheable> box = new MemArray(size, creator);
        if (size.product() != 0)
            CopySubset(size, static_cast<MultiArray<N, T>&>(*box), MultiIndex<N>(),
                       static_cast<const MultiArray<N, T>&>(*this), offset, PlainCopyConvert());
        return box;
    }

    ArrayPtr getSlice(unsigned long long index, const CreatorWeakPtr& creator) const override {
        if constexpr (N == 1)
            return {};
        else
            return MemArrayGetSlice<N>::getSlice(*this, index, creator);
    }

    ArrayPtr makeMemArray(const CreatorWeakPtr&) const override { return this; }

    ArrayPtr createEquallySizedMemArray(const ChunkPtr& storage,
                                        const CreatorWeakPtr& creator) const override {
        if (!storage || storage->elements() != this->sizes.product())
            return {};
        return new MemArray(storage, this->sizes, creator);
    }

    ArrayPtr copy(const CreatorWeakPtr& creator) const override {
        if (!this->chunk)
            return {};
        return new MemArray(this->chunk->copy(), this->sizes, creator);
    }

    ArrayPtr getComponentArray(int component, const CreatorWeakPtr& creator) override {
        if constexpr (Orrery::Record<T>) {
            using Scalar = typename T::element_type;
            if (component >= T::element_count)
                return {};
            return new MemArray<N, Scalar>(Iterator<Scalar>(plainRecordsOf<T>(*this), component), this->sizes,
                                           this->chunk, creator);
        } else {
            if (component >= 1)
                return {};
            return new MemArray(wholeStorage(), this->sizes, this->chunk, creator);
        }
    }

private:
    /// Not in the initialiser above: there GCC 12 loses the chunk's memory when its constructor throws.
    static ChunkPtr newStorage(const MultiIndex<N>& size) {
        return new Larder::Chunk<T>(size.product(), false);
    }

    static const QuillTypeIndex& description() {
        if constexpr (isRegisteredValueType<T>)
            return QuillType<T>::getQuillType()->index();
        else {
            static const QuillTypeIndex index = describeValueType<T>();
            return index;
        }
    }

    static void countConstruction() {
        if (TypeIsRegistered)
            MemBase::RegisteredTypes += 1;
    }

    /// The run of a scalar component starts at the head of the storage, also for a view of a slice.
    Iterator<T> wholeStorage() const {
        Iterator<T> run;
        run.count = run.componentStride = this->count;
        run.data = this->data;
        return run;
    }
};

/// Calls `visit` with `array` as the `MemArray<N,T>` that it is, for the first T of the list that fits, and
/// gives true; false for any other array or none. `visit` may answer false to let the next type try.
template <int N, class... T, class Visit>
bool visitArray(TypeList<T...> types, const ArrayPtr& array, const Visit& visit) {
    return probeTypes(types, [&]<class E>(std::type_identity<E>) {
        const Larder::StrongPtr<MemArray<N, E>, Larder::Cacheable> typed = array;
        if (!typed)
            return false;
        if constexpr (std::is_void_v<decltype(visit(*typed))>) {
            visit(*typed);
            return true;
        } else {
            return visit(*typed);
        }
    });
}

} // namespace Quill

// Completes the class: what follows there needs both.
#include <tilewright/arrays/MemArrayAllocator.h>
