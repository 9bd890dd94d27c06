#include <cstring>
#include <type_traits>

#include <gtest/gtest.h>

#include <tilewright/values/PhysicalSpace.h>

namespace Orrery {
namespace {

using PhysicalSpace::point;
using PhysicalSpace::vector;

// Files and other modules take arrays of records for plain blocks of numbers.
TEST(Records, LieInMemoryAsTheirComponentsOnly) {
    const point points[] = {{1, 2, 3}, {4, 5, 6}};
    const Color8 colours[] = {{1, 2, 3}, {4, 5, 6}};
    double coordinates[6];
    unsigned char channels[6];
    static_assert(sizeof points == sizeof coordinates && sizeof colours == sizeof channels);
    static_assert(sizeof(vector) == sizeof(point) && sizeof(Color16) == 3 * sizeof(unsigned short));
    std::memcpy(coordinates, points, sizeof points);
    std::memcpy(channels, colours, sizeof colours);
    for (int i = 0; i < 6; ++i)
        EXPECT_TRUE(coordinates[i] == i + 1 && channels[i] == i + 1);
}

TEST(Arithmetic, TellsPositionsFromDisplacements) {
    const point low(1, 2, 3), high(11, 22, 33);
    static_assert(std::is_same_v<decltype(high - low), vector> && std::is_same_v<decltype(2.0 * low), point>);
    EXPECT_EQ(high - low, vector(10, 20, 30));
    EXPECT_EQ(low + (high - low), high);
    EXPECT_EQ(vector(1, -2, 4) * 0.25, vector(0.25, -0.5, 1));
}

} // namespace
} // namespace Orrery
