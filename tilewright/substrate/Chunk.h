/// Chunk: the reference-counted owner of the elements of an array.
///
/// Every array points to exactly one chunk, and several arrays may share it. A `Chunk<T>` is a
/// `std::vector<T>` with interfaces that do not know T: ChunkBase, then `TypedChunkBase<B>`, then
/// `TypedChunk<T>`. For value types that derive from one another the TypedChunk classes do so too, like the
/// rungs of a ladder: a pointer to `TypedChunk<FixedArray<double,3>>` also reaches a chunk of points. B is
/// the type at the ladder's root, whose layout all rungs share.
///
/// Invariants:
/// 1. The size does not change while arrays view the chunk: they keep the address of its first element.
/// 2. A ladder's storage can be seen as vectors of several types, and the compiler takes these for different
///    objects. Every operation of the chunk classes, base_vector included, starts from the storage as it
///    is at that moment. Vectors that were fetched before a size was changed through another type do not, nor
///    do the operations that a chunk inherits from its vector: fetch the vector again.
/// 3. ChunkBase::TotalMemsize counts sizes, at construction and at destruction. What a vector grows in
///    between is taken off without having been added; the drift is accepted.
///
/// Thread safety: reading is safe, writing distinct elements is safe, nothing else is.
#pragma once

#include <concepts>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include <tilewright/substrate/RelaxedCounter.h>
#include <tilewright/substrate/StrongPtr.h>
#include <tilewright/values/PhysicalSpace.h>

namespace Larder {

/// The rung above T on its ladder; void at a root.
template <class T> struct ChunkParent { using type = void; };
template <class T, int N> struct ChunkParent<Orrery::Vector<T, N>> { using type = Orrery::FixedArray<T, N>; };
template <int R, int C, class T> struct ChunkParent<Orrery::Matrix<R, C, T>> {
    using type = Orrery::Vector<T, R * C>;
};
template <int N, class T> struct ChunkParent<Orrery::Column<N, T>> { using type = Orrery::Matrix<N, 1, T>; };
template <class V, class D, class T> struct ChunkParent<Orrery::DomainVector<V, D, T>> { using type = V; };
template <> struct ChunkParent<Orrery::PhysicalSpace::point> { using type = Orrery::FixedArray<double, 3>; };
template <> struct ChunkParent<Orrery::PhysicalSpace::vector> {
    using type = Orrery::DomainVector<Orrery::Column<3, double>, Orrery::Cartesian3D, double>;
};

template <class T> using ChunkParentOf = typename ChunkParent<T>::type;

/// The root of T's ladder: the type whose layout T has.
template <class T> struct ChunkLayout { using type = typename ChunkLayout<ChunkParentOf<T>>::type; };
template <class T>
requires std::is_void_v<ChunkParentOf<T>>
struct ChunkLayout<T> {
    using type = T;
};

template <class T> using ChunkLayoutOf = typename ChunkLayout<T>::type;

/// Root of the reference domain of chunks.
class TILEWRIGHT_API ChunkBase : public ReferenceBase<ChunkBase> {
public:
    /// Bytes held by all chunks of the process; a statistic.
    static RelaxedCounter TotalMemsize;

    ~ChunkBase() override;

