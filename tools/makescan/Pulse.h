/// Pulse: what the scanner sends down, and the echoes that come back.
#pragma once

#include "Colour.h"

#include <cstdint>

namespace Tilewright::MakeScan {

/// Aims at a place on the ground. `leanX` and `leanY` say how far the pulse is to the east and the north of
/// it, per metre above it.
struct Pulse {
    double x = 0;
    double y = 0;
    double leanX = 0;
    double leanY = 0;
};

/// With the numbers that LAS files have for them.
enum class PointClass : std::uint8_t {
    Ground = 2,
    LowPlants = 3,
    HighPlants = 5,
    Building = 6,
    Water = 9,
    Road = 11
};

struct Echo {
    double x = 0;
    double y = 0;
    double z = 0;
    PointClass kind = PointClass::Ground;
    double strength = 0; ///< share of the light that comes back, 0 to 1
    Colour colour;
};

} // namespace Tilewright::MakeScan
