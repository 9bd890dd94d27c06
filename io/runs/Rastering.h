/// Rastering: makes the files of a plan, as often as it takes to find nodata values.
#pragma once

#include <string>
#include <vector>

#include <io/outputs/OutputGuard.h>
#include <io/rasters/RasterWriter.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// Files with all their pixels, under hidden names yet.
struct RasteredFiles {
    /// With the types and nodata values that it came to.
    std::vector<RasterDescription> descriptions;
    std::vector<RasterWriter> writers;
    JobResult result;
    std::vector<std::string> notes;
};

/// Throws as runJob() does, InputError if a file of the cloud changes meanwhile, and OutputError if no value
/// is left for cells without data.
RasteredFiles rasterFiles(const PlannedRun& run, const OutputGuard& guard, const RunProgress& progress);

} // namespace Tilewright::Io
