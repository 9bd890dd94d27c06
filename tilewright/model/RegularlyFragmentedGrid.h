/// RegularlyFragmentedGrid: a view of a grid that records how its fields are cut into fragments on a lattice.
///
/// The record is the skeleton SkeletonID(N,2) with the fragment identifiers as its positions. The view may
/// come and go; what it shows belongs to the grid.
#pragma once

#include <tilewright/arrays/MemArray.h>
#include <tilewright/model/Grid.h>
#include <tilewright/model/RegularlyFragmentedField.h>

namespace Quill {

/// A view of a grid that knows what kind of grid it is; empty if it holds none.
class TILEWRIGHT_API TypedGrid {
public:
    TypedGrid() = default;
    virtual ~TypedGrid();

    GridPtr theGrid;
};

class TILEWRIGHT_API RegularlyFragmentedGridBase : public virtual TypedGrid {
public:
    ~RegularlyFragmentedGridBase() override;

    /// The skeleton SkeletonID(0,2).
    SkeletonPtr FragmentVertices;
};

template <int N> class TILEWRIGHT_API RegularlyFragmentedGrid : public RegularlyFragmentedGridBase {
public:
    using FragmentArrayPtr = Larder::StrongPtr<MemArray<N, FragmentIDPtr>, Larder::Cacheable>;
    using PositionsPtr =
        Larder::StrongPtr<RegularlyFragmentedField<N>, Ownable<CreativeArrayBase>::Container>;

    SkeletonPtr FragmentSkeleton;
    RepresentationPtr FragmentRepresentation;
    /// One identifier for each node of the lattice.
    FragmentArrayPtr FragmentArray;

    /// What `G` holds already; members stay null from the first missing thing on.
    explicit RegularlyFragmentedGrid(const GridPtr& G) {
        Grid* const grid = G.rawptr();
        if (!grid)
            return;
        theGrid = G;
        FragmentVertices = grid->getSkeleton(SkeletonID(0, 2));
        if (!FragmentVertices)
            return;
        FragmentSkeleton = grid->getSkeleton(SkeletonID(N, 2));
        if (!FragmentSkeleton)
            return;
        const SkeletonPtr vertices = grid->findVertices(-1);
        if (!vertices)
            return;
        FragmentRepresentation = (*FragmentSkeleton)(*vertices);
        if (!FragmentRepresentation)
            return;
        if (const FieldPtr positions = FragmentRepresentation->Positions())
            FragmentArray = positions->getData({});
    }

    /// Records the fragments of `Positions` in `G`. The empty view if `G` has no vertex skeleton or the
    /// record can't be made; a record that is there stays.
    static RegularlyFragmentedGrid create(Grid& G, const PositionsPtr& Positions) {
        G[SkeletonID(0, 2)];
        const SkeletonPtr vertices = G.findVertices(-1);
        if (!vertices)
            return RegularlyFragmentedGrid(GridPtr());
        return createFragmentSkeleton(G, vertices, Positions, G[SkeletonID(N, 2)]);
    }

    /// The same for given vertices and a given skeleton of fragments.
    static RegularlyFragmentedGrid createFragmentSkeleton(Grid& G, const SkeletonPtr& Vertices,
                                                          const PositionsPtr& Positions,
                                                          Skeleton& Fragments) {
        Representation& representation = Fragments[Vertices];
        if (!representation.Positions() && !recordFragments(representation, Positions))
            return RegularlyFragmentedGrid(GridPtr());
        return RegularlyFragmentedGrid(GridPtr(&G));
    }

private:
    static bool recordFragments(Representation& representation, const PositionsPtr& Positions) {
        if (!Positions)
            return false;
        return representation.setPositions(
            Larder::Ref<Field>(Positions->newFragmentationArray(), FragmentIDCollectionPtr()));
    }
};

} // namespace Quill

extern template class Quill::RegularlyFragmentedGrid<3>;
