// Points in polygons, compared with whole numbers in which every product is exact.
#include <io/clouds/PolygonArea.h>

#include <array>
#include <random>

#include <gtest/gtest.h>

#include <io/clouds/ExactSign.h>

namespace Tilewright::Io::Test {
namespace {

using Corner = std::array<long long, 2>;

long long sideOf(const Corner& a, const Corner& b, const Corner& p) {
    return (b[0] - a[0]) * (p[1] - a[1]) - (b[1] - a[1]) * (p[0] - a[0]);
}

/// Anticlockwise, with an area.
using Triangle = std::array<Corner, 3>;

bool covers(const Triangle& t, const Corner& p) {
    return sideOf(t[0], t[1], p) >= 0 && sideOf(t[1], t[2], p) >= 0 && sideOf(t[2], t[0], p) >= 0;
}

bool isInterior(const Triangle& t, const Corner& p) {
    return sideOf(t[0], t[1], p) > 0 && sideOf(t[1], t[2], p) > 0 && sideOf(t[2], t[0], p) > 0;
}

/// Whole numbers become coordinates of which doubles keep all digits, far from 0.
PolygonRing ringOf(const Triangle& triangle, bool isHole) {
    PolygonRing ring;
    for (const Corner& corner : triangle)
        ring.push_back(
            {512000.0 + 0.25 * static_cast<double>(corner[0]), 5.0e6 + 0.5 * static_cast<double>(corner[1])});
    if (isHole)
        std::swap(ring[0], ring[1]);
    return ring;
}

class PolygonAreaTest : public testing::Test {
protected:
    Triangle randomTriangle(long long size, Corner at) {
        for (;;) {
            Triangle t;
            for (Corner& corner : t)
                corner = {at[0] + static_cast<long long>(Random() % static_cast<unsigned>(size)),
                          at[1] + static_cast<long long>(Random() % static_cast<unsigned>(size))};
            if (sideOf(t[0], t[1], t[2]) > 0)
                return t;
        }
    }

    std::mt19937 Random{4};
};

TEST_F(PolygonAreaTest, PointsOnEdgesAreInsideAndThoseInHolesOutside) {
    for (const auto& [triangles, size, extent] :
         {std::array<int, 3>{1, 30, 30}, {20, 30, 30}, {400, 12, 200}, {3, 200, 200}}) {
        std::vector<Triangle> outlines, holes;
        std::vector<PolygonRing> rings;
        for (int i = 0; i < triangles; ++i) {
            const Corner at = {static_cast<long long>(Random() % static_cast<unsigned>(extent)),
                               static_cast<long long>(Random() % static_cast<unsigned>(extent))};
            outlines.push_back(randomTriangle(size, at));
            rings.push_back(ringOf(outlines.back(), false));
            // The hole is the third of the triangle around its middle, where that is a triangle of whole
            // numbers.
            const auto& [a, b, c] = outlines.back();
            Triangle hole = {Corner{(4 * a[0] + b[0] + c[0]) / 6, (4 * a[1] + b[1] + c[1]) / 6},
                             Corner{(a[0] + 4 * b[0] + c[0]) / 6, (a[1] + 4 * b[1] + c[1]) / 6},
                             Corner{(a[0] + b[0] + 4 * c[0]) / 6, (a[1] + b[1] + 4 * c[1]) / 6}};
            bool isHole = sideOf(hole[0], hole[1], hole[2]) > 0;
            for (const Corner& corner : hole)
                isHole = isHole && isInterior(outlines.back(), corner);
            if (!isHole)
                hole = {};
            else
                rings.push_back(ringOf(hole, true));
            holes.push_back(hole);
        }
        const PolygonArea area(rings);
        std::vector<double> xs, ys;
        std::vector<unsigned char> expected;
        for (long long y = -2; y < extent + size + 2; ++y)
            for (long long x = -2; x < extent + size + 2; ++x) {
                bool isIn = false;
                for (std::size_t t = 0; t < outlines.size(); ++t)
                    isIn |= covers(outlines[t], {x, y}) && !isInterior(holes[t], {x, y});
                xs.push_back(512000.0 + 0.25 * static_cast<double>(x));
                ys.push_back(5.0e6 + 0.5 * static_cast<double>(y));
                expected.push_back(isIn ? 1 : 0);
                ASSERT_EQ(area.covers(xs.back(), ys.back()), isIn) << x << " " << y << " of " << triangles;
            }
        for (const double nowhere : {std::numeric_limits<double>::quiet_NaN(), 1e300, -1e300}) {
            xs.insert(xs.end(), {nowhere, xs.front()});
            ys.insert(ys.end(), {ys.front(), nowhere});
            expected.insert(expected.end(), {0, 0});
            EXPECT_FALSE(area.covers(nowhere, 5.0e6));
        }
        // What was dropped before stays so.
        std::vector<unsigned char> passes(xs.size(), 1);
        expected[xs.size() / 2] = passes[xs.size() / 2] = 0;
        area.drop(xs.data(), ys.data(), xs.size(), passes.data());
        EXPECT_EQ(passes, expected);
    }
}

TEST_F(PolygonAreaTest, SidesAreRightWhereRoundingsAreNot) {
    constexpr double step = 0x1p-53;
    for (int i = 0; i < 64; ++i)
        for (int j = 0; j < 64; ++j) {
            // The line is the diagonal.
            ASSERT_EQ(exactSideOf({12.0, 12.0}, {24.0, 24.0}, {0.5 + i * step, 0.5 + j * step}), j > i   ? 1
                                                                                                 : j < i ? -1
                                                                                                         : 0);
        }
}

} // namespace
} // namespace Tilewright::Io::Test
