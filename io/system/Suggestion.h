/// Suggestion: what somebody may have meant by a word that is not known.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// Of `known` the word that `word` becomes by the fewest slips: a letter too many, missing, another one, or
/// two swapped. Letter case counts less than that. Empty if none is near.
TILEWRIGHT_API std::string nearestWord(std::string_view word, std::span<const std::string> known);

/// "; the nearest is WORD", or nothing if no word is near.
TILEWRIGHT_API std::string nearestHint(std::string_view word, std::span<const std::string> known);

} // namespace Tilewright::Io
