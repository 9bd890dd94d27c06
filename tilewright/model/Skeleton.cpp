#include <tilewright/model/Skeleton.h>

namespace Quill {

RepresentationMap::~RepresentationMap() = default;

RepresentationPtr RepresentationMap::operator()(const BaseSpace& base) const {
    const auto found = Representations.find(base.objectId);
    return found == Representations.end() ? RepresentationPtr() : found->second;
}

FragmentIDCollectionPtr RepresentationMap::getFragmentIDCollection() const {
    for (const auto& [base, representation] : Representations)
        if (const auto collection = representation->getFragmentIDCollection())
            return collection;
    return {};
}

Skeleton::Skeleton(const SkeletonID& id) : SkeletonID(id) {}

Skeleton::~Skeleton() = default;

Representation& Skeleton::operator[](const BaseSpaceRef& base) {
    RepresentationPtr& representation = Representations[base->objectId];
    if (!representation) {
        representation = Larder::Ref<Representation>();
        representation->addOwner(*this);
    }
    return *representation;
}

} // namespace Quill
