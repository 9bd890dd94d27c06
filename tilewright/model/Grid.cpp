#include <tilewright/model/Grid.h>

namespace Quill {

SkeletonMap::~SkeletonMap() = default;

Skeleton& SkeletonMap::operator[](const SkeletonID& id) {
    SkeletonPtr& skeleton = Skeletons[id];
    if (!skeleton) {
        skeleton = Larder::Ref<Skeleton>(id);
        skeleton->addOwner(*this);
    }
    return *skeleton;
}

SkeletonPtr SkeletonMap::getSkeleton(const SkeletonID& id) const {
    const auto found = Skeletons.find(id);
    return found == Skeletons.end() ? SkeletonPtr() : found->second;
}

SkeletonPtr SkeletonMap::findVertices(int Dims) const {
    // The keys are ordered by dimension first.
    for (const auto& [id, skeleton] : Skeletons)
        if (id.depth() == 0 && (Dims == -1 || Dims == id.dims()))
            return skeleton;
    return {};
}

Grid::Grid() = default;

Grid::~Grid() = default;

bool Grid::processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const {
    return Ownable<Grid>::processOwnership(target, source);
}

Grid::ChartPtr Grid::makeCartesianChart(const std::string& Name, unsigned short Number) {
    ChartPtr& chart = Charts[{Name, Number}];
    if (!chart)
        chart = Larder::Ref<CartesianChart>(Name, Number);
    return chart;
}

Representation& Grid::makeCartesianRepresentation(int Dims, const std::string& Name, unsigned short Number) {
    return (*this)[SkeletonID(Dims, 0)][makeCartesianChart(Name, Number)];
}

RepresentationPtr Grid::getCartesianRepresentation(const std::string& Name) const {
    for (const auto& [id, skeleton] : Skeletons) {
        if (id.depth() != 0)
            continue;
        for (auto chart = Charts.lower_bound({Name, 0}); chart != Charts.end() && chart->first.first == Name;
             ++chart)
            if (const RepresentationPtr representation = (*skeleton)(*chart->second))
                return representation;
    }
    return {};
}

FieldPtr Grid::CartesianPositions() const {
    const Representation* const representation = getCartesianRepresentation("").rawptr();
    return representation ? representation->Positions() : FieldPtr();
}

} // namespace Quill
