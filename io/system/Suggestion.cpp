#include <io/system/Suggestion.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Tilewright::Io {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Another case is a quarter of a slip.
constexpr std::size_t slip = 4;
constexpr std::size_t otherCase = 1;

std::size_t exchange(char a, char b) { return a == b ? 0 : lower(a) == lower(b) ? otherCase : slip; }

std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> last, row, next(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        next[j] = slip * j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        last = row;
        row = next;
        next[0] = slip * i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            next[j] =
                std::min({row[j] + slip, next[j - 1] + slip, row[j - 1] + exchange(a[i - 1], b[j - 1])});
            const bool isSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (isSwapped)
                next[j] = std::min(next[j], last[j - 2] + slip);
        }
    }
    return next[b.size()];
}

} // namespace

std::string nearestWord(std::string_view word, std::span<const std::string> known) {
    constexpr std::size_t longestWord = 64;
    const std::size_t dashes = std::min(word.find_first_not_of('-'), word.size());
    const std::size_t letters = word.size() - dashes;
    if (letters < 2 || letters > longestWord)
        return "";
    std::string nearest;
    // A slip in three letters.
    std::size_t least = slip * std::max<std::size_t>(1, letters / 3) + 1;
    for (const std::string& one : known)
        if (const std::size_t d = distance(word, one); d < least) {
            least = d;
            nearest = one;
        }
    return nearest;
}

std::string nearestHint(std::string_view word, std::span<const std::string> known) {
    const std::string nearest = nearestWord(word, known);
    return nearest.empty() ? "" : "; the nearest is " + nearest;
}

} // namespace Tilewright::Io
