#include <apps/tilewright/Json.h>

#include <algorithm>
#include <bit>
#include <string>
#include <string_view>

namespace Tilewright::App {

namespace {

/// Whether a text that starts with a byte beyond ASCII is one character.
bool isCharacter(std::string_view text) { return Json::accept('"' + std::string(text) + '"'); }

/// The JSON library would replace a truncated character as a whole, which hides how many bytes a name has.
std::string asUtf8(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        // The first byte of a character begins with as many ones as it has bytes, or with none for ASCII.
        const int ones = std::countl_one(static_cast<unsigned char>(text[0]));
        const std::string_view character = text.substr(0, static_cast<std::size_t>(std::max(1, ones)));
        const bool isValid = ones == 0 || isCharacter(character);
        result += isValid ? character : "\ufffd";
        text.remove_prefix(isValid ? character.size() : 1);
    }
    return result;
}

void mendTexts(Json& value) {
    if (value.is_string())
        value = asUtf8(value.get_ref<const std::string&>());
    else if (value.is_structured())
        std::ranges::for_each(value, mendTexts);
}

} // namespace

void print(std::ostream& out, Json document) {
    mendTexts(document);
    out << document.dump(2) << '\n';
}

} // namespace Tilewright::App
