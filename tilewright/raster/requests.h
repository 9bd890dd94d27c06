/// The language of requests: "field:filter:direction".
#pragma once

#include <array>
#include <string>
#include <vector>

#include <tilewright/filters/vocabulary.h>
#include <tilewright/raster/raster.h>
#include <tilewright/values/StringUtil.h>

namespace Tilewright {
namespace {

struct FilterWord {
    const char* word;
    FilterNumber number;
};

constexpr std::array<FilterWord, 7> filterWords = {{{"Min", filterMin},
                                                    {"Max", filterMax},
                                                    {"Median", filterMedian},
                                                    {"MaxOccurrence", filterMaxOccurrence},
                                                    {"Mean", filterMean},
                                                    {"Regression", filterRegression},
                                                    {"Skip", filterSkip}}};

/// The number of a filter word; false for any other word.
inline bool findFilter(const std::string& word, std::uint32_t& filter) {
    for (const FilterWord& known : filterWords)
        if (word == known.word) {
            filter = known.number;
            return true;
        }
    return false;
}

/// The number of a direction word; false for any other word. The regression takes every word: what names no
/// axis asks for a fit of whole values.
inline bool findDirection(const std::string& word, std::uint32_t filter, std::uint32_t& direction) {
    if (word == "Xdir")
        direction = directionX;
    else if (word == "Ydir")
        direction = directionY;
    else if (word == "Zdir")
        direction = directionZ;
    else if (filter == filterRegression)
        direction = directionFit;
    else if (word == "All")
        direction = directionAll;
    else
        return false;
    return true;
}

/// Adds one request to `modus`, in place of an earlier one for its field. Gives the empty text, or what is
/// wrong.
inline std::string parseRequest(const std::string& request, Modus& modus) {
    std::vector<std::string> parts;
    splitAtChar(request.data(), request.size(), parts, ':', true, '\0');
    if (parts.size() != 3)
        return "Wrong input: ";
    DirectionAndFilter wanted{};
    if (!findFilter(parts[1], wanted.filter))
        return "Unknown filter type: " + parts[1];
    if (!findDirection(parts[2], wanted.filter, wanted.direction))
        return "Unknown direction: " + parts[2];
    modus[parts[0]] = wanted;
    return {};
}

/// All requests in their order, up to the first bad one.
inline std::string parseRequests(const std::vector<std::string>& requests, Modus& modus) {
    for (const std::string& request : requests)
        if (std::string failure = parseRequest(request, modus); !failure.empty())
            return failure;
    return {};
}

} // namespace
} // namespace Tilewright
