#pragma once

#include <cstdint>
#include <functional>

#include <io/system/Errors.h>

namespace Tilewright::Io {

/// Is called with how much of a step is done; false asks to stop it, which ends in an Interruption.
using StepReport = std::function<bool(std::uint64_t done, std::uint64_t total)>;

} // namespace Tilewright::Io
