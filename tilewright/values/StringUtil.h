/// StringUtil: the text routines that requests, selections and range expressions are read with.
///
/// Each has habits of its own at the edges, and the grammars rest on them: the two ways of cutting a text are
/// not interchangeable. All work on bytes and know no encoding.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <tilewright/export.h>

/// Appends the tokens of `text` between `delimiter`s to `tokens`.
///
/// The text ends at `length` bytes or before its first `terminator`. Empty tokens are kept with `keepEmpty`,
/// but never an empty one at the end: "a:b:" gives a and b, "::" two empty tokens, and an empty text none.
TILEWRIGHT_API void splitAtChar(const char* text, std::size_t length, std::vector<std::string>& tokens,
                                char delimiter, bool keepEmpty, char terminator);

/// Appends the tokens of `text` between bytes of the set `delimiters` to `tokens`, empty ones included:
/// always one token more than there are delimiters. The text ends at `length` bytes or before its first zero
/// byte.
TILEWRIGHT_API void splitAtAnyOf(const char* text, std::size_t length, std::vector<std::string>& tokens,
                                 const std::string& delimiters);

namespace Tilewright {

/// The tokens of `text` as splitAtChar cuts it at `delimiter`, with empty tokens kept. Requests cut
/// themselves at colons with it, hence the name.
TILEWRIGHT_API std::vector<std::string> splitAtColon(const std::string& text, char delimiter);

} // namespace Tilewright

namespace Larder::StringUtil {

/// `text` from its first byte on that is not a blank, tab, newline or carriage return; a text of nothing else
/// comes back unchanged.
TILEWRIGHT_API std::string ltrim(const std::string& text);

/// `text` up to its first tab, newline or carriage return. It is a cut at the first control character and no
/// trim of the end: trailing blanks stay, and what follows an inner tab is lost.
TILEWRIGHT_API std::string rtrim(const std::string& text);

} // namespace Larder::StringUtil
