/// UniformCartesianArray: the points of a uniform lattice, of which no point is stored.
///
/// The point at index (i,j,k) is, for each coordinate, the first coordinate of its axis plus the index times
/// the axis's step.
#pragma once

#include <array>
#include <cstdint>

#include <tilewright/arrays/MemArray.h>
#include <tilewright/model/references.h>

namespace Quill {

/// The coordinates along an axis, in a form that Axis names.
template <class T, class Axis> class CoordinateAxisArray;

/// Names the form: equally spaced coordinates.
struct TILEWRIGHT_API LinearCoordinateAxisArray {};

/// Two values: the first coordinate and the step.
template <class T>
class TILEWRIGHT_API CoordinateAxisArray<T, LinearCoordinateAxisArray> : public Larder::Chunk<T> {
public:
    CoordinateAxisArray(T start, T delta) : Larder::Chunk<T>(2, false) {
        this->base_vector() = {start, delta};
    }
};

/// An array whose points are combined from the coordinates of its axes.
template <class P, class Axis, int N>
class TILEWRIGHT_API DirectProductMemArrayBase : public MemArrayBase<N> {
public:
    using AxisPtr = Larder::StrongPtr<CoordinateAxisArray<double, Axis>, Larder::ChunkBase>;

    /// One axis for each index direction; any may be null.
    std::array<AxisPtr, N> Axes;
    /// For each coordinate of a point the number of its axis; N or more if it has none.
    std::array<std::uint32_t, P::element_count> AxisOfCoordinate;

