/// LineSplitter: the values of a line.
#pragma once

#include <string_view>
#include <vector>

namespace Tilewright::Io {

/// Without the blanks on both sides.
std::string_view trimBlanks(std::string_view text);

/// What lies between the values of all lines of a text.
class LineSplitter {
public:
    static constexpr char blanks = ' ';

    /// `separator` is a comma, a semicolon, a tab, or `blanks`: any number of spaces and tabs.
    explicit LineSplitter(char separator) : separator(separator) {}

    /// The values without the blanks around them and without quotes, valid as long as `line` is. False if a
    /// quote is not closed, or not at the end of its value.
    bool split(std::string_view line, std::vector<std::string_view>& values) const;

private:
    bool takeQuoted(std::string_view& rest, std::string_view& value) const;

    char separator;
};

} // namespace Tilewright::Io
