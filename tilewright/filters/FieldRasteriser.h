/// The reduction of one field in one fragment, and of the per-cell companions that come with the heights.
#pragma once

#include <string>

#include <tilewright/arrays/MemArray.h>
#include <tilewright/filters/MyCell.h>
#include <tilewright/filters/Operator.h>
#include <tilewright/model/FragmentRange.h>
#include <tilewright/model/RegularlyFragmentedField.h>

namespace Tilewright {
namespace {

using CellLists = Quill::MultiArray<3, MyCell>;

/// One field in one fragment. What the references and pointers name outlives the job.
struct RasterFieldJob {
    Quill::CreatorPtr Input;
    const CellLists* Cells;
    Quill::RegularFieldPtr Output;
    const Quill::MultiIndex<3>* FragmentIndex;
    const unsigned* Direction;
    const unsigned* Filter;
    const std::string* OutputName;
    Quill::RegularFieldPtr CellType;
    /// Null where no alpha is wanted.
    Quill::RegularFieldPtr Alpha;
    Quill::RegularFieldPtr Density;
    /// The creator of the output positions of this fragment.
    Quill::CreatorPtr Positions;
    const unsigned* SparseLimit;
};

/// Which cell types count as data. Only the types 0 and 1 are made here; the others come from grids that were
/// edited.
constexpr bool cellTypeMarksData[5] = {true, false, false, false, true};

constexpr unsigned char cellWithData = 0;
constexpr unsigned char cellWithoutData = 1;

inline void storeData(Quill::Field& field, const Quill::ArrayPtr& array,
                      const Quill::FragmentIDPtr& fragment) {
    field.setPersistentData(array, fragment, Larder::Cache::MemCache(), "");
}

/// Makes a companion: one value a cell, worked out from the ordinal of the cell.
template <class O, class ValueOf>
Larder::StrongPtr<Quill::MemArray<3, O>, Larder::Cacheable>
makeCompanion(const RasterFieldJob& job, const Quill::RegularFieldPtr& field,
              const Quill::FragmentIDPtr& fragment, const ValueOf& valueOf) {
    const Larder::Ref<Quill::MemArray<3, O>> array(job.Cells->sizes);
    O* const values = array->data;
    const unsigned long long cellCount = job.Cells->sizes.product();
    for (unsigned long long e = 0; e < cellCount; ++e)
        values[e] = valueOf(e);
    if (fragment)
        storeData(*field, array, fragment);
    Quill::getRange(*field, fragment, false, false);
    return array;
}

/// "CellType", "Alpha" and "Density": they depend on the cell lists alone and come out once a fragment, with
/// the heights.
inline void makeCompanions(const RasterFieldJob& job, const Quill::FragmentIDPtr& fragment) {
    const MyCell* const cells = job.Cells->data;
    const auto types =
        makeCompanion<unsigned char>(job, job.CellType, fragment, [&](unsigned long long e) -> unsigned char {
            return *job.SparseLimit < cells[e].PointIndices.size() ? cellWithData : cellWithoutData;
        });
    const unsigned char* const type = types->data;
    if (job.Alpha)
        makeCompanion<unsigned char>(job, job.Alpha, fragment, [&](unsigned long long e) -> unsigned char {
            return cellTypeMarksData[type[e]] ? 255 : 0;
        });
    if (job.Density)
        // Cut to 16 bits: a cell with 65536 points wraps to 0.
        makeCompanion<unsigned short>(job, job.Density, fragment, [&](unsigned long long e) {
            return static_cast<unsigned short>(cellTypeMarksData[type[e]] ? cells[e].PointIndices.size() : 0);
        });
}

/// The vector that ordinals index: that of the array's chunk. An array whose elements lie in a chunk of
/// another type has none; its elements are gathered into `gathered`.
template <class T>
const std::vector<T>& valuesOf(const Quill::MemArray<1, T>& input, std::vector<T>& gathered) {
    const Larder::StrongPtr<Larder::Chunk<T>, Larder::ChunkBase> chunk = input.getChunk();
    if (chunk)
        return chunk->base_vector();
    gathered.resize(input.data ? input.nElements() : 0);
    for (std::size_t e = 0; e < gathered.size(); ++e)
        gathered[e] = input[Quill::MultiIndex<1>(e)];
    return gathered;
}

/// The positions of the output cells, in the order of the cells; null if there are none or `isWanted` is
/// false.
inline Larder::StrongPtr<Larder::Chunk<point>, Larder::ChunkBase>
cellPositions(const Quill::CreatorPtr& creator, bool isWanted) {
    const Quill::ArrayPtr array = isWanted ? Quill::getData(creator) : Quill::ArrayPtr();
    const Quill::ArrayPtr inMemory = array ? array->makeMemArray({}) : Quill::ArrayPtr();
    if (!inMemory)
        return {};
    return inMemory->getChunk();
}

/// Reduces `input` cell by cell and stores the result in the job's output field. A cell without points is
/// left zero.
template <class FilterT>
void rasterFieldFragment(const Operator<FilterT>& reduction,
                         const Quill::MemArray<1, typename FilterT::value_type>& input,
                         const RasterFieldJob& job) {
    using T = typename FilterT::value_type;
    using O = typename FilterT::output_type;
    const Larder::Ref<Quill::MemArray<3, O>> output(job.Cells->sizes);
    std::vector<T> gathered;
    const std::vector<T>& values = valuesOf(input, gathered);
    const auto positions = cellPositions(job.Positions, reduction.readsCellPosition());
    const point* const position = positions ? positions->base_vector().data() : nullptr;
    const MyCell* const cells = job.Cells->data;
    O* const reduced = output->data;
    const unsigned long long cellCount = job.Cells->sizes.product();
    for (unsigned long long e = 0; e < cellCount; ++e) {
        const std::vector<unsigned>& cellPoints = cells[e].PointIndices;
        const auto count = static_cast<unsigned>(cellPoints.size());
        if (count != 0)
            reduced[e] = reduction.reduce(cellPoints, values, count, position ? position[e] : point());
    }
    const Quill::FragmentIDPtr fragment = job.Output->getFragmentID(*job.FragmentIndex);
    if (fragment) {
        Quill::getRange(*job.Output, fragment, false, false);
        storeData(*job.Output, output, fragment);
    }
    if (*job.OutputName == "Height")
        makeCompanions(job, fragment);
}

} // namespace
} // namespace Tilewright