    MultiIndex<N> Size() const override { return Extents; }
    unsigned long long nElements() const override { return Extents.product(); }
    unsigned long long memsize() const override {
        unsigned long long bytes = 0;
        for (const AxisPtr& axis : Axes)
            if (axis)
                bytes += axis->elements() * sizeof(double);
        return bytes;
    }
    HyperslabParameters getHyperslabParameters() override { return {}; }
    void* getPtr() override { return nullptr; }
    const void* OriginPtr() const override { return nullptr; }
    const void* DeltaPtr() const override { return nullptr; }
    bool copyFrom(const ChunkPtr&) override { return false; }

protected:
    explicit DirectProductMemArrayBase(const MultiIndex<N>& size) : Extents(size) {
        for (std::uint32_t c = 0; c < AxisOfCoordinate.size(); ++c)
            AxisOfCoordinate[c] = c;
    }

private:
    MultiIndex<N> Extents;
};

/// Such an array of points P.
template <class P, class Axis, int N>
class TILEWRIGHT_API DirectProductMemArray
    : public DirectProductMemArrayBase<Orrery::FixedArray<double, P::element_count>, Axis, N>,
      public TypedArray<P> {
public:
    using typename TypedArray<P>::TypedChunkPtr;

    CreativeIterator<P> creativeIterator() override { return {}; }
    CreativeIterator<P> creativeIterator() const override { return {}; }
    TypedChunkPtr myChunk() const override { return {}; }

    ArrayPtr newMemArraynD(const MultiIndex<N>& size, const CreatorWeakPtr& creator) const override {
        return new MemArray<N, P>(size, creator);
    }
    ArrayPtr createEquallySizedMemArray(const ChunkPtr& chunk, const CreatorWeakPtr& creator) const override {
        if (!chunk || chunk->elements() != this->Size().product())
            return {};
        return new MemArray<N, P>(chunk, this->Size(), creator);
    }

protected:
    using DirectProductMemArrayBase<Orrery::FixedArray<double, P::element_count>, Axis,
                                    N>::DirectProductMemArrayBase;
};

/// Such an array with linear axes: points P, spacing V.
template <class P, class V, int N>
class TILEWRIGHT_API LinearDirectProductMemArray
    : public DirectProductMemArray<P, LinearCoordinateAxisArray, N> {
public:
    /// The point at `index`; indices are not checked.
    P operator[](const MultiIndex<N>& index) const {
        P p;
        for (std::size_t c = 0; c < this->AxisOfCoordinate.size(); ++c)
            if (const auto* const axis = axisOfCoordinate(c))
                p[c] = (*axis)[0] + static_cast<double>(index[this->AxisOfCoordinate[c]]) * (*axis)[1];
        return p;
    }

    /// The first node and the spacing of the nodes, each 0 for a coordinate without an axis.
    P origin() const {
        P p;
        for (std::size_t c = 0; c < this->AxisOfCoordinate.size(); ++c)
            if (const auto* const axis = axisOfCoordinate(c))
                p[c] = (*axis)[0];
        return p;
    }
    V delta() const {
        V v;
        for (std::size_t c = 0; c < this->AxisOfCoordinate.size(); ++c)
            if (const auto* const axis = axisOfCoordinate(c))
                v[c] = (*axis)[1];
        return v;
    }

    P first() const override { return (*this)[MultiIndex<N>()]; }
    P last() const override {
        MultiIndex<N> index = this->Size();
        for (std::size_t d = 0; d < N; ++d)
            index[d] -= index[d] == 0 ? 0 : 1;
        return (*this)[index];
    }
    /// Computed from the axes, which are public: what they point at is valid until the next call.
    const void* OriginPtr() const override { return upToDate(Origin, origin()); }
    const void* DeltaPtr() const override { return upToDate(Delta, delta()); }

    /// All points, in memory.
    ArrayPtr makeMemArray(const CreatorWeakPtr& creator) const override {
        return createSubMemArray(MultiIndex<N>(), this->Size(), creator);
    }
    ArrayPtr createSubMemArray(const MultiIndex<N>& offset, const MultiIndex<N>& size,
                               const CreatorWeakPtr& creator) const override {
        const Larder::StrongPtr<MemArray<N, P>, Larder::Cacheable> box = new MemArray<N, P>(size, creator);
        const MemArray<N, P>& target = *box;
        forEachIndex(size, [&](const MultiIndex<N>& position) {
            MultiIndex<N> from = offset;
            for (std::size_t d = 0; d < N; ++d)
                from[d] += position[d];
            target[position] = (*this)[from];
        });
        return box;
    }
    ArrayPtr getSlice(unsigned long long index, const CreatorWeakPtr& creator) const override {
        const Larder::StrongPtr<MemArrayBase<N>, Larder::Cacheable> points = makeMemArray(creator);
        return points->getSlice(index, creator);
    }
    ArrayPtr getComponentArray(int component, const CreatorWeakPtr& creator) override {
        return makeMemArray(creator)->getComponentArray(component, creator);
    }

protected:
    LinearDirectProductMemArray(const MultiIndex<N>& size, const P& origin, const V& delta)
        : DirectProductMemArray<P, LinearCoordinateAxisArray, N>(size), Origin(origin), Delta(delta) {
        for (std::size_t axis = 0; axis < N; ++axis)
            this->Axes[axis] = Larder::Ref<CoordinateAxisArray<double, LinearCoordinateAxisArray>>(
                origin[axis], delta[axis]);
    }

private:
    const CoordinateAxisArray<double, LinearCoordinateAxisArray>* axisOfCoordinate(std::size_t c) const {
        const std::uint32_t axis = this->AxisOfCoordinate[c];
        return axis < N ? this->Axes[axis].rawptr() : nullptr;
    }

    /// Writes only what has changed, so that several threads may read axes that nobody changes.
    template <class Record> static const void* upToDate(Record& kept, const Record& present) {
        if (kept != present)
            kept = present;
        return &kept;
    }

    mutable P Origin;
    mutable V Delta;
};

class TILEWRIGHT_API UniformCartesianArray
    : public LinearDirectProductMemArray<Orrery::PhysicalSpace::point, Orrery::PhysicalSpace::vector, 3> {
public:
    UniformCartesianArray(const MultiIndex<3>& Extents, const Orrery::PhysicalSpace::point& Origin,
                          const Orrery::PhysicalSpace::vector& Step, const CreatorWeakPtr& Creator = {});
    ~UniformCartesianArray() override;

    /// The same lattice again, on axes of its own.
    ArrayPtr copy(const CreatorWeakPtr& creator) const override;
};

} // namespace Quill
