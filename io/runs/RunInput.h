/// RunInput: what a run works on, checked and open.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <io/clouds/PointCloud.h>
#include <io/clouds/PolygonArea.h>
#include <io/rasters/GroundSurface.h>
#include <io/rasters/RasterDescription.h>
#include <io/runs/RasterRequest.h>
#include <io/runs/RasterRun.h>

namespace Tilewright::Io {

/// What a request says of the files to write, which shows before anything is read.
struct OutputStyle {
    /// As GDAL calls it.
    std::string driver;
    /// The type that the user wants.
    std::optional<PixelType> type;
};

/// Throws UsageError for a format, a type or an option that does not exist.
OutputStyle styleOf(const RasterRequest& request);

struct RunInput {
    /// All that were found, those included that are one file by several names.
    std::vector<std::filesystem::path> files;
    std::shared_ptr<const PointCloud> cloud;
    /// The coordinate system of the raster as WKT; empty for none.
    std::string system;
    /// The raster that this one is to be like.
    std::optional<RasterGeometry> like;
    /// Where points have to lie; null for anywhere.
    std::shared_ptr<const PolygonArea> clip;
    /// The ground of a file; null without one.
    std::shared_ptr<const GroundSurface> ground;
    /// Files besides those of the cloud, as they were before they were read.
    std::vector<FileState> otherFiles;
    /// What the user should know of them, one line each.
    std::vector<std::string> notes;
    /// Of memory that mapped files take.
    std::uint64_t mappedBytes = 0;
};

/// Throws InputError for files that cannot be read, that have no points, or that are in another coordinate
/// system than the raster that the request names as a model.
///
/// `cloud` are points that are open already, in place of the inputs of the request; null for those.
RunInput openInput(const RasterRequest& request, const std::shared_ptr<const PointCloud>& cloud,
                   const RunProgress& progress);

/// Opens a raster of ground below a cloud in that system, with no more than `mostBytes` in memory. Throws
/// InputError for one in another system, or in none.
std::shared_ptr<const GroundSurface> openGround(const std::string& raster, const std::string& system,
                                                std::uint64_t mostBytes);

/// Of the memory of a run what a raster of ground may take.
std::uint64_t bytesForGround(std::uint64_t memory);

/// Where what does not fit into memory goes.
std::filesystem::path scratchOf(const RasterRequest& request);

} // namespace Tilewright::Io
