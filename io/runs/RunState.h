/// RunState: a run that is planned and measured as bytes, so that other processes need not measure again.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <io/clouds/PointCloud.h>
#include <io/rasters/RasterDescription.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// A run, and its files with the types and nodata values that they have.
struct SettledRun {
    PlannedRun run;
    std::vector<RasterDescription> files;
};

/// Little-endian, and nothing lies between:
///
/// - 8 bytes: length of the plan, and its text (io/runs/PlanFile.h);
/// - for each output its type (1), which kind of nodata value it has (1: none, a number, an integer), and
///   that (8);
/// - 8: points that are in no stretch;
/// - 52 for each stretch: source (4), first (8), count (8), low x, y, high x, y.
///
/// Bounds and ranges, which only planning needs, stay behind, as do paths that mean something else elsewhere:
/// those of the plan should be absolute.
std::string bytesOfRun(const SettledRun& settled);

/// The cloud may be null for the files of the plan. Throws InputError for bytes of another version, for
/// files that have changed since, and for a cloud of other points.
SettledRun runOfBytes(std::string_view bytes, const std::shared_ptr<const PointCloud>& cloud,
                      const RunProgress& progress);

} // namespace Tilewright::Io
