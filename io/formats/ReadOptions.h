/// ReadOptions: what the readers share while a cloud is opened.
#pragma once

#include <memory>

#include <io/system/ScratchSpace.h>
#include <io/system/StepReport.h>

namespace Tilewright::Io {

struct ReadOptions {
    std::shared_ptr<ScratchSpace> scratch;
    /// Whether pages of mapped files may stay in memory.
    bool keepPages = false;
    /// Asked whether to go on; may be empty.
    StepReport report;
};

} // namespace Tilewright::Io
