#include <io/preview/ReliefShading.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include <io/preview/ValueRange.h>

namespace Tilewright::Io {

namespace {

constexpr Colour shadow = {30, 34, 68}; // bluish, like shadows outdoors
constexpr Colour light = {255, 251, 238};

/// The rise to the east and to the south of each pixel, from planes through the 3 x 3 pixels around it.
/// Missing neighbours count as level.
struct Slopes {
    std::vector<float> east;
    std::vector<float> south;
};

Slopes slopesOf(const ReducedRaster& raster, const std::vector<float>& plane) {
    Slopes slopes;
    slopes.east.assign(plane.size(), std::numeric_limits<float>::quiet_NaN());
    slopes.south = slopes.east;
    const auto place = [&](int x, int y) {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(raster.width) +
               static_cast<std::size_t>(x);
    };
    for (int y = 0; y < raster.height; ++y)
        for (int x = 0; x < raster.width; ++x) {
            const float centre = plane[place(x, y)];
            if (std::isnan(centre))
                continue;
            const auto at = [&](int dx, int dy) {
                const int column = std::clamp(x + dx, 0, raster.width - 1);
                const int row = std::clamp(y + dy, 0, raster.height - 1);
                const float value = plane[place(column, row)];
                return std::isnan(value) ? centre : value;
            };
            const float east = at(1, -1) + 2 * at(1, 0) + at(1, 1) - at(-1, -1) - 2 * at(-1, 0) - at(-1, 1);
            const float south = at(-1, 1) + 2 * at(0, 1) + at(1, 1) - at(-1, -1) - 2 * at(0, -1) - at(1, -1);
            slopes.east[place(x, y)] = east / static_cast<float>(8 * raster.pixelWidth);
            slopes.south[place(x, y)] = south / static_cast<float>(8 * raster.pixelHeight);
        }
    return slopes;
}

/// Makes the steeper tenth of the raster lean by 45 degrees or more.
double exaggerationFor(const Slopes& slopes) {
    std::vector<float> steepness;
    for (std::size_t i = 0; i < slopes.east.size(); ++i)
        if (!std::isnan(slopes.east[i]))
            steepness.push_back(std::hypot(slopes.east[i], slopes.south[i]));
    const double steep = steepness.empty() ? 0 : quantile(steepness, 0.9);
    return steep > 0 ? 1 / steep : 0;
}

/// How much more light a slope gets than level ground, from -1 to 1.
double brightness(double east, double south) {
    struct Light {
        double azimuth; ///< in degrees, clockwise from north
        double share;
    };
    // With the main light alone, ridges that run along it would look flat.
    constexpr std::array<Light, 3> lights = {{{315, 0.6}, {255, 0.2}, {15, 0.2}}};
    constexpr double altitude = std::numbers::pi / 4;
    const double upright = 1 / std::sqrt(1 + east * east + south * south);
    double sum = 0;
    for (const auto& [azimuth, share] : lights) {
        const double angle = azimuth * std::numbers::pi / 180;
        const double towards = -east * std::sin(angle) + south * std::cos(angle);
        const double incidence = (std::sin(altitude) + std::cos(altitude) * towards) * upright;
        sum += share * std::max(incidence, 0.0);
    }
    return sum - std::sin(altitude);
}

Colour shaded(const Colour& colour, double brightness) {
    if (brightness < 0)
        return mixed(colour, shadow, std::min(-brightness, 0.65));
    return mixed(colour, light, std::min(brightness * 1.9, 0.6));
}

} // namespace

void shadeRelief(std::vector<Colour>& colours, const ReducedRaster& raster,
                 const std::vector<float>& heights) {
    const Slopes slopes = slopesOf(raster, heights);
    const double exaggeration = exaggerationFor(slopes);
    for (std::size_t i = 0; i < heights.size(); ++i)
        if (!std::isnan(heights[i]))
            colours[i] =
                shaded(colours[i], brightness(exaggeration * slopes.east[i], exaggeration * slopes.south[i]));
}

} // namespace Tilewright::Io
