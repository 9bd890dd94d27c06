#pragma once

#include <tilewright/export.h>

namespace Larder {

/// Does nothing. Every out-of-line access path begins with a call of it, so that a debugger can stop there.
TILEWRIGHT_API void breakpoint();

} // namespace Larder
