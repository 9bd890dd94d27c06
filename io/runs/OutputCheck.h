/// OutputCheck: whether the files of a run can be written where they are to be.
#pragma once

#include <filesystem>
#include <vector>

#include <io/outputs/OutputGuard.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// Knows the inputs of the plan.
OutputGuard guardOf(const RunPlan& plan);

/// Throws OutputError if two of the files that a run makes are one.
void expectDistinct(const std::vector<std::filesystem::path>& files);

} // namespace Tilewright::Io
