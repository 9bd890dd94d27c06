/// NoDataForecast: chooses the nodata values of a raster before any of its pixels is handed out.
#pragma once

#include <io/runs/Rastering.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// The types and nodata values that rasterBlocks() would come to, and its notes on them. Where what was
/// measured does not show that no cell with data has the usual value, all blocks are made once to find out,
/// and their pixels dropped. Throws as rasterBlocks() does.
RasteredBlocks forecastNoData(const PlannedRun& run, const RunProgress& progress);

} // namespace Tilewright::Io
