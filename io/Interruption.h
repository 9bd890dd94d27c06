#pragma once

#include <io/Errors.h>
#include <tilewright/export.h>

#include <cstdint>
#include <functional>

namespace Tilewright::Io {

/// The user has asked to stop.
class TILEWRIGHT_API Interruption : public Error {
public:
    Interruption() : Error("interrupted") {}
};

/// Told how much of a step is done; false asks to stop it.
using StepReport = std::function<bool(std::uint64_t done, std::uint64_t total)>;

} // namespace Tilewright::Io
