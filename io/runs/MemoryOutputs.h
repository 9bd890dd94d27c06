/// MemoryOutputs: outputs of a run that are arrays.
#pragma once

#include <memory>
#include <vector>

#include <io/blocks/BlockSink.h>
#include <io/runs/MemoryRun.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// Without what means something for files alone.
RasterRequest withoutFiles(RasterRequest request);

/// An output without pixels. Throws UsageError for a nodata value that is none of the pixels' type.
MemoryOutput outputOf(const PlannedOutput& planned, const RasterDescription& description);

/// Arrays for a window of all outputs, empty yet, and a sink into them. Throws as outputOf() does.
std::unique_ptr<BlockSink> openArrays(const RunPlan& plan, const std::vector<RasterDescription>& descriptions,
                                      const PixelWindow& window, std::vector<MemoryOutput>& outputs);

} // namespace Tilewright::Io
