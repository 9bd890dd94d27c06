/// Vertex means: for each field on the cells one of the same name on the vertices, the mean of the cells
/// around each vertex.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <tilewright/filters/MeanOperator.h>
#include <tilewright/model/Representation.h>
#include <tilewright/raster/FragmentWalk.h>
#include <tilewright/substrate/Console.h>

namespace Tilewright {
namespace {

template <class T> using CellsOf = Larder::StrongPtr<Quill::MemArray<3, T>, Larder::Cacheable>;

template <class T> bool hasCell(const Quill::MemArray<3, T>& array, const MultiIndex<3>& index) {
    return index[0] < array.sizes[0] && index[1] < array.sizes[1] && index[2] < array.sizes[2] &&
           Quill::isReadable(array);
}

/// A new array of `extents` with `valueOf(index)` in each cell.
template <class T, class ValueOf> CellsOf<T> makeCells(const MultiIndex<3>& extents, const ValueOf& valueOf) {
    const Larder::Ref<Quill::MemArray<3, T>> cells(extents);
    const Quill::MemArray<3, T>& target = *cells;
    Quill::forEachIndex(extents, [&](const MultiIndex<3>& index) { target[index] = valueOf(index); });
    return cells;
}

/// The cells below `extents`, one after the other: the array itself, or a copy if its elements are laid
/// out differently or their number differs. Cells that `array` does not have get `missing`.
template <class T>
CellsOf<T> contiguous(const Quill::MemArray<3, T>& cells, const MultiIndex<3>& extents, const T& missing) {
    if (cells.sizes == extents && cells.data && cells.stride == 1 && cells.firstSkip == 0 &&
        Quill::isReadable(cells))
        return &cells;
    return makeCells<T>(
        extents, [&](const MultiIndex<3>& index) { return hasCell(cells, index) ? cells[index] : missing; });
}

/// The mean of `count` values of T that add up to `sum`; zero if there are none.
template <class T> T vertexMean(const typename Accumulator<T>::type& sum, unsigned count) {
    const unsigned divisor = count == 0 ? 1 : count;
    if constexpr (Orrery::Record<T>) {
        using Component = typename T::element_type;
        const double reciprocal = 1.0 / static_cast<double>(divisor);
        T mean;
        for (std::size_t c = 0; c < 3; ++c)
            if constexpr (std::integral<Component>)
                mean[c] = truncated<Component>(static_cast<double>(sum[c]) * reciprocal);
            else
                mean[c] = sum[c] * reciprocal;
        return mean;
    } else if constexpr (std::integral<T>) {
        return truncated<T>(static_cast<double>(static_cast<T>(sum)) / static_cast<double>(divisor));
    } else {
        return sum / static_cast<T>(divisor);
    }
}

/// The sums and counts of a row of vertices along x. Sums are kept in the width of T, however narrow. Each
/// step is a loop of its own without branches, which the compiler turns into one over several vertices at a
/// time.
template <class T> class VertexRow {
    using Sum = typename Accumulator<T>::type;

public:
    explicit VertexRow(std::size_t length) : Sums(length), Counts(length) {}

    void clear() {
        std::ranges::fill(Sums, Sum());
        std::ranges::fill(Counts, static_cast<unsigned char>(0));
    }

    /// Adds to each vertex i the cells i-1 and i of a row that touches it, in this order.
    void add(const T* values, const unsigned char* types) {
        addFrom(1, values, types);
        addFrom(0, values, types);
    }

    void storeMeans(T* means) const {
        for (std::size_t i = 0; i < Sums.size(); ++i)
            means[i] = vertexMean<T>(Sums[i], Counts[i]);
    }

private:
    /// Adds cell 0 to vertex `first` and so on. An empty cell adds zero, which is as good as leaving it out:
    /// a sum that begins as +0.0 is never -0.0.
    void addFrom(std::size_t first, const T* values, const unsigned char* types) {
        const std::size_t length = Sums.size() - first;
        unsigned char* const counts = Counts.data() + first;
        for (std::size_t i = 0; i < length; ++i)
            counts[i] = static_cast<unsigned char>(counts[i] + (types[i] != cellWithoutData));
        Sum* const sums = Sums.data() + first;
        for (std::size_t i = 0; i < length; ++i) {
            const T value = values[i];
            const T addend = types[i] != cellWithoutData ? value : T();
            if constexpr (Orrery::Record<T>)
                sums[i] += addend;
            else
                sums[i] = static_cast<Sum>(sums[i] + static_cast<Sum>(addend));
        }
    }

    std::vector<Sum> Sums;
    std::vector<unsigned char> Counts;
};

/// The mean of the up to eight cells around each vertex, without those that `types` marks as empty. Around
/// vertex (i,j,k) lie the cells from (i-1,j-1,k-1) to (i,j,k); there are as many vertices as cells. Cells are
/// added in storage order. All three arrays are contiguous.
template <class T>
void averageCells(const Quill::MemArray<3, T>& cells, const Quill::MemArray<3, unsigned char>& types,
                  const Quill::MemArray<3, T>& vertices) {
    const MultiIndex<3> size = vertices.sizes;
    if (size.product() == 0)
        return;
    VertexRow<T> row(size[0]);
    for (unsigned long long k = 0; k < size[2]; ++k)
        for (unsigned long long j = 0; j < size[1]; ++j) {
            row.clear();
            for (unsigned long long cellK = k == 0 ? 0 : k - 1; cellK <= k; ++cellK)
                for (unsigned long long cellJ = j == 0 ? 0 : j - 1; cellJ <= j; ++cellJ) {
                    const unsigned long long first = MultiIndex<3>(0, cellJ, cellK).linearIn(size);
                    row.add(cells.data + first, types.data + first);
                }
            row.storeMeans(vertices.data + MultiIndex<3>(0, j, k).linearIn(size));
        }
}

/// Makes the means of one fragment; called for each field on the cells.
class VertexMeanMaker {
public:
    VertexMeanMaker(const CellsOf<unsigned char>& cellTypes, const MultiIndex<3>& index,
                    Quill::Representation& vertices, const MultiIndex<3>& fragmentCount,
                    const MultiIndex<3>& cellCounts)
        : CellTypes(cellTypes), Index(index), Vertices(vertices), FragmentCount(fragmentCount),
          Extents(cellCounts) {}

