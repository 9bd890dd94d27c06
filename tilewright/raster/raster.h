/// raster: the entry points of the library. One call turns the point cloud of a grid into a regular raster.
///
/// The input is a grid with a regularly fragmented "Positions" field of points over the Cartesian chart
/// without a name, and any number of fields beside it with one value per point, fragmented alike. The output
/// is a grid over a uniform lattice of cells, cut into as many fragments, in which every field of the input
/// is reduced cell by cell. Fragment (i,j,k) of the input feeds fragment (i,j,k) of the output and no other,
/// and one fragment is in memory at a time.
///
/// A cell is identified by its centre: it takes the points nearest to its node. Halves go to the upper cell;
/// at half a cell below the first and above the last node of a fragment a point is outside of it, and in no
/// cell.
///
/// The result text reports failures; it is empty on success. Bad input throws nothing; the standard
/// exceptions of memory allocation pass through. A failure leaves the output grid as far as it came.
///
/// Thread safety: a call runs on its caller's thread. Calls on different grids may run at once; calls on one
/// output grid must not overlap.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <tilewright/arrays/MultiIndex.h>
#include <tilewright/filters/vocabulary.h>
#include <tilewright/model/Grid.h>
#include <tilewright/raster/Lattice.h>
#include <tilewright/substrate/LoaderProgress.h>
#include <tilewright/values/PhysicalSpace.h>

namespace Tilewright {

/// Field name to request. A field without an entry is reduced to the mean of its whole values.
using Modus = std::map<std::string, DirectionAndFilter>;

/// Rasters `InGrid` into `OutGrid`, which is added to and never emptied first.
///
/// - `requests`: one text "field:filter:direction" for each field, at least one; the last one for a field
///   counts. Filters: Mean, Min, Max, Median, MaxOccurrence, Regression, Skip. Directions: Xdir, Ydir, Zdir,
///   All; with Regression any other word counts as All. The heights are asked for as "Positions".
/// - `wantedCellSize`: in the units of the positions; it is adjusted so that whole cells fill a fragment. 0
///   on an axis asks for a single layer.
/// - `overlap`: cells that neighbouring fragments share, per axis.
/// - `cellShift`: moves the lattice, in cells; fractions allowed.
/// - `withAlpha`: whether to make the field "Alpha".
/// - `heightOnly`: whether to reduce "Positions" alone.
/// - `selection`: empty, or ranges and a field that limit the points: "0,2:3,5,6,7:12@Classification".
/// - `sparseLimit`: a cell with at most this many points is marked as one without data in "CellType".
/// - `progress`: asked once per fragment whether to go on; may be null.
///
/// On success `OutGrid` holds, in its Cartesian representation of dimension 3: "Positions" with uniform
/// coordinates; "CellType", "Density" and, if wanted, "Alpha"; "Height", reduced from "Positions"; and a
/// field for every other field of the input, under its name, as MemArray<3,O>. Cells without points are zero.
/// A report of the call is the attribute "PointCloudToRaster" of the grid.
TILEWRIGHT_API std::string
raster(const Quill::Grid& InGrid, Quill::Grid& OutGrid, const std::vector<std::string>& requests,
       const Orrery::PhysicalSpace::vector& wantedCellSize, const Quill::MultiIndex<3>& overlap,
       const Orrery::PhysicalSpace::vector& cellShift, const bool& withAlpha, const bool& heightOnly,
       const std::string& selection, const unsigned& sparseLimit,
       const Larder::StrongPtr<Larder::LoaderProgress, Larder::InterfaceBase>& progress);

/// What a call of rasterOnLattice makes besides the fields, and what it leaves out: see raster.
struct TILEWRIGHT_API RasterOptions {
    bool withAlpha = false;
    bool heightOnly = false;
    std::string selection{};
    unsigned sparseLimit = 0;
    Larder::StrongPtr<Larder::LoaderProgress, Larder::InterfaceBase> progress{};
};

/// The same on a lattice of the caller's, who makes sure that its fragments fit those of the input.
/// Prints nothing, and stores no report with the grid.
TILEWRIGHT_API std::string rasterOnLattice(const Quill::Grid& InGrid, Quill::Grid& OutGrid,
                                           const std::vector<std::string>& requests, const Lattice& lattice,
                                           const RasterOptions& options = {});

/// What `raster` answers to these requests and this selection before it looks at any grid: the empty text if
/// it can read them. A selection is also refused, with the text "Selection string broken. ...", for ranges of
/// which `raster` would print that they are invalid, and take no point.
TILEWRIGHT_API std::string checkRequests(const std::vector<std::string>& requests,
                                         const std::string& selection = {});

} // namespace Tilewright
