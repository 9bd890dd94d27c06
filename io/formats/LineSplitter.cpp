#include <io/formats/LineSplitter.h>

#include <algorithm>

namespace Tilewright::Io {

namespace {

constexpr std::string_view anyBlanks = " \t";

void skipBlanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(anyBlanks), text.size()));
}

} // namespace

std::string_view trimBlanks(std::string_view text) {
    skipBlanks(text);
    return text.substr(0, text.find_last_not_of(anyBlanks) + 1);
}

bool LineSplitter::split(std::string_view line, std::vector<std::string_view>& values) const {
    values.clear();
    if (separator == blanks) {
        line = trimBlanks(line);
        while (!line.empty()) {
            std::string_view value;
            if (line.front() == '"') {
                if (!takeQuoted(line, value))
                    return false;
            } else {
                value = line.substr(0, line.find_first_of(anyBlanks));
                line.remove_prefix(value.size());
            }
            values.push_back(value);
            skipBlanks(line);
        }
        return true;
    }
    while (true) {
        // A tab may be what separates.
        if (separator != '\t')
            skipBlanks(line);
        std::string_view value;
        if (line.starts_with('"')) {
            if (!takeQuoted(line, value))
                return false;
        } else {
            value = line.substr(0, line.find(separator));
            line.remove_prefix(value.size());
            value = trimBlanks(value);
        }
        values.push_back(value);
        if (line.empty())
            return true;
        line.remove_prefix(1);
    }
}

/// A doubled quote stands for one in the text, and does not end it.
bool LineSplitter::takeQuoted(std::string_view& rest, std::string_view& value) const {
    std::size_t close = rest.find('"', 1);
    while (close != std::string_view::npos && rest.substr(close + 1).starts_with('"'))
        close = rest.find('"', close + 2);
    if (close == std::string_view::npos)
        return false;
    value = rest.substr(1, close - 1);
    rest.remove_prefix(close + 1);
    if (separator == blanks)
        return rest.empty() || anyBlanks.find(rest.front()) != std::string_view::npos;
    if (separator != '\t')
        skipBlanks(rest);
    return rest.empty() || rest.front() == separator;
}

} // namespace Tilewright::Io
