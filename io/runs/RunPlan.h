/// RunPlan: all that is decided before the first point is rastered.
///
/// A plan is a value: it holds no open file and refers to nothing, so that it can be written down and carried
/// out later or elsewhere. Together with the cloud and its index it makes the same files wherever that is.
/// Relative paths are relative to the folder in which the plan is carried out.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <io/blocks/BlockLattice.h>
#include <io/blocks/RasterJob.h>
#include <io/clouds/CloudIndex.h>
#include <io/clouds/PointCloud.h>
#include <io/rasters/RasterDescription.h>
#include <io/runs/RasterRun.h>
#include <io/system/FileState.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// A file of the cloud, as it was when the plan was made.
struct PlannedInput {
    std::filesystem::path path;
    std::uint64_t bytes = 0;
    FileTime modified;
    std::uint64_t points = 0;
    /// Of x and y: where the points lie, so that it need not be opened for what is elsewhere.
    std::array<double, 2> low = {-PointBounds::infinity, -PointBounds::infinity};
    std::array<double, 2> high = {PointBounds::infinity, PointBounds::infinity};

    bool operator==(const PlannedInput&) const = default;
};

struct PlannedOutput {
    std::filesystem::path path;
    /// Has the geometry of the plan, and no nodata value: that has to be one that no cell with data has, and
    /// is chosen by what comes out. The type may become a wider one for its sake.
    RasterDescription description;
    /// The type is the user's own, and stays.
    bool keepsType = false;
    /// Whether cells without data are marked by a value.
    bool hasNoData = true;
    /// That value is NaN where the type has one, whatever the user's own: floating numbers in memory.
    bool prefersNaN = false;
};

/// A picture of the first band of the first file.
struct PlannedPicture {
    std::filesystem::path path;
    bool relief = false;
    bool classes = false;
};

/// How the records of the cloud are brought into the order of the raster.
struct PlannedReading {
    /// Cells along a side of the squares that are read at a time.
    std::uint64_t side = BlockLattice::blockSide;
    /// Whether the cells of the whole raster, or of a part where it is made in parts, are kept in memory, so
    /// that one pass over the points in any order is enough.
    bool inOnePass = false;
    /// If it takes more: whether the points lie in no order and are sorted first.
    bool isSorted = false;
    /// Bytes for points that are sorted, and the folder for those that don't fit.
    std::uint64_t memory = 0;
    std::filesystem::path scratch;
    /// Whether pages of the files may stay in memory.
    bool keepsPages = false;
};

struct RunPlan {
    /// What to call the cloud in a message.
    std::string cloud;
    /// In the order of the points.
    std::vector<PlannedInput> inputs;
    /// Further paths to the same files.
    std::vector<std::filesystem::path> otherNames;
    /// As they were asked for; empty for all points.
    std::vector<std::string> selections;
    /// The polygons that points have to lie in, as RasterRequest::clip.
    std::string clip;
    /// The raster of the ground: RasterRequest::ground, or what was made of its classes already.
    std::string ground;
    /// What the points of the ground have to meet, if it has to be found first and was not; empty for none.
    PointConditions groundPoints;
    /// Files that the plan depends on besides those of the cloud; they have no points.
    std::vector<PlannedInput> otherFiles;

    /// The lattice follows from them; x first.
    std::array<LatticeAxis::Request, 2> lattice;
    /// Of all outputs.
    RasterGeometry geometry;
    /// All blocks, in the machine's share of memory and threads.
    RasterJob job;
    PlannedReading reading;

    /// As it was asked for: the name of the only file, or what those of several begin with.
    std::filesystem::path output;
    std::vector<PlannedOutput> outputs;
    std::optional<PlannedPicture> picture;
    /// The user's own value of cells without data.
    std::optional<double> nodata;
    bool overwrite = false;

    /// How the blocks are shared out, if they are: each is in one part.
    std::vector<BlockRectangle> parts;
    /// Points in the raster that pass the selection, where the parts have to add up to them.
    std::uint64_t wantedPoints = 0;
    /// Points that would be among them if there were ground below them.
    std::uint64_t withoutGround = 0;

    /// Bytes that the threads take at their peak, roughly.
    std::uint64_t memory = 0;
    /// What the user should know of the plan, one line each.
    std::vector<std::string> notes;

    std::uint64_t points() const;
    /// The cells of the largest part, or of the raster if there are no parts.
    CellWindow largestWindow() const;
    BlockLattice makeLattice() const { return {lattice[0], lattice[1]}; }
};

struct ReducedCells;

/// A plan with what it is carried out on.
struct PlannedRun {
    RunPlan plan;
    std::shared_ptr<const PointCloud> cloud;
    CloudIndex index;
    /// The points, reduced already, if it took all of them to find out that the plan is right.
    std::shared_ptr<const ReducedCells> cells = {};
    /// The attributes that the index has ranges of, in their order.
    std::vector<std::string> measured = {};
};

/// Opens and measures the cloud; the indices of its files are kept in a folder that is there, or nowhere.
/// Throws as runRaster() does.
TILEWRIGHT_API PlannedRun planRun(const RasterRequest& request, const RunProgress& progress = {},
                                  const IndexFolder* indices = nullptr);

/// The same for a plan that is carried out here and now: where one pass over the points is enough for all, it
/// is done already, and the outputs were checked before.
TILEWRIGHT_API PlannedRun planRunAtOnce(const RasterRequest& request, const RunProgress& progress = {});

/// The same for a run that is shared out: block by block, as no part needs all points.
TILEWRIGHT_API PlannedRun planRunInBlocks(const RasterRequest& request, const RunProgress& progress = {},
                                          const IndexFolder* indices = nullptr);

/// Where a run begins and ends if not at files.
struct RunEnds {
    /// Points that are open already, in place of the inputs of the request.
    std::shared_ptr<const PointCloud> cloud;
    /// The outputs are not files: their paths are the names of the bands.
    bool inMemory = false;
    /// Measures the ranges of all attributes of whole numbers that bands are made of.
    bool measuresWholeNumbers = false;
};

/// The same for other ends; of a dry run as planRun() does.
PlannedRun planRunBetween(const RunEnds& ends, const RasterRequest& request, const RunProgress& progress);

/// The same block by block.
PlannedRun planRunInBlocks(const RunEnds& ends, const RasterRequest& request, const RunProgress& progress);

/// Throws UsageError or OutputError for files that could not be written, or that may not be replaced, as far
/// as can be known without trying.
TILEWRIGHT_API void checkOutputs(const RunPlan& plan);

/// Says what would be made.
TILEWRIGHT_API RasterReport describeRun(const RunPlan& plan);

/// Makes the files. Throws as runRaster() does.
TILEWRIGHT_API RasterReport carryOut(const PlannedRun& run, const RunProgress& progress = {});

} // namespace Tilewright::Io
