// The corners of mean, minimum and maximum; tests/property states their rules in full.
#include "tests/filters/Reductions.h"

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
    EXPECT_EQ(mean.reduce({1, 2, 3}, values, 3, {}), 0.0);
    EXPECT_EQ(mean.reduce({1, 3, 2}, values, 3, {}), 1.0 / 3.0);
}

TEST(Mean, DividesByTheCountThatItIsGiven) {
    const MeanOperator<Filter3D<double>> mean;
    EXPECT_EQ(mean.reduce({0, 1}, {3, 5}, 4, {}), 2.0);
}

} // namespace
} // namespace Tilewright
