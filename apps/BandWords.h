/// BandWords: the words that bands are asked for with.
#pragma once

#include <string>
#include <vector>

namespace Tilewright::App {

/// Mean, Min and so on.
const std::vector<std::string>& filterWords();
/// Bands that are a word by themselves: count, rgb and so on.
const std::vector<std::string>& bandWords();

/// Whether a word is a band, to judge by its looks: FIELD:FILTER or a word for a band, with or without a name
/// in front.
bool looksLikeBand(const std::string& word);

} // namespace Tilewright::App
