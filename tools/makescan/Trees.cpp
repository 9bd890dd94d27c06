#include "Trees.h"

namespace Tilewright::MakeScan {

Trees::Trees(std::uint64_t seed, const Ground& ground, const Village& village, double side)
    : ground_(ground), village_(village), trees_(side), stands_(scramble(seed, 7, 0)) {
    const double spacing = 5;
    const auto count = static_cast<std::int64_t>(side / spacing);
    for (std::int64_t j = 0; j <= count; ++j) {
        for (std::int64_t i = 0; i <= count; ++i) {
            Chance chance(scramble(seed ^ 0x7ee5, i, j));
            const double x = (static_cast<double>(i) + chance.unit()) * spacing;
            const double y = (static_cast<double>(j) + chance.unit()) * spacing;
            plant(x, y, chance);
        }
    }
}

/// Plants a tree of the kind that grows at the place, or none.
void Trees::plant(double x, double y, Chance& chance) {
    const double road = ground_.fromRoad(x, y);
    if (road < 3) {
        return;
    }
    if (chance.happens(ground_.wood(x, y))) {
        const bool conifer = stands_.at(x / 90, y / 90) + 0.35 * chance.bell() > 0;
        const double height = chance.between(15, 27) + 3 * stands_.at(x / 60, y / 60);
        add(x, y, height, (conifer ? 0.13 : 0.17) * height, conifer, chance);
    } else if (ground_.onBank(x, y) && chance.happens(0.4)) {
        const double height = chance.between(6, 15);
        add(x, y, height, 0.28 * height, false, chance);
    } else if (ground_.onHedge(x, y) && chance.happens(0.8)) {
        const double height = chance.between(2.5, 6);
        add(x, y, height, 2.2, false, chance);
    } else if (chance.happens(0.035) && ground_.fromRiver(x, y) > 14) {
        const double height = chance.between(4, 11);
        const double radius = chance.between(0.28, 0.38) * height;
        add(x, y, height, radius, chance.happens(0.15), chance);
    }
}

void Trees::add(double x, double y, double height, double radius, bool conifer, Chance& chance) {
    if (!village_.isFree(x, y, 0.6 * radius)) {
        return;
    }
    const Tree tree{x, y, ground_.height(x, y), height, radius, conifer, chance.between(0.8, 1.2)};
    all_.push_back(tree);
    trees_.add(tree, x, y, radius);
}

} // namespace Tilewright::MakeScan
