/// MemoryFilling: fills the holes of outputs that are arrays.
#pragma once

#include <cstdint>
#include <vector>

#include <io/blocks/BlockSink.h>
#include <io/runs/MemoryRun.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// So many pixels around a window decide what its holes are filled with; 0 if none are.
std::uint64_t reachOfFilling(const RunPlan& plan);

/// Fills the holes of `wanted` as they are filled in files; what is around it in the window, which has that
/// reach or ends with the raster, comes out as anything. Makes working files in the scratch folder of the
/// plan, and throws as fillHoles() does. `wanted` is made of whole blocks.
void fillOutputs(const RunPlan& plan, const PixelWindow& window, const PixelWindow& wanted,
                 std::vector<MemoryOutput>& outputs);

} // namespace Tilewright::Io
