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

} // namespace

void makePositions(const Quill::RegularFieldPtr& positions, Quill::Representation& output,
                   const Lattice& lattice, bool isSilent) {
    const MultiIndex<3>& fragmentCount = lattice.fragmentCount;
    output["Positions"] = Larder::Ref<Quill::RegularlyFragmentedField<3>>(fragmentCount, "RegularFragment");
    const Quill::RegularFieldPtr target = output.findField("Positions");
    unsigned done = 0;
    Quill::forEachIndex(fragmentCount, [&](const MultiIndex<3>& index) {
        const Quill::FragmentIDPtr source = positions->getFragmentID(index);
        const Quill::CreatorPtr creator = source ? positions->getCreator(source) : Quill::CreatorPtr();
        if (!creator)
            return;
        const Quill::FragmentIDPtr fragment = target->getFragmentID(index);
        if (!isSilent)
            reportPosition(done++, fragmentCount.product());
        const Lattice::Placement placement = lattice.placementOf(index);
        Quill::FragmentLocation<3, Quill::GlobalOffset>::make(*fragment) = placement.offset;
        Quill::FragmentLocation<3, Quill::LowOverlap>::make(*fragment) = placement.lowOverlap;
        Quill::FragmentLocation<3, Quill::HighOverlap>::make(*fragment) = placement.highOverlap;
        const Larder::Ref<Quill::UniformCartesianArray> array(
            lattice.cellCounts, lattice.firstNode(placement), lattice.cellSize, creator);
        Quill::getRange(*target, fragment, false, false);
        target->setPersistentData(array, fragment, Larder::Cache::MemCache(), "");
    });
}

void createFragmentedPositions(const Quill::RegularFieldPtr& positions, Quill::Representation& output,
                               const Orrery::PhysicalSpace::point& origin,
                               const Orrery::PhysicalSpace::vector& cellSize, const MultiIndex<3>& cellCounts,
                               const MultiIndex<3>& FragmentCount, const MultiIndex<3>& overlap) {
    makePositions(positions, output,
                  {.origin = origin,
                   .cellSize = cellSize,
                   .cellCounts = cellCounts,
                   .fragmentCount = FragmentCount,
                   .overlap = overlap});
}

} // namespace Tilewright
