#include <tilewright/values/StringUtil.h>

#include <string_view>

namespace {

std::string_view upTo(const char* text, std::size_t length, char terminator) {
    const std::string_view whole(text, length);
    return whole.substr(0, whole.find(terminator));
}

} // namespace

void splitAtChar(const char* text, std::size_t length, std::vector<std::string>& tokens, char delimiter,
                 bool keepEmpty, char terminator) {
    std::string_view rest = upTo(text, length, terminator);
    for (auto end = rest.find(delimiter); end != std::string_view::npos; end = rest.find(delimiter)) {
        if (end > 0 || keepEmpty)
            tokens.emplace_back(rest.substr(0, end));
        rest.remove_prefix(end + 1);
    }
    if (!rest.empty())
        tokens.emplace_back(rest);
}

void splitAtAnyOf(const char* text, std::size_t length, std::vector<std::string>& tokens,
                  const std::string& delimiters) {
    std::string_view rest = upTo(text, length, '\0');
    for (auto end = rest.find_first_of(delimiters); end != std::string_view::npos;
         end = rest.find_first_of(delimiters)) {
        tokens.emplace_back(rest.substr(0, end));
        rest.remove_prefix(end + 1);
    }
    tokens.emplace_back(rest);
}

std::vector<std::string> Tilewright::splitAtColon(const std::string& text, char delimiter) {
    std::vector<std::string> tokens;
    splitAtChar(text.data(), text.size(), tokens, delimiter, true, '\0');
    return tokens;
}

std::string Larder::StringUtil::ltrim(const std::string& text) {
    const auto start = text.find_first_not_of(" \t\n\r");
    return start == std::string::npos ? text : text.substr(start);
}

std::string Larder::StringUtil::rtrim(const std::string& text) {
    return text.substr(0, text.find_first_of("\t\n\r"));
}
