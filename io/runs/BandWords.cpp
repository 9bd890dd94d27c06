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

bool looksLikeBand(const std::string& word) {
    const std::string what = word.substr(word.find('=') + 1);
    if (isAmong(what, bandWords()))
        return true;
    const std::size_t colon = what.find(':');
    if (colon == 0 || colon == std::string::npos)
        return false;
    const std::size_t end = std::min(what.find(':', colon + 1), what.size());
    return isAmong(what.substr(colon + 1, end - colon - 1), filterWords());
}

} // namespace Tilewright::Io
