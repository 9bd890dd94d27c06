#include <io/runs/JsonValues.h>

#include <charconv>
#include <string_view>

namespace Tilewright::Io {

namespace {

constexpr const char* bytesMember = "bytes";

struct SpecialNumber {
    const char* word;
    double number;
};

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::array<SpecialNumber, 4> specialNumbers = {
    {{"inf", infinity}, {"-inf", -infinity}, {"nan", nan}, {"-nan", -nan}}};

bool isSame(double a, double b) {
    return std::signbit(a) == std::signbit(b) && (a == b || (std::isnan(a) && std::isnan(b)));
}

bool isUtf8(const std::string& text) {
    try {
        static_cast<void>(Json(text).dump());
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

std::optional<std::string> bytesOfHex(std::string_view digits) {
    if (digits.size() % 2 != 0)
        return std::nullopt;
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        unsigned byte = 0;
        const char* const end = digits.data() + i + 2;
        if (std::from_chars(digits.data() + i, end, byte, 16).ptr != end)
            return std::nullopt;
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

} // namespace

Json jsonOfText(const std::string& text) {
    if (isUtf8(text))
        return text;
    constexpr std::string_view digits = "0123456789abcdef";
    std::string hex;
    for (const char c : text) {
        hex += digits[static_cast<unsigned char>(c) / 16];
        hex += digits[static_cast<unsigned char>(c) % 16];
    }
    return {{bytesMember, hex}};
}

std::optional<std::string> textOfJson(const Json& json) {
    if (json.is_string())
        return json.get<std::string>();
    if (!json.is_object() || !json.contains(bytesMember) || !json[bytesMember].is_string())
        return std::nullopt;
    return bytesOfHex(json[bytesMember].get_ref<const std::string&>());
}

Json jsonOfNumber(double number) {
    for (const SpecialNumber& special : specialNumbers)
        if (isSame(number, special.number))
            return special.word;
    return number;
}

std::optional<double> numberOfJson(const Json& json) {
    if (json.is_number())
        return json.get<double>();
    for (const SpecialNumber& special : specialNumbers)
        if (json.is_string() && json.get_ref<const std::string&>() == special.word)
            return special.number;
    return std::nullopt;
}

} // namespace Tilewright::Io
