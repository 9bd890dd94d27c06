/// Grid: the data set, a set of skeletons with their representations and fields.
///
/// Make one with Larder::Ref<Quill::Grid>: operations on a grid may hold it for a moment, so it must live
/// under the reference scheme. Skeletons and representations are made when they are first asked for and live
/// as long as the grid; references to them stay valid that long.
///
/// Thread safety: none; different grids may be used by different threads.
#pragma once

#include <map>
#include <string>
#include <utility>

#include <tilewright/model/Skeleton.h>

namespace Quill {

/// The skeletons of a grid.
class TILEWRIGHT_API SkeletonMap : public Ownable<BaseSpace>::Container {
public:
    ~SkeletonMap() override;

    /// The skeleton with this key, made if it is missing.
    Skeleton& operator[](const SkeletonID& id);
    /// The skeleton with this key, null if it is missing.
    SkeletonPtr getSkeleton(const SkeletonID& id) const;
    /// The vertex skeleton of that dimension, null if there is none; -1 asks for the one of least dimension.
    SkeletonPtr findVertices(int Dims) const;

protected:
    std::map<SkeletonID, SkeletonPtr> Skeletons;
};

class TILEWRIGHT_API Grid : public SkeletonMap,
                            public Ownable<Grid>,
                            public Larder::Intercube,
                            public SaveableAttributes {
public:
    using ChartPtr = Larder::StrongPtr<CartesianChart, Ownable<BaseSpaceDependency>::Container>;

    Grid();
    ~Grid() override;

    bool processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const override;

    /// The Cartesian chart of that name and number, made if it is missing.
    ChartPtr makeCartesianChart(const std::string& Name, unsigned short Number);
    /// The representation of the vertex skeleton of dimension `Dims` over that chart; makes what is missing.
    Representation& makeCartesianRepresentation(int Dims, const std::string& Name, unsigned short Number);
    /// The representation over a chart of that name on the vertex skeleton of least dimension that has one;
    /// null if there is none.
    RepresentationPtr getCartesianRepresentation(const std::string& Name) const;
    /// The positions of the representation over the chart without a name; null if there are none.
    FieldPtr CartesianPositions() const;

private:
    std::map<std::pair<std::string, unsigned short>, ChartPtr> Charts;
};

} // namespace Quill
