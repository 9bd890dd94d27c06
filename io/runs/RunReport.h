/// RunReport: what came of a run, for whoever asked for it.
#pragma once

#include <io/runs/Rastering.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// Of files that are finished.
RasterReport reportOn(const RunPlan& plan, const RasteredFiles& files);

} // namespace Tilewright::Io
