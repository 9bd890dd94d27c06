#include <apps/tilewright/Json.h>

#include <cmath>

#include <io/system/NumberText.h>

namespace Tilewright::App {

namespace {

bool isContinuation(unsigned char byte) { return (byte & 0xc0) == 0x80; }

/// The length of the character of UTF-8 at the start of a text that is not empty; 0 for what is none.
std::size_t characterLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80)
        return 1;
    const std::size_t length = first >= 0xc2 && first < 0xe0   ? 2
                               : first >= 0xe0 && first < 0xf0 ? 3
                               : first >= 0xf0 && first < 0xf5 ? 4
                                                               : 0;
    if (length == 0 || text.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if (!isContinuation(static_cast<unsigned char>(text[i])))
            return 0;
    const auto second = static_cast<unsigned char>(text[1]);
    // Longer than need be, half of a pair, or past the last character.
    const bool isWrong = (first == 0xe0 && second < 0xa0) || (first == 0xed && second >= 0xa0) ||
                         (first == 0xf0 && second < 0x90) || (first == 0xf4 && second >= 0x90);
    return isWrong ? 0 : length;
}

std::string quoted(std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result = "\"";
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        const auto byte = static_cast<unsigned char>(text[0]);
        if (length == 0)
            result += "\\ufffd";
        else if (byte == '"' || byte == '\\')
            result += {'\\', text[0]};
        else if (byte < 0x20 || byte == 0x7f)
            result += {'\\', 'u', '0', '0', digits[byte >> 4], digits[byte & 0xf]};
        else
            result += text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result + '"';
}

} // namespace

void JsonWriter::separate() {
    if (Depth == 0)
        return;
    Out << (IsFirst ? "\n" : ",\n") << std::string(static_cast<std::size_t>(2 * Depth), ' ');
    IsFirst = false;
}

void JsonWriter::startValue() {
    if (!HasKey)
        separate();
    HasKey = false;
}

void JsonWriter::begin(char bracket) {
    startValue();
    Out << bracket;
    ++Depth;
    IsFirst = true;
}

void JsonWriter::end(char bracket) {
    --Depth;
    if (!IsFirst)
        Out << '\n' << std::string(static_cast<std::size_t>(2 * Depth), ' ');
    Out << bracket;
    IsFirst = false;
    if (Depth == 0)
        Out << '\n';
}

void JsonWriter::key(std::string_view name) {
    separate();
    Out << quoted(name) << ": ";
    HasKey = true;
}

void JsonWriter::null() {
    startValue();
    Out << "null";
}

void JsonWriter::value(std::string_view text) {
    startValue();
    Out << quoted(text);
}

void JsonWriter::value(double number) {
    startValue();
    Out << (std::isfinite(number) ? Io::exactNumber(number) : "null");
}

void JsonWriter::value(bool truth) {
    startValue();
    Out << (truth ? "true" : "false");
}

void JsonWriter::count(std::uint64_t number) {
    startValue();
    Out << std::to_string(number);
}

void JsonWriter::value(std::span<const double> numbers) {
    startValue();
    Out << '[';
    for (std::size_t i = 0; i < numbers.size(); ++i)
        Out << (i == 0 ? "" : ", ") << (std::isfinite(numbers[i]) ? Io::exactNumber(numbers[i]) : "null");
    Out << ']';
}

} // namespace Tilewright::App
