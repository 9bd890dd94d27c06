/// RunReport: what came of a run, for whoever asked for it.
#pragma once

#include <vector>

#include <io/runs/Rastering.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// All but what the pixels of the bands are like.
RasterReport reportOnBlocks(const RunPlan& plan, const RasteredBlocks& rastered);

/// The type and the nodata value of a band, as they came to be.
void describeFile(const RasterDescription& file, BandReport& band);

/// With the statistics of the bands of each output.
RasterReport reportOn(const RunPlan& plan, const RasteredBlocks& rastered,
                      const std::vector<std::vector<BandStatistics>>& statistics);

/// Of files that are finished.
RasterReport reportOn(const RunPlan& plan, const RasteredFiles& files);

} // namespace Tilewright::Io
