#pragma once

#include <tilewright/export.h>

namespace Larder {

/// Does nothing. It stands at the head of every out-of-line access path, so that a debugger can stop there.
TILEWRIGHT_API void breakpoint();

} // namespace Larder
