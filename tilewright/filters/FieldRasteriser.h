/// The reduction of one field in one fragment, and of the per-cell companions that come with the heights.
#pragma once

#include <algorithm>
#include <string>

#include <tilewright/arrays/elements.h>
#include <tilewright/filters/Operator.h>
#include <tilewright/model/FragmentRange.h>
#include <tilewright/model/RegularlyFragmentedField.h>
#include <tilewright/substrate/Console.h>

namespace Tilewright {
namespace {

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
    /// The output positions of this fragment; may be null.
    const Quill::UniformCartesianArray* Nodes;
    const unsigned* SparseLimit;
};

constexpr unsigned char cellWithData = 0;
constexpr unsigned char cellWithoutData = 1;

inline void storeData(Quill::Field& field, const Quill::ArrayPtr& array,
                      const Quill::FragmentIDPtr& fragment) {
    field.setPersistentData(array, fragment, Larder::Cache::MemCache(), "");
}

/// Makes a companion: one value a cell, worked out from the number of the cell's points.
template <class O, class ValueOf>
void makeCompanion(const RasterFieldJob& job, const Quill::RegularFieldPtr& field,
                   const Quill::FragmentIDPtr& fragment, const ValueOf& valueOf) {
    const Larder::Ref<Quill::MemArray<3, O>> array(job.Cells->sizes);
    std::ranges::transform(job.Cells->counts(), array->data, valueOf);
    if (fragment)
        storeData(*field, array, fragment);
    Quill::getRange(*field, fragment, false, false);
}

/// "CellType", "Alpha" and "Density": they depend on the cell lists alone and come out once a fragment, with
/// the heights.
inline void makeCompanions(const RasterFieldJob& job, const Quill::FragmentIDPtr& fragment) {
    const unsigned limit = *job.SparseLimit;
    makeCompanion<unsigned char>(job, job.CellType, fragment, [limit](unsigned count) {
        return count > limit ? cellWithData : cellWithoutData;
    });
    if (job.Alpha)
        makeCompanion<unsigned char>(job, job.Alpha, fragment, [limit](unsigned count) {
            return static_cast<unsigned char>(count > limit ? 255 : 0);
        });
    if (job.Density)
        // Cut to 16 bits: a cell with 65536 points wraps to 0.
        makeCompanion<unsigned short>(job, job.Density, fragment, [limit](unsigned count) {
            return static_cast<unsigned short>(count > limit ? count : 0);
        });
}

/// The values that ordinals index: those of the array's chunk, which is held meanwhile. An array whose
/// elements lie in a chunk of another type, or come from a creator, has none; its elements are gathered.
template <class T> class PointValues {
public:
    explicit PointValues(const Quill::MemArray<1, T>& input) {
        const bool isMade = !input.data && input.creator;
        if (!isMade)
            Chunk = input.getChunk();
        if (Chunk)
            Values = Chunk->base_vector();
        else if (Quill::isReadable(input))
            gather(input);
    }

    const T* data() const { return Values.data(); }
    std::size_t size() const { return Values.size(); }

private:
    void gather(const Quill::MemArray<1, T>& input) {
        Gathered.resize(input.sizes[0]);
        for (std::size_t e = 0; e < Gathered.size(); ++e)
            Gathered[e] = input[Quill::MultiIndex<1>(e)];
        Values = Gathered;
    }

    Larder::StrongPtr<Larder::Chunk<T>, Larder::ChunkBase> Chunk;
    std::vector<T> Gathered;
    std::span<const T> Values;
};

/// Reduces `input` cell by cell and stores the result in the job's output field. A cell without points is
/// left zero. A fragment with fewer values than points takes no part.
template <class FilterT>
void rasterFieldFragment(CellReduction<FilterT> reduceCells,
                         const Quill::MemArray<1, typename FilterT::value_type>& input,
                         const RasterFieldJob& job) {
    using T = typename FilterT::value_type;
    using O = typename FilterT::output_type;
    if (!job.Cells->haveStorage()) {
        Larder::breakpoint();
        return;
    }
    const Larder::Ref<Quill::MemArray<3, O>> output(job.Cells->sizes);
    const PointValues<T> values(input);
    if (values.size() < job.Cells->pointCount()) {
        const std::string warning = "raster: " + *job.OutputName + " has fewer values than points";
        Larder::Console() << warning.c_str();
        return;
    }
    reduceCells(*job.Cells, values.data(), job.Nodes, output->data);
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