    virtual unsigned long long elements() const = 0;
    /// Bytes of one element.
    virtual int element_size() const = 0;
    /// The first element, null for an empty chunk.
    virtual const void* const_data_ptr() const = 0;
    virtual void* data_ptr() = 0;
    virtual const std::type_info& getType() const = 0;
    /// The type at the root of the ladder.
    virtual const std::type_info& getBaseType() const = 0;
    /// A new chunk of the same class; the arguments are those of Chunk's constructor.
    virtual StrongPtr<ChunkBase, ChunkBase> createNewChunk(unsigned long long n, bool reserveOnly) const = 0;
    /// A new chunk with copies of all elements.
    virtual StrongPtr<ChunkBase, ChunkBase> copy() const = 0;

protected:
    ChunkBase();
};

/// A chunk whose elements have the layout B.
template <class B> class TILEWRIGHT_API TypedChunkBase : public ChunkBase {
public:
    const std::type_info& getBaseType() const override { return typeid(B); }

    StrongPtr<ChunkBase, ChunkBase> createNewChunk(unsigned long long n, bool reserveOnly) const override {
        return newChunk(n, reserveOnly);
    }

    /// The storage, its elements seen as B.
    virtual std::vector<B>& base_vector() = 0;
    virtual const std::vector<B>& base_vector() const = 0;

    virtual StrongPtr<TypedChunkBase, ChunkBase> newChunk(unsigned long long n, bool reserveOnly) const = 0;
};

/// A chunk whose elements are T or derive from T.
template <class T>
class TILEWRIGHT_API TypedChunk : public std::conditional_t<std::is_void_v<ChunkParentOf<T>>,
                                                            TypedChunkBase<T>, TypedChunk<ChunkParentOf<T>>> {
};

template <class T> class Chunk;

/// The view of a `Chunk<T>` through the root of its ladder: a class of its own, as one class can't have both
/// a base_vector of the root's type and one of its own.
template <class T> class TILEWRIGHT_API LayoutChunk : public TypedChunk<T> {
    using Layout = ChunkLayoutOf<T>;

public:
    std::vector<Layout>& base_vector() override { return *seenAs<Layout>(vector()); }
    const std::vector<Layout>& base_vector() const override {
        return *seenAs<Layout>(const_cast<LayoutChunk*>(this)->vector());
    }

protected:
    /// The storage, forgotten by the optimiser: what was written to it through any type is seen from here on.
    std::vector<T>* storage() const { return seenAs<T>(const_cast<LayoutChunk*>(this)->vector()); }

private:
    std::vector<T>* vector() { return static_cast<Chunk<T>*>(this); }

    /// All rungs of a ladder differ from its root in name only, so a vector of them is a vector of the root.
    template <class As> static std::vector<As>* seenAs(std::vector<T>* vector) {
        static_assert(sizeof(T) == sizeof(Layout) && alignof(T) == alignof(Layout));
        static_assert(std::is_same_v<T, Layout> ||
                      (std::is_base_of_v<Layout, T> && std::is_trivially_copyable_v<T>));
        auto* seen = reinterpret_cast<std::vector<As>*>(vector);
        if constexpr (!std::is_same_v<T, Layout>)
            asm volatile("" : "+r"(seen) : : "memory");
        return seen;
    }
};

/// The storage itself.
template <class T> class TILEWRIGHT_API Chunk : public LayoutChunk<T>, public std::vector<T> {
    using Layout = ChunkLayoutOf<T>;

public:
    /// Holds `n` value-initialised elements or, with `reserveOnly`, no element but room for `n`. Throws
    /// std::length_error if `n` is more than a vector takes, std::bad_alloc without memory.
    Chunk(unsigned long long n, bool reserveOnly) : std::vector<T>(reserveOnly ? 0 : checkedSize(n)) {
        if (reserveOnly)
            this->reserve(checkedSize(n));
        ChunkBase::TotalMemsize += bytes();
    }

    /// For counts of a signed type: a negative one is more than a vector takes.
    template <std::signed_integral N>
    Chunk(N n, bool reserveOnly) : Chunk(static_cast<unsigned long long>(n), reserveOnly) {}

    /// Takes over `elements` without copying them.
    explicit Chunk(std::vector<T>&& elements) : std::vector<T>(std::move(elements)) {
        ChunkBase::TotalMemsize += bytes();
    }

    Chunk(const Chunk& other) : LayoutChunk<T>(), std::vector<T>(other.base_vector()) {
        ChunkBase::TotalMemsize += bytes();
    }
    Chunk& operator=(const Chunk&) = delete;

    ~Chunk() override { ChunkBase::TotalMemsize -= bytes(); }

    unsigned long long elements() const override { return base_vector().size(); }
    int element_size() const override { return sizeof(T); }
    const void* const_data_ptr() const override {
        return base_vector().empty() ? nullptr : base_vector().data();
    }
    void* data_ptr() override { return base_vector().empty() ? nullptr : base_vector().data(); }
    const std::type_info& getType() const override { return typeid(T); }
    StrongPtr<ChunkBase, ChunkBase> copy() const override { return new Chunk(*this); }

    StrongPtr<TypedChunkBase<Layout>, ChunkBase> newChunk(unsigned long long n,
                                                          bool reserveOnly) const override {
        return new Chunk(n, reserveOnly);
    }

    /// The storage, its elements seen as T. A template hides the root's operation and does not override it.
    template <class = void> std::vector<T>& base_vector() { return *this->storage(); }
    template <class = void> const std::vector<T>& base_vector() const { return *this->storage(); }

private:
    static std::size_t checkedSize(unsigned long long n) {
        if (n > std::vector<T>().max_size())
            throw std::length_error("cannot create std::vector larger than max_size()");
        return n;
    }

    long long bytes() const { return static_cast<long long>(base_vector().size() * sizeof(T)); }
};

} // namespace Larder
