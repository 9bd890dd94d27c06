/// BandWords: the words that bands are asked for with.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// Mean, Min and so on.
TILEWRIGHT_API const std::vector<std::string>& filterWords();
/// Those that make sense for a field.
TILEWRIGHT_API std::vector<std::string> filterWordsFor(const std::string& field);
/// Bands that are a word by themselves: count, rgb and so on.
TILEWRIGHT_API const std::vector<std::string>& bandWords();

/// Whether a word is a band, to judge by its looks: FIELD:FILTER or a word for a band, with or without a name
/// in front.
TILEWRIGHT_API bool looksLikeBand(const std::string& word);

/// A band without the condition that it may have in brackets at its end, and that condition.
TILEWRIGHT_API std::pair<std::string, std::optional<std::string>> splitCondition(const std::string& band);

} // namespace Tilewright::Io
