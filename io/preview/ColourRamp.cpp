#include <io/preview/ColourRamp.h>

#include <algorithm>

namespace Tilewright::Io {

const ColourRamp landscapeRamp = {{0.00, {64, 108, 104}},  {0.10, {104, 145, 104}}, {0.28, {163, 181, 117}},
                                  {0.45, {216, 206, 148}}, {0.62, {205, 169, 116}}, {0.80, {166, 122, 92}},
                                  {0.92, {190, 165, 150}}, {1.00, {243, 239, 234}}};

const ColourRamp evenRamp = {{0.000, {68, 1, 84}},    {0.125, {71, 44, 122}},  {0.250, {59, 81, 139}},
                             {0.375, {44, 113, 142}}, {0.500, {33, 144, 141}}, {0.625, {39, 173, 129}},
                             {0.750, {92, 200, 99}},  {0.875, {170, 220, 50}}, {1.000, {253, 231, 37}}};

Colour colourAt(const ColourRamp& ramp, double at) {
    const auto above =
        std::find_if(ramp.begin(), ramp.end(), [&](const ColourStop& stop) { return stop.at >= at; });
    if (above == ramp.begin())
        return ramp.front().colour;
    if (above == ramp.end())
        return ramp.back().colour;
    const ColourStop& below = *(above - 1);
    return mixed(below.colour, above->colour, (at - below.at) / (above->at - below.at));
}

} // namespace Tilewright::Io
