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

Representation& Skeleton::operator[](const BaseSpaceWeakPtr& base) {
    const unsigned long long key = base->objectId;
    if (const auto found = Representations.find(key); found != Representations.end())
        return *found->second;
    // Complete before it is entered: look-ups rely on what is in the map.
    const Larder::Ref<Representation> representation;
    representation->addOwner(*this);
    Representations.emplace(key, representation);
    return *representation;
}

} // namespace Quill
