/// The reduction of one field in one fragment, and of the per-cell companions that come with the heights.
#pragma once

#include <algorithm>
#include <string>

#include <tilewright/filters/reduceCells.h>
#include <tilewright/model/FragmentRange.h>
#include <tilewright/model/RegularlyFragmentedField.h>
#include <tilewright/model/UniformCartesianArray.h>

namespace Tilewright {
namespace {

using Quill::RegularFieldPtr;

/// The fields besides the heights that say what is in a cell; the same for a whole call.
struct CompanionFields {
    RegularFieldPtr CellType;
    RegularFieldPtr Density;
    /// Null where no alpha is wanted.
    RegularFieldPtr Alpha;
    /// A cell with at most this many points is one without data.
    unsigned SparseLimit = 0;
};

/// One fragment of the walk; what it refers to lasts as long as the fragment is worked on.
struct FragmentCells {
    const Quill::MultiIndex<3>& Index;
    const CellLists& Cells;
    /// The output positions; may be null.
    const Quill::UniformCartesianArray* Nodes = nullptr;
};

/// One field of the input and what is to become of it.
struct FieldRequest {
    Quill::CreatorPtr Input;
    DirectionAndFilter Wanted;
    RegularFieldPtr Output;
    std::string OutputName;
};

constexpr unsigned char cellWithData = 0;
constexpr unsigned char cellWithoutData = 1;

inline void storeData(Quill::Field& field, const Quill::ArrayPtr& array,
                      const Quill::FragmentIDPtr& fragment) {
    field.setPersistentData(array, fragment, Larder::Cache::MemCache(), "");
}

/// Makes a companion: one value per cell, computed from the number of the cell's points.
template <class O, class ValueOf>
void makeCompanion(const CellLists& cells, const RegularFieldPtr& field, const Quill::FragmentIDPtr& fragment,
                   const ValueOf& valueOf) {
    if (!field)
        return;
    const Larder::Ref<Quill::MemArray<3, O>> array(cells.sizes);
    std::ranges::transform(cells.counts(), array->data, valueOf);
    if (fragment)
        storeData(*field, array, fragment);
    Quill::getRange(*field, fragment, false, false);
}

/// "CellType", "Alpha" and "Density": they depend on the cell lists alone and come out once per fragment,
/// with the heights.
inline void makeCompanions(const CellLists& cells, const CompanionFields& companions,
                           const Quill::FragmentIDPtr& fragment) {
    const unsigned limit = companions.SparseLimit;
    makeCompanion<unsigned char>(cells, companions.CellType, fragment, [limit](unsigned count) {
        return count > limit ? cellWithData : cellWithoutData;
    });
    makeCompanion<unsigned char>(cells, companions.Alpha, fragment, [limit](unsigned count) {
        return static_cast<unsigned char>(count > limit ? 255 : 0);
    });
    // Cut to 16 bits: a cell with 65536 points wraps to 0.
    makeCompanion<unsigned short>(cells, companions.Density, fragment, [limit](unsigned count) {
        return static_cast<unsigned short>(count > limit ? count : 0);
    });
}

/// Reduces a field in a fragment and stores the result in its output field, which stays without data where
/// there is nothing to reduce.
inline void rasterField(const FieldRequest& request, const FragmentCells& at,
                        const CompanionFields& companions) {
    const Quill::ArrayPtr output =
        reduceCells(at.Cells, Quill::getData(request.Input), request.Wanted, at.Nodes, request.OutputName);
    if (!output)
        return;
    const Quill::FragmentIDPtr fragment = request.Output->getFragmentID(at.Index);
    if (fragment) {
        Quill::getRange(*request.Output, fragment, false, false);
        storeData(*request.Output, output, fragment);
    }
    if (request.OutputName == "Height")
        makeCompanions(at.Cells, companions, fragment);
}

} // namespace
} // namespace Tilewright
