/// The fragment walk: sorts the points of each fragment into its cells and reduces all fields through these
/// lists, one fragment after the other.
#pragma once

#include <string>

#include <tilewright/raster/CellLocator.h>
#include <tilewright/raster/FieldRasteriser.h>
#include <tilewright/raster/Lattice.h>
#include <tilewright/raster/PointSelection.h>
#include <tilewright/raster/raster.h>
#include <tilewright/substrate/Console.h>

namespace Tilewright {
namespace {

using Quill::MultiIndex;
using ProgressPtr = Larder::StrongPtr<Larder::LoaderProgress, Larder::InterfaceBase>;
using Orrery::PhysicalSpace::point;
using PointArray = Quill::MemArray<1, point>;

/// The field `name` of `output`, made as a copy of `model` without data if it is not there or not regularly
/// fragmented.
inline RegularFieldPtr provideField(Quill::Representation& output, const std::string& name,
                                    const RegularFieldPtr& model) {
    RegularFieldPtr field = output.findField(name);
    if (!field) {
        field = Larder::Ref<Quill::RegularlyFragmentedField<3>>(*model);
        output[name] = field;
    }
    return field;
}

/// What stays the same for all fragments of a call.
struct WalkContext {
    Quill::Representation& Output;
    RegularFieldPtr OutputPositions;
    const Modus& Requests;
    PointSelection Selection;
    CompanionFields Companions;
    bool HeightOnly = false;
};

/// Visits the fields of the input for one fragment and has each of them reduced.
class FieldVisitor {
public:
    FieldVisitor(const WalkContext& context, const FragmentCells& fragment)
        : Context(context), Fragment(fragment) {}

    /// False, which ends the walk over the fields, for one that is not regularly fragmented.
    bool operator()(const Quill::FieldID& identifier, const Quill::Field& field) const {
        const std::string& name = identifier.name;
        const bool isHeight = name == "Positions";
        if (Context.HeightOnly && !isHeight)
            return true;
        const RegularFieldPtr input = &field;
        if (!input) {
            Larder::Console() << "raster: is not regularly fragmented";
            return false;
        }
        const Quill::CreatorPtr creator = input->findCreator(Fragment.Index);
        if (!creator)
            return true;
        const std::string outputName = isHeight ? "Height" : name;
        const auto request = Context.Requests.find(name);
        const DirectionAndFilter wanted = request == Context.Requests.end()
                                              ? DirectionAndFilter{directionAll, filterMean}
                                              : request->second;
        const RegularFieldPtr output = provideField(Context.Output, outputName, Context.OutputPositions);
        rasterField({.Input = creator, .Wanted = wanted, .Output = output, .OutputName = outputName},
                    Fragment, Context.Companions);
        return true;
    }

private:
    const WalkContext& Context;
    const FragmentCells& Fragment;
};

/// The selected `points`, sorted into the cells of their fragment.
template <class IsSelected>
CellLists sortIntoCells(const PointArray& points, const CellLocator& locator, const MultiIndex<3>& cellCounts,
                        const IsSelected& isSelected) {
    const auto pointCount = static_cast<std::uint32_t>(points.sizes[0]);
    return {cellCounts, pointCount, [&](std::uint32_t i, unsigned long long outside) {
                return isSelected(i) ? locator.locateCell(points[MultiIndex<1>(i)], outside) : outside;
            }};
}

/// One fragment of the walk: sorts its points and reduces every field of `input`. Releases what it needed
/// for that before the next fragment's data are made.
inline void rasterFragment(const WalkContext& context, const Quill::Representation& input,
                           const Quill::CreatorPtr& inputPositions, const MultiIndex<3>& index,
                           const MultiIndex<3>& cellCounts) {
    const Larder::StrongPtr<PointArray, Larder::Cacheable> points = Quill::getData(inputPositions);
    if (!points || !Quill::isReadable(*points)) {
        Larder::Console() << "have no point cloud positions";
        return;
    }
    const Quill::CreatorPtr outputPositions = context.OutputPositions->findCreator(index);
    const Larder::StrongPtr<Quill::UniformCartesianArray, Larder::Cacheable> nodes =
        Quill::getData(outputPositions);
    if (!nodes)
        return;
    const CellLocator locator(*nodes, cellCounts);
    const CellLists cells = withSelection(context.Selection, index, [&](const auto& isSelected) {
        return sortIntoCells(*points, locator, cellCounts, isSelected);
    });
    const FragmentCells fragment{.Index = index, .Cells = cells, .Nodes = nodes.rawptr()};
    input.iterate(FieldVisitor(context, fragment));
}

/// Walks all fragments of `lattice`, x fastest, and reduces the fields of `input` into `output`, whose
/// positions must be there. Gives the empty text, or why it stopped; what was finished stays.
inline std::string createFragmentedOtherFields(Quill::Representation& output, const Lattice& lattice,
                                               const Quill::RepresentationPtr& input, const Modus& requests,
                                               const RasterOptions& options) {
    const Quill::Representation* const inputFields = input.rawptr();
    const RegularFieldPtr inputPositions =
        inputFields ? inputFields->findField("Positions") : Quill::Field::NullPtrField();
    if (!inputPositions)
        return "Have no regularly fragmented Positions";
    PointSelection selectedPoints;
    if (std::string failure = analyseSelection(options.selection, *inputFields, selectedPoints);
        !failure.empty())
        return failure;
    const RegularFieldPtr outputPositions = output.findField("Positions");
    if (!outputPositions)
        return "Have no regularly fragmented Out-Positions";
    const auto provide = [&](const char* name) { return provideField(output, name, outputPositions); };
    CompanionFields companions{.CellType = provide("CellType"),
                               .Density = provide("Density"),
                               .Alpha = {},
                               .SparseLimit = options.sparseLimit};
    if (options.withAlpha)
        companions.Alpha = provide("Alpha");
    const WalkContext context{.Output = output,
                              .OutputPositions = outputPositions,
                              .Requests = requests,
                              .Selection = selectedPoints,
                              .Companions = companions,
                              .HeightOnly = options.heightOnly};

    const unsigned long long total = lattice.fragmentCount.product();
    if (total == 0)
        return {};
    unsigned reported = 0;
    MultiIndex<3> index;
    do {
        if (options.progress) {
            if (!options.progress->reportProgress("Fragment: ", reported, static_cast<unsigned>(total)))
                return "Interrupted";
            ++reported;
        }
        // Looked up after the report, since whoever receives it may fill or refill the slot.
        if (const Quill::CreatorPtr slot = inputPositions->findCreator(index))
            rasterFragment(context, *inputFields, slot, index, lattice.cellCounts);
    } while (index.inc(lattice.fragmentCount));
    return {};
}

} // namespace
} // namespace Tilewright
