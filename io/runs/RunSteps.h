/// RunSteps: the steps of a run as whoever watches it sees them.
#pragma once

#include <string_view>

#include <io/runs/RasterRun.h>
#include <io/system/StepReport.h>

namespace Tilewright::Io {

/// Reports of one step. `progress` and the texts must outlive the result.
inline StepReport reportOf(const RunProgress& progress, std::string_view step,
                           std::string_view unit = "points") {
    if (!progress)
        return {};
    return [&progress, step, unit](std::uint64_t done, std::uint64_t total) {
        return progress(step, done, total, unit);
    };
}

} // namespace Tilewright::Io
