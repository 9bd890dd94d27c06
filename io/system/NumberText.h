/// NumberText: numbers and names as people read and write them, whatever the user's locale.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// The number that the whole of a text stands for, with a point for the decimals; none for any other text and
/// for a number that is too large. Also reads inf and nan.
TILEWRIGHT_API std::optional<double> parseDouble(std::string_view text);
TILEWRIGHT_API std::optional<std::uint64_t> parseCount(std::string_view text);
/// A number of bytes, with K, M, G or T for the powers of 1024: "512M", "1.5G".
TILEWRIGHT_API std::optional<std::uint64_t> parseBytes(std::string_view text);

/// The shortest text that reads back as the same number.
TILEWRIGHT_API std::string exactNumber(double number);
/// With so many digits at most.
TILEWRIGHT_API std::string roundedNumber(double number, int digits);
/// As parseBytes reads it, to two or three digits: "1.5 GiB".
TILEWRIGHT_API std::string readableBytes(std::uint64_t bytes);

/// The text with blanks for all characters that would move the cursor or worse: names in files are anybody's.
TILEWRIGHT_API std::string printable(std::string_view text);

/// A word that a shell takes for `text`.
TILEWRIGHT_API std::string shellWord(const std::string& text);

} // namespace Tilewright::Io
