// The texts that people write: requests, selections, sets of ranges, and how they are cut into words.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <tilewright/tilewright.h>

namespace {

using Orrery::PhysicalSpace::point;
using Index = Quill::MultiIndex<3>;

void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "broken promise: %s\n", what);
        std::abort();
    }
}

std::string joined(const std::vector<std::string>& tokens, const std::string& delimiter) {
    std::string text;
    for (const std::string& token : tokens)
        text += (&token == tokens.data() ? "" : delimiter) + token;
    return text;
}

void cut(const std::string& text) {
    const std::string whole = text.substr(0, text.find('\0'));
    std::vector<std::string> tokens;
    splitAtAnyOf(text.data(), text.size(), tokens, ":");
    require(joined(tokens, ":") == whole, "splitAtAnyOf loses nothing");
    tokens.clear();
    splitAtAnyOf(text.data(), text.size(), tokens, ";,@");
    require(tokens.size() == 1 + static_cast<std::size_t>(std::ranges::count_if(
                                     whole, [](char c) { return c == ';' || c == ',' || c == '@'; })),
            "splitAtAnyOf gives a token more than there are delimiters");

    const std::string rejoined = joined(Tilewright::splitAtColon(text, ':'), ":");
    require(rejoined == whole || rejoined + ":" == whole, "splitAtColon loses a last colon at most");
    std::vector<std::string> filled;
    splitAtChar(text.data(), text.size(), filled, ':', false, 'X');
    require(std::ranges::none_of(filled, &std::string::empty), "empty tokens are only kept on demand");

    const std::string right = Larder::StringUtil::rtrim(text);
    const std::string left = Larder::StringUtil::ltrim(text);
    require(text.starts_with(right) && text.ends_with(left), "trimming takes from the ends alone");
}

/// std::is_eq fails on what is not a number, which compares to nothing.
template <class T> bool isNumber(T value) { return value == value; }

template <class T> void readRanges(const std::string& text) {
    const Larder::Ref<Orrery::MultiRange<T>> set(text);
    const Orrery::MultiRange<T>& ranges = *set;
    require(ranges.empty() || !isNumber(ranges.front().first) || ranges.leastBound == ranges.front().first,
            "the least bound is that of the first range");
    for (const auto& [first, second] : ranges) {
        if (!isNumber(first) || !isNumber(second))
            continue;
        if (first <= second)
            require(ranges.contains(first) && ranges.contains(second), "a range holds its ends");
        require(second <= ranges.greatestBound, "no range ends above the greatest bound");
    }
    if constexpr (std::is_integral_v<T>)
        require(std::ranges::is_sorted(ranges), "ranges are sorted");
    if (ranges.empty())
        require(!ranges.contains(T(0)) && ranges.leastBound == std::numeric_limits<T>::max(),
                "an empty set holds nothing");
}

/// A cloud of two points with the fields that the seeds name.
const Quill::Grid& cloud() {
    static const Larder::Ref<Quill::Grid> grid = [] {
        const Larder::Ref<Quill::Grid> made;
        Quill::Representation& fields = made->makeCartesianRepresentation(3, "", 0);
        const auto add = [&]<class T>(const char* name, T first, T second) {
            const Larder::Ref<Quill::MemArray<1, T>> values(Quill::MultiIndex<1>(2));
            values->data[0] = first;
            values->data[1] = second;
            const Larder::Ref<Quill::RegularlyFragmentedField<3>> field(Index{1, 1, 1}, "RegularFragment");
            field->setPersistentData(Quill::ArrayPtr(values), field->getFragmentID(Index{}),
                                     Larder::Cache::MemCache(), "");
            fields[name] = Quill::FieldPtr(field);
        };
        add("Positions", point{0, 0, 1}, point{1.5, 1, 2});
        add("Classification", static_cast<unsigned char>(2), static_cast<unsigned char>(5));
        add("Real", 0.5, -0.25);
        return made;
    }();
    return *grid;
}

void raster(const std::vector<std::string>& requests, const std::string& selection) {
    const Larder::Ref<Quill::Grid> out;
    Tilewright::raster(cloud(), *out, requests, {1, 1, 0}, {}, {}, true, false, selection, 0, nullptr);
}

struct Quiet {
    Quiet() { std::cout.setstate(std::ios::failbit); }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Quiet quiet;
    const std::string text(reinterpret_cast<const char*>(data), size);
    cut(text);
    readRanges<float>(text);
    readRanges<double>(text);
    readRanges<unsigned char>(text);
    readRanges<unsigned short>(text);
    readRanges<unsigned int>(text);
    readRanges<unsigned long long>(text);
    readRanges<int>(text);
    std::vector<std::string> lines;
    splitAtChar(text.data(), text.size(), lines, '\n', false, '\0');
    raster(lines, "");
    raster({"Positions:Mean:Zdir"}, text);
    raster({"Real:Median:Xdir"}, text + "@Classification");
    return 0;
}
