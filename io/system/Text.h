/// Messages: foreign text in the lines that a user reads.
#pragma once

#include <string>
#include <string_view>

namespace Tilewright::Io {

/// In one line, without what would make a terminal do something.
inline std::string oneLine(std::string_view text) {
    std::string line(text);
    for (char& c : line)
        c = static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
    return line;
}

/// A piece of a file: short and between quotes.
inline std::string shown(std::string_view text) {
    constexpr std::size_t longest = 40;
    std::string piece(1, '\'');
    piece += oneLine(text.substr(0, longest));
    return piece + (text.size() > longest ? "...'" : "'");
}

} // namespace Tilewright::Io
