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

std::string writtenAs(const BandFilter& filter) { return filter.written ? filter.written : filter.word; }

std::vector<std::string> wordsOf(std::span<const BandFilter> filters) {
    std::vector<std::string> words;
    for (const BandFilter& filter : filters)
        words.push_back(writtenAs(filter));
    return words;
}

/// The filter as a band might have it, with a usual number where it takes one.
std::string exampleOf(const BandFilter& filter) {
    switch (filter.form) {
    case BandFilter::Form::Percent:
        return "P95";
    case BandFilter::Form::Limit:
        return std::string(filter.word) + "(2)";
    case BandFilter::Form::Radius:
        return std::string(filter.word) + "(1)";
    case BandFilter::Form::Word:
        break;
    }
    return filter.word;
}

const char* pixelsOf(const BandFilter& filter) {
    switch (filter.result) {
    case BandFilter::Result::OneOfThem:
        return "as the field";
    case BandFilter::Result::Widened:
        return "Float32; Float64 for fields of more than 16 bits";
    case BandFilter::Result::Wide:
        return "Float64";
    case BandFilter::Result::Count:
        return "UInt32";
    case BandFilter::Result::Single:
        break;
    }
    return "Float32";
}

/// Whether the word is that of a filter, numbers or not.
bool looksLikeFilter(const std::string& word) {
    const std::size_t end = std::min(word.find('('), word.size());
    const auto isIt = [&](const BandFilter& filter) {
        if (filter.form == BandFilter::Form::Percent)
            return word.size() > 1 && (word[0] == 'P' || word[0] == 'p') &&
                   std::string_view(".0123456789").find(word[1]) != std::string_view::npos;
        return isSameWord(word, filter.word) ||
               (filter.form != BandFilter::Form::Word && isSameWord(word.substr(0, end), filter.word));
    };
    return std::ranges::any_of(bandFilters(), isIt) || std::ranges::any_of(requestFilters(), isIt);
}

} // namespace

const std::vector<std::string>& filterWords() {
    static const std::vector<std::string> words = wordsOf(bandFilters());
    return words;
}

const std::vector<std::string>& requestWords() {
    static const std::vector<std::string> words = wordsOf(requestFilters());
    return words;
}

std::vector<std::string> filterWordsFor(const std::string& field) {
    std::vector<std::string> words;
    for (const BandFilter& filter : bandFilters())
        if (suits(filter, field))
            words.push_back(exampleOf(filter));
    return words;
}

std::vector<BandRow> bandTable() {
    std::vector<BandRow> rows;
    for (const BandFilter& filter : bandFilters())
        rows.push_back({(suits(filter, "") ? "F:" : "Height:") + writtenAs(filter), filter.meaning,
                        pixelsOf(filter), filter.formula});
    rows.push_back({"rgb", "mean colour, with transparency; four bands", "Byte or UInt16", ""});
    rows.push_back({"rgb:FILTER", "the same of a filter that gives values, such as rgb:AtHighest",
                    "Byte or UInt16", ""});
    rows.push_back({"count", "number of points; never wraps", "UInt32", ""});
    rows.push_back({"density", "the same in the library's 16 bits", "UInt16", ""});
    rows.push_back({"celltype", "0 for cells with data, else 1", "Byte", ""});
    rows.push_back({"alpha", "255 for cells with data, else 0", "Byte", ""});
    rows.push_back({"filled", "1 where the value of the first band came by --fill, else 0", "Byte", ""});
    return rows;
}

const std::vector<std::string>& bandWords() {
    static const std::vector<std::string> words = {"count", "rgb", "density", "celltype", "alpha", "filled"};
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
    return looksLikeFilter(what.substr(colon + 1, end - colon - 1));
}

} // namespace Tilewright::Io
