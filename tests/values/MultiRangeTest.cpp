#include "tests/property/Rules.h"

#include <iostream>
#include <regex>

namespace {

template <class T> using Pairs = std::vector<std::pair<T, T>>;

/// The set; it must complain of `text` if that is bad, and say nothing else.
template <class T> auto parsed(const std::string& text, bool isGood = true) {
    std::ostringstream printed;
    std::streambuf* const before = std::cout.rdbuf(printed.rdbuf());
    const Larder::Ref<Orrery::MultiRange<T>> ranges(text);
    std::cout.rdbuf(before);
    EXPECT_EQ(printed.str(),
              isGood ? "" : "MultiRange(const string& input), ERROR: invalid range: " + text + "\n");
    return ranges;
}
template <class T> Pairs<T> pairsOf(const std::string& text) { return *parsed<T>(text); }

template <class T> void expectAsRead(const std::string& text) {
    const auto pairs = Property::rangesOf<T>(text);
    const auto ranges = parsed<T>(text, pairs.has_value());
    Pairs<T> sorted = pairs.value_or(Pairs<T>());
    std::ranges::sort(sorted);
    T greatest = std::numeric_limits<T>::min();
    for (const auto& [a, b] : sorted)
        greatest = std::max(greatest, b);
    EXPECT_EQ(Pairs<T>(*ranges), sorted);
    EXPECT_EQ(ranges->leastBound, sorted.empty() ? std::numeric_limits<T>::max() : sorted.front().first);
    EXPECT_EQ(ranges->greatestBound, greatest);
    for (const int value : {-300, -7, -3, 0, 1, 2, 3, 5, 7, 9, 12, 44, 200, 300}) {
        const auto v = static_cast<T>(value);
        const auto holds = [v](const auto& pair) { return pair.first <= v && v <= pair.second; };
        EXPECT_EQ(ranges->contains(v), std::ranges::any_of(sorted, holds)) << value;
    }
}

TEST(MultiRange, ReadsRandomExpressionsAsTheGrammarDoes) {
    const char* const pieces[] = {"0", "7", "12", "3", "-", "2.7", "300", " ", ":", ":", ",", ";", "e2", "x"};
    const std::regex beyondInt("[0-9]{9}|e2[0-9]");
    std::mt19937_64 random(3);
    for (int round = 0; round < 5000 && !testing::Test::HasFailure(); ++round) {
        std::string text;
        for (std::size_t n = random() % 13; n > 0; --n)
            text += pieces[random() % std::size(pieces)];
        if (std::regex_search(text, beyondInt))
            continue;
        Quill::probeTypes(Quill::FieldValueTypes(), [&]<class T>(std::type_identity<T>) {
            SCOPED_TRACE(Larder::Typename(typeid(T)) + " of \"" + text + "\"");
            if constexpr (std::is_arithmetic_v<T>)
                expectAsRead<T>(text);
            return false;
        });
    }
}

TEST(MultiRange, HasTheHabitsOfItsGrammar) {
    const std::pair<std::string, Pairs<int>> cases[] = {
        {"0,2:3,5,6,7:12", {{0, 0}, {2, 3}, {5, 5}, {6, 6}, {7, 12}}},
        {"12:7;1:5,1:4", {{1, 4}, {1, 5}, {7, 12}}},
        {"1: , ", {{0, 0}, {0, 1}}},
        {"\t -3 :\t-1 ,4\t:9:9", {{-3, 0}, {4, 4}}}, // A control character ends its item.
        {"abc,2.7,-1.5e1", {{-15, -15}, {0, 0}, {2, 2}}}};
    for (const auto& [text, pairs] : cases)
        EXPECT_EQ(pairsOf<int>(text), pairs) << text;
    for (const char* const bad : {"5,1:2:3,7", "1-2", "--1", "1e-3", "3:4-", "1:2:"})
        EXPECT_TRUE(parsed<int>(bad, false)->empty());
}

TEST(MultiRange, CutsNumbersToTheWidthOfItsTypeAfterPuttingThemInOrder) {
    EXPECT_EQ(pairsOf<unsigned char>("-1,300:200"), (Pairs<unsigned char>{{200, 44}, {255, 255}}));
    EXPECT_EQ(pairsOf<unsigned>("4294967297:-1"), (Pairs<unsigned>{{~0U, 1}}));
    EXPECT_EQ(pairsOf<int>("3e9"), (Pairs<int>{{-2147483648, -2147483648}}));
    EXPECT_EQ(pairsOf<unsigned char>("4294967297"), (Pairs<unsigned char>{{0, 0}}));
    EXPECT_EQ(pairsOf<unsigned>("1e19"), (Pairs<unsigned>{{0, 0}})) << "beyond 64 bits, too";
    EXPECT_EQ(pairsOf<unsigned long long>("1e20"), (Pairs<unsigned long long>{{~0ULL, ~0ULL}}));
    EXPECT_EQ(parsed<unsigned long long>("18446744073709549568")->leastBound, 18446744073709549568ULL);
    EXPECT_FALSE(parsed<unsigned long long>("9007199254740992")->contains(9007199254740993));
}

} // namespace
