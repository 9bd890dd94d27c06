/// BandWords: the words that bands are asked for with.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// Mean, Min, P0 to P100 and so on.
TILEWRIGHT_API const std::vector<std::string>& filterWords();
/// Those of requests.
TILEWRIGHT_API const std::vector<std::string>& requestWords();
/// Those that make sense for a field, with numbers where they need some.
TILEWRIGHT_API std::vector<std::string> filterWordsFor(const std::string& field);
/// Bands that are a word by themselves: count, rgb and so on.
TILEWRIGHT_API const std::vector<std::string>& bandWords();

/// What there is to know of a band.
struct BandRow {
    std::string band;
    std::string meaning;
    std::string pixels;
    std::string formula;
};

/// Every kind of band, with F in the place of a field.
TILEWRIGHT_API std::vector<BandRow> bandTable();

/// Whether a word is a band, to judge by its looks: FIELD:FILTER or a word for a band, with or without a name
/// in front.
TILEWRIGHT_API bool looksLikeBand(const std::string& word);

/// A band without the condition that it may have in brackets at its end, and that condition.
TILEWRIGHT_API std::pair<std::string, std::optional<std::string>> splitCondition(const std::string& band);

} // namespace Tilewright::Io
