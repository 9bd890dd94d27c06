#include <io/runs/BandWords.h>

#include <algorithm>

#include <io/runs/BandFilters.h>

namespace Tilewright::Io {

namespace {

bool isSameWord(const std::string& a, const std::string& b) {
    return std::ranges::equal(a, b, [](char one, char other) {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c; };
        return lower(one) == lower(other);
    });
}

bool isAmong(const std::string& word, const std::vector<std::string>& words) {
    return std::ranges::any_of(words, [&](const std::string& known) { return isSameWord(word, known); });
}

} // namespace

const std::vector<std::string>& filterWords() {
    static const std::vector<std::string> words = [] {
        std::vector<std::string> all;
        for (const BandFilter& filter : bandFilters())
            all.emplace_back(filter.word);
        return all;
    }();
    return words;
}

std::vector<std::string> filterWordsFor(const std::string& field) {
    std::vector<std::string> words;
    for (const BandFilter& filter : bandFilters())
        if (suits(filter, field))
            words.emplace_back(filter.word);
    return words;
}

const std::vector<std::string>& bandWords() {
    static const std::vector<std::string> words = {"count", "rgb", "density", "celltype", "alpha"};
    return words;
}

std::pair<std::string, std::optional<std::string>> splitCondition(const std::string& band) {
    // From the end, as names of fields may have brackets in them.
    int depth = 0;
    for (std::size_t i = band.size(); i-- > 0 && band.ends_with(']');) {
        depth += band[i] == ']' ? 1 : band[i] == '[' ? -1 : 0;
        if (depth == 0)
            return {band.substr(0, i), band.substr(i + 1, band.size() - i - 2)};
    }
    return {band, std::nullopt};
}

bool looksLikeBand(const std::string& word) {
    const std::string plain = splitCondition(word).first;
    const std::string what = plain.substr(plain.find('=') + 1);
    if (isAmong(what, bandWords()))
        return true;
    const std::size_t colon = what.find(':');
    if (colon == 0 || colon == std::string::npos)
        return false;
    const std::size_t end = std::min(what.find(':', colon + 1), what.size());
    return isAmong(what.substr(colon + 1, end - colon - 1), filterWords());
}

} // namespace Tilewright::Io
