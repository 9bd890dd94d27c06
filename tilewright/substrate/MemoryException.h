#pragma once

#include <exception>

#include <tilewright/export.h>

namespace Larder {

/// Raised where an object under the reference scheme is asked for and there is none.
class TILEWRIGHT_API MemoryException : public std::exception {};

} // namespace Larder
