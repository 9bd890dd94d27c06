/// Companion fields: for each field on the cells one of the same name on the vertices, the mean of the cells
/// around each vertex.
#pragma once

#include <array>
#include <string>

#include <tilewright/filters/FieldRasteriser.h>
#include <tilewright/filters/MeanOperator.h>
#include <tilewright/model/Representation.h>
#include <tilewright/raster/FragmentWalk.h>
#include <tilewright/substrate/Console.h>

namespace Tilewright {
namespace {

/// Adds up values of T in the width of T, however narrow, and gives their mean.
template <class T> class VertexMean {
    using Sum = typename Accumulator<T>::type;

public:
    void add(const T& value) {
        if constexpr (Orrery::Record<T>)
            sum += value;
        else
            sum = static_cast<Sum>(sum + static_cast<Sum>(value));
        ++count;
    }

    /// Zero if nothing was added.
    T mean() const {
        if (count == 0)
            return T();
        if constexpr (Orrery::Record<T>) {
            using Component = typename T::element_type;
            const double reciprocal = 1.0 / static_cast<double>(count);
            T result;
            for (std::size_t c = 0; c < 3; ++c)
                if constexpr (std::integral<Component>)
                    result[c] = truncated<Component>(static_cast<double>(sum[c]) * reciprocal);
                else
                    result[c] = sum[c] * reciprocal;
            return result;
        } else if constexpr (std::integral<T>) {
            return truncated<T>(static_cast<double>(static_cast<T>(sum)) / static_cast<double>(count));
        } else {
            return sum / static_cast<T>(count);
        }
    }

private:
    Sum sum{};
    unsigned count = 0;
};

/// A row of cells along x that touches the vertices of a row.
template <class T> struct CellRow {
    const T* values;
    const unsigned char* types;

    void addTo(VertexMean<T>& mean, unsigned long long i) const {
        if (types[i] != cellWithoutData)
            mean.add(values[i]);
    }
};

/// The mean of the up to eight cells around each vertex, without those that `types` marks as empty. Around
/// vertex (i,j,k) lie the cells from (i-1,j-1,k-1) to (i,j,k); there are as many vertices as cells. Cells are
/// added in storage order.
template <class T>
void averageCells(const Quill::MemArray<3, T>& cells, const Quill::MemArray<3, unsigned char>& types,
                  const Quill::MemArray<3, T>& vertices) {
    const MultiIndex<3> size = vertices.sizes;
    T* vertex = vertices.data;
    std::array<CellRow<T>, 4> rows;
    for (unsigned long long k = 0; k < size[2]; ++k)
        for (unsigned long long j = 0; j < size[1]; ++j) {
            std::size_t rowCount = 0;
            for (unsigned long long rowK = k == 0 ? 0 : k - 1; rowK <= k; ++rowK)
                for (unsigned long long rowJ = j == 0 ? 0 : j - 1; rowJ <= j; ++rowJ) {
                    const unsigned long long first = MultiIndex<3>(0, rowJ, rowK).linearIn(size);
                    rows[rowCount++] = {cells.data + first, types.data + first};
                }
            for (unsigned long long i = 0; i < size[0]; ++i) {
                VertexMean<T> mean;
                for (std::size_t r = 0; r < rowCount; ++r) {
                    if (i != 0)
                        rows[r].addTo(mean, i - 1);
                    rows[r].addTo(mean, i);
                }
                *vertex++ = mean.mean();
            }
        }
}

/// Makes the companions of one fragment; called for each field on the cells.
class CompanionMaker {
public:
    CompanionMaker(const Quill::MemArray<3, unsigned char>& cellTypes, const MultiIndex<3>& index,
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
        const Quill::CreatorPtr source = (*cells)[Index];
        if (!source) {
            Larder::Console() << "CellCAB is null";
            return true;
        }
        const RegularFieldPtr target = provideTarget(name);
        Quill::ArrayPtr held;
        Quill::probeTypes(Quill::FieldValueTypes(), [&]<class T>(std::type_identity<T>) {
            held = Quill::getData(source);
            return makeCompanion<T>(held, *target);
        });
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

    /// False if `data` are no cells of T.
    template <class T>
    bool makeCompanion(const Quill::ArrayPtr& data, Quill::RegularlyFragmentedField<3>& target) const {
        const Larder::StrongPtr<Quill::MemArray<3, T>, Larder::Cacheable> cells = data;
        if (!cells || cells->sizes != Extents || CellTypes.sizes != Extents)
            return false;
        const Larder::Ref<Quill::MemArray<3, T>> vertices(Extents);
        averageCells<T>(*cells, CellTypes, *vertices);
        const Quill::FragmentIDPtr fragment = target.getFragmentID(Index);
        Quill::getRange(target, fragment, false, false);
        storeData(target, vertices, fragment);
        return true;
    }

    const Quill::MemArray<3, unsigned char>& CellTypes;
    const MultiIndex<3>& Index;
    Quill::Representation& Vertices;
    const MultiIndex<3>& FragmentCount;
    const MultiIndex<3>& Extents;
};

/// Makes the companions of all fragments that have a "CellType", x fastest.
inline void makeCompanionFields(const Quill::Representation& cells, Quill::Representation& vertices,
                                const MultiIndex<3>& fragmentCount, const MultiIndex<3>& cellCounts) {
    const RegularFieldPtr cellType = cells.findField("CellType");
    if (!cellType || fragmentCount.product() == 0)
        return;
    MultiIndex<3> index;
    do {
        const Quill::CreatorPtr creator = (*cellType)[index];
        const Larder::StrongPtr<Quill::MemArray<3, unsigned char>, Larder::Cacheable> types =
            Quill::getData(creator);
        if (types)
            cells.iterate(CompanionMaker(*types, index, vertices, fragmentCount, cellCounts));
    } while (index.inc(fragmentCount));
}

} // namespace
} // namespace Tilewright
