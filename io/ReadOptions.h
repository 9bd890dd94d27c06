/// ReadOptions: what the readers share while a cloud is opened.
#pragma once

#include <memory>

#include <io/Interruption.h>
#include <io/ScratchSpace.h>

namespace Tilewright::Io {

struct ReadOptions {
    std::shared_ptr<ScratchSpace> scratch;
    /// Asked whether to go on; may be empty.
    StepReport report;
};

} // namespace Tilewright::Io
