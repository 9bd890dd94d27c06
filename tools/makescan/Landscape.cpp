#include "Landscape.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace Tilewright::MakeScan {

Landscape::Landscape(std::uint64_t seed, double side)
    : relief_(seed, side), roads_(relief_), ground_(seed, relief_, roads_),
      village_(seed, ground_, roads_, side), trees_(seed, ground_, village_, side),
      highestNear_(side, -std::numeric_limits<double>::infinity()) {
    for (const House& house : village_.all()) {
        raise(house.x, house.y, house.radius(), house.ridge);
    }
    for (const Tree& tree : trees_.all()) {
        raise(tree.x, tree.y, tree.radius, tree.foot + tree.height);
    }
}

std::vector<Echo> Landscape::echoes(const Pulse& pulse, Chance& chance) const {
    std::vector<Echo> found;
    const Surface surface = ground_.at(pulse.x, pulse.y);
    const std::optional<Hit> hit = firstHit(pulse, surface.height);
    if (hit && hit->house != nullptr) {
        found.push_back(roofEcho(*hit, chance));
        return found;
    }
    if (hit) {
        crownEchoes(*hit, pulse, surface.height, chance, found);
    }
    const double light = hit ? 0.25 : 1;
    if (chance.happens(light)) {
        groundEchoes(surface, pulse, chance, found);
    }
    return found;
}

/// An oblique pulse may meet something well beside its target, so the neighbourhood counts too.
void Landscape::raise(double x, double y, double reach, double top) {
    const double farthest = 10;
    highestNear_.within(x, y, reach + farthest, [&](double& highest) { highest = std::max(highest, top); });
}

/// The house or tree that covers a place and reaches up to a given height.
std::optional<Landscape::Hit> Landscape::obstacle(double x, double y, double z) const {
    for (const House& house : village_.around(x, y)) {
        const auto top = house.top(x, y);
        if (top && *top >= z) {
            return Hit{x, y, z, &house, nullptr};
        }
    }
    for (const Tree& tree : trees_.around(x, y)) {
        const auto top = tree.top(x, y);
        if (top && *top >= z) {
            return Hit{x, y, z, nullptr, &tree};
        }
    }
    return std::nullopt;
}

std::optional<Landscape::Hit> Landscape::firstHit(const Pulse& pulse, double ground) const {
    const double step = 0.5;
    const auto at = [&](double z) {
        return obstacle(pulse.x + (z - ground) * pulse.leanX, pulse.y + (z - ground) * pulse.leanY, z);
    };
    for (double z = highestNear_.at(pulse.x, pulse.y); z > ground + 0.3; z -= step) {
        std::optional<Hit> hit = at(z);
        if (!hit) {
            continue;
        }
        // The surface lies within the last step.
        for (double half = step / 2; half > 0.01; half /= 2) {
            const double above = hit->z + half;
            if (const std::optional<Hit> earlier = at(above)) {
                hit = earlier;
            }
        }
        return hit;
    }
    return std::nullopt;
}

Echo Landscape::roofEcho(const Hit& hit, Chance& chance) {
    const House& house = *hit.house;
    return {hit.x, hit.y, hit.z + 0.02 * chance.bell(), PointClass::Building, 0.45, house.colour};
}

void Landscape::crownEchoes(const Hit& hit, const Pulse& pulse, double ground, Chance& chance,
                            std::vector<Echo>& found) {
    const std::size_t most = 3; // leaves two for the ground
    const Colour leaves =
        shaded(hit.tree->conifer ? Colour{44, 70, 44} : Colour{70, 104, 48}, hit.tree->tint);
    double z = hit.z - chance.depth(hit.tree->conifer ? 0.15 : 0.25);
    while (z > ground + 0.6 && found.size() < most) {
        const double x = pulse.x + (z - ground) * pulse.leanX;
        const double y = pulse.y + (z - ground) * pulse.leanY;
        const PointClass kind = z > ground + 2 ? PointClass::HighPlants : PointClass::LowPlants;
        const double dimmed = 0.5 / static_cast<double>(found.size() + 1);
        found.push_back({x, y, z, kind, dimmed, shaded(leaves, chance.between(0.75, 1.2))});
        if (!chance.happens(0.3)) {
            return;
        }
        z -= 1 + chance.depth(4);
    }
}

void Landscape::groundEchoes(const Surface& surface, const Pulse& pulse, Chance& chance,
                             std::vector<Echo>& found) {
    const double noise = 0.02 * chance.bell();
    const double grain = chance.between(0.9, 1.1);
    const auto add = [&](double above, PointClass kind, double strength) {
        found.push_back({pulse.x + above * pulse.leanX, pulse.y + above * pulse.leanY,
                         surface.height + above + noise, kind, strength, shaded(surface.colour, grain)});
    };
    switch (surface.cover) {
    case Cover::Water:
        // A mirror: the flatter the pulse comes in, the less of it comes back.
        if (chance.happens(0.98 - 0.4 * std::hypot(pulse.leanX, pulse.leanY))) {
            add(0, PointClass::Water, 0.05);
        }
        return;
    case Cover::Road:
        return add(0, PointClass::Road, 0.18);
    case Cover::Meadow:
        return add(surface.plants * chance.unit(), PointClass::Ground, 0.62);
    case Cover::Field:
        break;
    }
    const bool thick = surface.plants > 0.3;
    if (thick && chance.happens(0.85)) {
        add(surface.plants * chance.between(0.8, 1), PointClass::LowPlants, 0.5);
    }
    if (!thick || chance.happens(0.3)) {
        add(0, PointClass::Ground, 0.4);
    }
}

} // namespace Tilewright::MakeScan
