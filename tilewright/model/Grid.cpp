#include <tilewright/model/Grid.h>

namespace Quill {

SkeletonMap::~SkeletonMap() = default;

Skeleton& SkeletonMap::operator[](const SkeletonID& id) {
    if (const auto found = Skeletons.find(id); found != Skeletons.end())
        return *found->second;
    // Complete before it is entered: look-ups rely on what is in the map.
    const Larder::Ref<Skeleton> skeleton(id);
    skeleton->addOwner(*this);
    Skeletons.emplace(id, skeleton);
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
    const std::pair key(Name, Number);
    if (const auto found = Charts.find(key); found != Charts.end())
        return found->second;
    const Larder::Ref<CartesianChart> chart(Name, Number);
    chart->addOwner(*this);
    return Charts.emplace(key, chart).first->second;
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
