#include <tilewright/raster/positions.h>

#include <iostream>

#include <tilewright/model/FragmentLocation.h>
#include <tilewright/model/FragmentRange.h>
#include <tilewright/model/UniformCartesianArray.h>

namespace Tilewright {

namespace {

using Quill::MultiIndex;

/// Written in one piece, so that the lines of several threads don't mix.
void reportPosition(unsigned done, unsigned long long total) {
    const std::string line =
        "\r=> Z7pc2raster, Positions : " + std::to_string(done) + "/" + std::to_string(total) + ".";
    std::cout << line << std::flush;
}

/// Where one fragment lies among the others.
struct Placement {
    MultiIndex<3> offset;
    MultiIndex<3> lowOverlap;
    MultiIndex<3> highOverlap;
};

/// Fragments stand a cell count less the overlap apart. The arithmetic is that of unsigned counts: an overlap
/// beyond the cell count wraps.
Placement placeFragment(const MultiIndex<3>& index, const MultiIndex<3>& cellCounts,
                        const MultiIndex<3>& FragmentCount, const MultiIndex<3>& overlap) {
    Placement placement;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        placement.lowOverlap[axis] = index[axis] != 0 ? overlap[axis] : 0;
        placement.highOverlap[axis] = index[axis] != FragmentCount[axis] - 1 ? overlap[axis] : 0;
        placement.offset[axis] = (cellCounts[axis] - placement.lowOverlap[axis]) * index[axis];
    }
    return placement;
}

} // namespace

void createFragmentedPositions(const Quill::RegularFieldPtr& positions, Quill::Representation& output,
                               const Orrery::PhysicalSpace::point& origin,
                               const Orrery::PhysicalSpace::vector& cellSize, const MultiIndex<3>& cellCounts,
                               const MultiIndex<3>& FragmentCount, const MultiIndex<3>& overlap) {
    output["Positions"] = Larder::Ref<Quill::RegularlyFragmentedField<3>>(FragmentCount, "RegularFragment");
    const Quill::RegularFieldPtr target = output.findField("Positions");
    const unsigned long long total = FragmentCount.product();
    if (total == 0)
        return;
    unsigned done = 0;
    MultiIndex<3> index;
    do {
        const Quill::FragmentIDPtr source = positions->getFragmentID(index);
        if (!source)
            continue;
        const Quill::CreatorPtr creator = positions->getCreator(source);
        if (!creator)
            continue;
        const Quill::FragmentIDPtr fragment = target->getFragmentID(index);
        reportPosition(done++, total);
        const Placement placement = placeFragment(index, cellCounts, FragmentCount, overlap);
        Orrery::PhysicalSpace::point start;
        for (std::size_t axis = 0; axis < 3; ++axis)
            start[axis] = origin[axis] + static_cast<double>(placement.offset[axis]) * cellSize[axis];
        Quill::FragmentLocation<3, Quill::GlobalOffset>::make(*fragment) = placement.offset;
        Quill::FragmentLocation<3, Quill::LowOverlap>::make(*fragment) = placement.lowOverlap;
        Quill::FragmentLocation<3, Quill::HighOverlap>::make(*fragment) = placement.highOverlap;
        const Larder::Ref<Quill::UniformCartesianArray> array(cellCounts, start, cellSize, creator);
        Quill::getRange(*target, fragment, false, false);
        target->setPersistentData(array, fragment, Larder::Cache::MemCache(), "");
    } while (index.inc(FragmentCount));
}

} // namespace Tilewright