    /// False, which ends the walk over the fields, for one that is not regularly fragmented. A field whose
    /// values are of no known type is made on the vertices and stays without data.
    bool operator()(const Quill::FieldID& identifier, const Quill::Field& field) const {
        const std::string& name = identifier.name;
        if (name == "CellType" || name == "Positions")
            return true;
        const RegularFieldPtr cells = &field;
        if (!cells) {
            Larder::Console() << "broken regular field missing cellset";
            return false;
        }
        const Quill::CreatorPtr source = cells->findCreator(Index);
        if (!source) {
            Larder::Console() << "CellCAB is null";
            return true;
        }
        const RegularFieldPtr target = provideTarget(name);
        Quill::visitArray<3>(Quill::FieldValueTypes(), Quill::getData(source),
                             [&](const auto& values) { makeMeans(values, *target); });
        return true;
    }

private:
    RegularFieldPtr provideTarget(const std::string& name) const {
        RegularFieldPtr target = Vertices.findField(name);
        if (!target) {
            target = Larder::Ref<Quill::RegularlyFragmentedField<3>>(FragmentCount, "RegularFragment");
            Vertices[name] = target;
        }
        return target;
    }

    /// Cells beyond the extents are left out, and cells that the field does not have count as empty.
    template <class T>
    void makeMeans(const Quill::MemArray<3, T>& cells, Quill::RegularlyFragmentedField<3>& target) const {
        const Larder::Ref<Quill::MemArray<3, T>> vertices(Extents);
        averageCells<T>(*contiguous(cells, Extents, T()), *typesOf(cells), *vertices);
        const Quill::FragmentIDPtr fragment = target.getFragmentID(Index);
        Quill::getRange(target, fragment, false, false);
        storeData(target, vertices, fragment);
    }

    template <class T> CellsOf<unsigned char> typesOf(const Quill::MemArray<3, T>& cells) const {
        MultiIndex<3> last;
        for (std::size_t axis = 0; axis < 3; ++axis)
            last[axis] = Extents[axis] - 1;
        if (hasCell(cells, last))
            return CellTypes;
        const Quill::MemArray<3, unsigned char>& types = *CellTypes;
        return makeCells<unsigned char>(Extents, [&](const MultiIndex<3>& index) {
            return hasCell(cells, index) ? types[index] : cellWithoutData;
        });
    }

    const CellsOf<unsigned char> CellTypes;
    const MultiIndex<3>& Index;
    Quill::Representation& Vertices;
    const MultiIndex<3>& FragmentCount;
    const MultiIndex<3>& Extents;
};

/// Makes the means of all fragments that have a "CellType", x fastest.
inline void makeVertexMeans(const Quill::Representation& cells, Quill::Representation& vertices,
                            const MultiIndex<3>& fragmentCount, const MultiIndex<3>& cellCounts) {
    const RegularFieldPtr cellType = cells.findField("CellType");
    if (!cellType)
        return;
    Quill::forEachIndex(fragmentCount, [&](const MultiIndex<3>& index) {
        if (const CellsOf<unsigned char> types = Quill::getData(cellType->findCreator(index)))
            cells.iterate(VertexMeanMaker(contiguous(*types, cellCounts, cellWithoutData), index, vertices,
                                          fragmentCount, cellCounts));
    });
}

} // namespace
} // namespace Tilewright
