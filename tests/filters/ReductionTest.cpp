// The arithmetic of mean, minimum and maximum, against a statement of the same rules in plain loops.
#include "tests/filters/Reductions.h"

#include <functional>

#include <tilewright/filters/ExtremumOperators.h>
#include <tilewright/filters/MeanOperator.h>

namespace Tilewright {
namespace {

using Orrery::Color16;
using Orrery::Color8;
using Orrery::PhysicalSpace::vector;
using uchar = unsigned char;
using ushort = unsigned short;
using ullong = unsigned long long;

/// Where the search starts, written out type by type.
template <class E> E firstMax() {
    if (std::is_same_v<E, float> || std::is_same_v<E, double> || std::is_same_v<E, int>)
        return static_cast<E>(-1000000);
    return 0;
}
template <class E> E firstMin() {
    if constexpr (std::is_same_v<E, uchar>)
        return 255;
    else if constexpr (std::is_same_v<E, ushort>)
        return 65535;
    else
        return static_cast<E>(1000000);
}

template <class E, class Wins> E extremum(const std::vector<E>& seen, bool isRecord, E best, Wins wins) {
    for (const E v : seen)
        if (isRecord ? wins(v, best) : !wins(best, v))
            best = v;
    return best;
}

template <class E> E meanOf(const std::vector<E>& seen, bool isColour) {
    using Sum = std::conditional_t<std::is_integral_v<E>, ullong, E>;
    Sum sum = 0;
    for (const E v : seen) {
        const volatile Sum next = sum + static_cast<Sum>(v); // Rounds after each addition.
        sum = next;
    }
    const auto n = static_cast<double>(seen.size());
    const auto total = static_cast<double>(static_cast<E>(sum)); // E is the low end of 64 bits.
    const double quotient = isColour ? total * (1.0 / n) : total / n;
    // The largest counts round up to 2^64, which has no unsigned value of its own.
    const bool isBeyond = std::is_integral_v<E> && quotient == 18446744073709551616.0;
    return isBeyond ? std::numeric_limits<E>::max() : static_cast<E>(quotient);
}

TEST(Reductions, FollowThePlainRuleInEveryView) {
    expectInEveryView<MeanOperator>([]<class E>(const std::vector<E>& seen, bool isRecord) {
        return meanOf(seen, isRecord && std::is_integral_v<E>);
    });
    expectInEveryView<MinOperator>([]<class E>(const std::vector<E>& seen, bool isRecord) {
        return extremum(seen, isRecord, firstMin<E>(), std::less<E>());
    });
    expectInEveryView<MaxOperator>([]<class E>(const std::vector<E>& seen, bool isRecord) {
        return extremum(seen, isRecord, firstMax<E>(), std::greater<E>());
    });
}

TEST(Mean, WrapsNarrowSumsOnlyWhereTheResultIsNarrow) {
    EXPECT_EQ(all<MeanOperator>(std::vector<uchar>{200, 200}), 72);
    EXPECT_EQ((along<MeanOperator, 1>(std::vector<uchar>{200, 200})), 200.0);
    EXPECT_EQ(all<MeanOperator>(std::vector<int>{2147483647, 2147483647}), -1);
    EXPECT_EQ(all<MeanOperator>(std::vector<int>{-5, -8}), -6) << "truncated toward zero";
    EXPECT_EQ(all<MeanOperator>(std::vector<ullong>{(1ULL << 63) + 4096}), (1ULL << 63) + 4096);
}

TEST(Mean, OfColoursScalesByTheReciprocalWhereOneChannelIsDivided) {
    const std::vector<Color8> points(49, Color8(1, 0, 0));
    EXPECT_EQ(all<MeanOperator>(points), Color8(0, 0, 0)) << "49 times 1/49 is just below 1";
    EXPECT_EQ((along<MeanOperator, 0>(points)), 1);
}

TEST(Extrema, AreBoundedByAMillionInTheTypesThatHoldIt) {
    EXPECT_EQ(all<MinOperator>(std::vector<float>{2e6F, 2e6F}), 1e6F);
    EXPECT_EQ((along<MinOperator, 2>(std::vector<point>{{0, 0, 4e6}})), 1e6) << "projected coordinates";
    EXPECT_EQ(all<MinOperator>(std::vector<Color16>{}), Color16(65535, 65535, 65535));
    EXPECT_EQ(all<MaxOperator>(std::vector<vector>{}), vector(-1e6, -1e6, -1e6));
}

TEST(Reductions, ReadThePointsOfTheCellOnlyInTheirOrder) {
    const std::vector<double> values{100, 1e16, 1, -1e16, 100};
    const MeanOperator<Filter3D<double>> mean;
    EXPECT_EQ(mean.reduce(std::array{1U, 2U, 3U}, values, 3, {}), 0.0);
    EXPECT_EQ(mean.reduce(std::array{1U, 3U, 2U}, values, 3, {}), 1.0 / 3.0);
}

TEST(Names, StayAsTheyArePublished) {
    EXPECT_STREQ(FilterTypeName[filterMaxOccurrence], "Maximum Occurrence");
    EXPECT_STREQ(FilterTypeName[5], "Skip");
    EXPECT_STREQ(DirectionName[directionAll], "All-Dr");
}

} // namespace
} // namespace Tilewright
