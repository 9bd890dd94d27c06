#pragma once

#include <compare>
#include <map>

#include <tilewright/model/Representation.h>

namespace Quill {

/// The key of a skeleton in its grid. Depth 0 means vertices.
class TILEWRIGHT_API SkeletonID {
public:
    SkeletonID(int Dims, int Depth) : Dimensions(Dims), IndexDepth(Depth) {}

    int dims() const { return Dimensions; }
    int depth() const { return IndexDepth; }

    friend auto operator<=>(const SkeletonID&, const SkeletonID&) = default;

private:
    int Dimensions;
    int IndexDepth;
};

/// The representations of a skeleton, by the base space that they describe it over.
class TILEWRIGHT_API RepresentationMap : public FragmentIDCollectionProvider {
public:
    ~RepresentationMap() override;

    /// The representation over `base`, null if there is none.
    RepresentationPtr operator()(const BaseSpace& base) const;

    /// That of the first representation, in the order of creation of the base spaces, that has one.
    FragmentIDCollectionPtr getFragmentIDCollection() const override;

protected:
    /// By the serial number of the base space.
    std::map<unsigned long long, RepresentationPtr> Representations;
};

/// A family of geometric objects of one kind.
class TILEWRIGHT_API Skeleton : public BaseSpace,
                                public RepresentationMap,
                                public SkeletonID,
                                public SaveableAttributes {
public:
    explicit Skeleton(const SkeletonID& id);
    ~Skeleton() override;

    /// The representation over `base`, made empty if it is missing; valid as long as the grid lives. The base
    /// space must be alive.
    Representation& operator[](const BaseSpaceWeakPtr& base);
};

} // namespace Quill
