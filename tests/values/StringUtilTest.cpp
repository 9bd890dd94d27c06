#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tilewright/values/StringUtil.h>

namespace {

using namespace std::string_literals;
using Larder::StringUtil::ltrim;
using Larder::StringUtil::rtrim;
using Tokens = std::vector<std::string>;

Tokens atColon(const std::string& text, bool keepEmpty = true, char terminator = '\0') {
    Tokens tokens;
    splitAtChar(text.data(), text.size(), tokens, ':', keepEmpty, terminator);
    return tokens;
}

TEST(SplitAtChar, KeepsEmptyTokensOnDemandButNeverOneAtTheEnd) {
    EXPECT_EQ(atColon("a::b:"), Tokens({"a", "", "b"}));
    EXPECT_EQ(atColon("::"), Tokens({"", ""}));
    EXPECT_EQ(atColon(":a:::b::", false), Tokens({"a", "b"}));
    EXPECT_EQ(Tilewright::splitAtColon("a;;b:c;", ';'), Tokens({"a", "", "b:c"}));
}

TEST(SplitAtChar, EndsAtTheTerminatorOrTheLengthAndAtNoOtherByte) {
    EXPECT_EQ(atColon("a:b\0:c"s), Tokens({"a", "b"}));
    EXPECT_EQ(atColon("a\0b:c;d"s, true, ';'), Tokens({"a\0b"s, "c"}));

    const char unterminated[] = {'a', ':', 'b', ':', 'c'};
    Tokens tokens{"before"};
    splitAtChar(unterminated, 3, tokens, ':', true, '\0');
    EXPECT_EQ(tokens, Tokens({"before", "a", "b"}));
}

TEST(SplitAtAnyOf, GivesOneTokenMoreThanThereAreDelimiters) {
    const auto atAnyOf = [](const std::string& text) {
        Tokens tokens;
        splitAtAnyOf(text.data(), text.size(), tokens, ";,");
        return tokens;
    };
    EXPECT_EQ(atAnyOf(";;"), Tokens({"", "", ""}));
    EXPECT_EQ(atAnyOf(""), Tokens({""}));
    EXPECT_EQ(atAnyOf("a;\0;b"s), Tokens({"a", ""}));
}

TEST(Trimming, HasItsHabits) {
    EXPECT_EQ(ltrim("\t \r\n\v x \t"), "\v x \t");
    EXPECT_EQ(ltrim("   "), "   ") << "a text of nothing but space is left alone";
    EXPECT_EQ(rtrim("abc  "), "abc  ") << "blanks stay";
    EXPECT_EQ(rtrim("ab \tcd"), "ab ") << "what follows a tab is lost";
}

} // namespace
