#include "Ground.h"

#include "Blend.h"
#include "Chance.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Tilewright::MakeScan {

Ground::Ground(std::uint64_t seed, const Relief& relief, const Roads& roads)
    : relief_(relief), roads_(roads), patches_(scramble(seed, 4, 0)), seed_(scramble(seed, 5, 0)) {}

Surface Ground::at(double x, double y) const {
    const RoadPlace road = roads_.nearest(x, y);
    const double ground = height(x, y, road);
    if (road.distance < 0.1) {
        return {Cover::Road, ground, 0, {118, 116, 114}};
    }
    const double water = relief_.waterLevel(y);
    if (ground < water) {
        return {Cover::Water, water, 0, {46, 72, 78}};
    }
    return isFarmland(x, y) ? field(x, y, ground) : meadow(x, y, ground);
}

double Ground::wood(double x, double y) const {
    const double across = relief_.fromRiver(x, y);
    const double patch = patches_.rough(x / 110, y / 110, 2);
    if (across < 0) {
        return 0.95 * ramp(34, 50, -across + 14 * patch) * ramp(-0.75, -0.5, patch);
    }
    return 0.9 * ramp(225, 240, across) * ramp(0.22, 0.34, patch);
}

bool Ground::onBank(double x, double y) const {
    const double beyondWater = fromRiver(x, y) - Relief::riverHalfWidth;
    return beyondWater > 2 && beyondWater < 8 && patches_.at(x / 35, y / 35) > -0.1;
}

bool Ground::onHedge(double x, double y) const {
    const Parcel parcel = parcelAt(x, y);
    return isFarmland(x, y) && parcel.edge < 1.5 && parcel.hash % 5 == 0;
}

double Ground::fromRiver(double x, double y) const { return std::abs(relief_.fromRiver(x, y)); }

double Ground::height(double x, double y, const RoadPlace& road) const {
    const double natural = relief_.height(x, y);
    // A bridge ends at its railing; anywhere else the ground comes up to the road.
    const double shoulder = overRiver(x, y) ? 0.3 : 5;
    return road.distance > shoulder ? natural : mixed(road.level, natural, ramp(0, shoulder, road.distance));
}

bool Ground::isFarmland(double x, double y) const { return relief_.fromRiver(x, y) > 215; }

bool Ground::overRiver(double x, double y) const { return fromRiver(x, y) < Relief::riverHalfWidth + 3; }

Ground::Parcel Ground::parcelAt(double x, double y) const {
    const double length = 120;
    const double width = 62;
    const double u = 0.94 * x + 0.34 * y + 6 * patches_.at(x / 90, y / 90);
    const double v = -0.34 * x + 0.94 * y;
    const double i = std::floor(u / length);
    const double j = std::floor(v / width);
    const double edge = std::min({u - i * length, (i + 1) * length - u, v - j * width, (j + 1) * width - v});
    return {scramble(seed_, static_cast<std::int64_t>(i), static_cast<std::int64_t>(j)), edge, v};
}

Surface Ground::meadow(double x, double y, double ground) const {
    const double tint = 0.12 * patches_.rough(x / 25, y / 25, 3);
    return {Cover::Meadow, ground, 0.12, {106 * (1 + tint), 134 * (1 + 0.7 * tint), 70 * (1 + tint)}};
}

Surface Ground::field(double x, double y, double ground) const {
    const Parcel parcel = parcelAt(x, y);
    if (parcel.edge < 1) {
        return meadow(x, y, ground);
    }
    switch (parcel.hash % 4) {
    case 0:
        return {Cover::Field, ground, 0.9, {196, 176, 104}}; // ripe grain
    case 1:
        return {Cover::Field, ground, 1.9, {86, 126, 52}}; // maize
    case 2: {                                              // ploughed
        const double furrow = 0.12 * std::sin(parcel.along * 2 * std::numbers::pi / 3);
        return {Cover::Field, ground + furrow, 0, {138, 112, 86}};
    }
    default:
        return meadow(x, y, ground);
    }
}

} // namespace Tilewright::MakeScan
