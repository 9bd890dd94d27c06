/// CodingError: compressed points that are no such points.
#pragma once

#include <io/system/Errors.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// The text says what is wrong with a chunk or a table, as in "its coded bytes end too early". It names
/// neither file nor chunk, which whoever found the bytes knows.
class TILEWRIGHT_API CodingError : public InputError {
public:
    using InputError::InputError;
};

} // namespace Tilewright::Io
