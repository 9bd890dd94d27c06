/// RasterRun: point files to raster files, as the program and whatever else embeds it do.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include <io/clouds/PointCloud.h>
#include <io/runs/RasterRequest.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Is called with a step of the run, how much of it is done, and in what unit; false asks to stop the run.
/// May be called from several threads, of one step at a time.
using RunProgress = std::function<bool(std::string_view step, std::uint64_t done, std::uint64_t total,
                                       std::string_view unit)>;

/// Reads, rasters and writes. Throws UsageError for a request that makes no sense, Interruption if `progress`
/// answers false, and Error otherwise, with nothing written.
TILEWRIGHT_API RasterReport runRaster(const RasterRequest& request, const RunProgress& progress = {});

/// The same for points that are open already, such as arrays: the inputs of the request are not looked at.
TILEWRIGHT_API RasterReport runRaster(const std::shared_ptr<const PointCloud>& cloud,
                                      const RasterRequest& request, const RunProgress& progress = {});

} // namespace Tilewright::Io
