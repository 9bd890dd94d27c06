#include <cstring>

#include <gmock/gmock.h>

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
    EXPECT_THAT(coordinates, testing::ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(channels, testing::ElementsAre(1, 2, 3, 4, 5, 6));
}

} // namespace
} // namespace Orrery
