/// Resources: how memory and threads are shared out.
#pragma once

#include <io/runs/BandPlan.h>
#include <io/runs/RasterRequest.h>

namespace Tilewright::Io {

struct Resources {
    unsigned threads = 1;
    /// That a thread loads at a time.
    std::uint64_t points = mostPointsAtATime;
    /// Bytes for points that have to be sorted.
    std::uint64_t sorting = 0;
    /// Bytes that the threads take at their peak, roughly.
    std::uint64_t working = 0;
};

std::uint64_t memoryToUse(const RasterRequest& options);
unsigned threadsWanted(const RasterRequest& options);

/// Bytes that the states of all cells may take, so that one pass over the points is enough. Where there are
/// far more cells than points, blocks are quicker than to fill the memory.
std::uint64_t mostBytesOfStates(const RasterRequest& options, std::uint64_t taken, std::uint64_t points);

/// Takes fewer threads than wanted where memory is short, and fewer points at a time where it is shorter.
/// `taken` is what mapped files take of it.
Resources shareOut(const RasterRequest& options, const BandPlan& plan, std::uint64_t taken);

} // namespace Tilewright::Io
