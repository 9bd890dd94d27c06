#include "Village.h"

#include "Blend.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace Tilewright::MakeScan {

namespace {

Colour roofColour(Chance& chance) {
    const std::array<Colour, 4> tiles{{{166, 88, 64}, {142, 70, 54}, {112, 82, 70}, {92, 92, 96}}};
    const Colour& tile = tiles[static_cast<std::size_t>(chance.between(0, 3.99))];
    return shaded(tile, chance.between(0.88, 1.1));
}

} // namespace

void House::turn(double angle) {
    ridgeX = std::cos(angle);
    ridgeY = std::sin(angle);
}

double House::radius() const { return std::hypot(halfLength, halfWidth); }

Village::Village(std::uint64_t seed, const Ground& ground, const Roads& roads, double side)
    : ground_(ground), houses_(side), side_(side) {
    Chance chance(scramble(seed, 6, 0));
    buildChurch(chance, roads.streets().front());
    for (const auto& street : roads.streets()) {
        buildAlong(street, chance);
    }
}

bool Village::isFree(double x, double y, double radius) const {
    return std::none_of(all_.begin(), all_.end(), [&](const House& house) {
        return std::hypot(house.x - x, house.y - y) < house.radius() + radius;
    });
}

/// Goes along both sides of a street and builds a house wherever one fits.
void Village::buildAlong(const std::vector<RoadPoint>& street, Chance& chance) {
    for (double hand : {-1.0, 1.0}) {
        double wait = chance.between(8, 20);
        for (std::size_t i = 1; i < street.size(); ++i) {
            const double dx = street[i].x - street[i - 1].x;
            const double dy = street[i].y - street[i - 1].y;
            wait -= std::hypot(dx, dy);
            if (wait > 0) {
                continue;
            }
            const double angle = std::atan2(dy, dx);
            const bool built = chance.happens(settled(street[i])) && tryHouse(street[i], angle, hand, chance);
            wait = built ? chance.between(17, 25) : 5;
        }
    }
}

/// How likely a house is: less so towards the ends of the village.
double Village::settled(const RoadPoint& place) const {
    return 0.9 * (1 - ramp(170, 330, std::abs(place.y - 0.5 * side_)));
}

bool Village::tryHouse(const RoadPoint& street, double angle, double hand, Chance& chance) {
    const House house = houseAt(street, angle, hand, chance);
    if (!fits(house)) {
        return false;
    }
    add(house);
    if (chance.happens(0.55)) {
        addGarage(house, chance);
    }
    return true;
}

/// `angle` is the direction of the street; `hand` is 1 for the left of it and -1 for the right.
House Village::houseAt(const RoadPoint& street, double angle, double hand, Chance& chance) const {
    House house;
    house.halfLength = chance.between(4.8, 7.5);
    house.halfWidth = chance.between(3.8, 5);
    const bool gableToStreet = chance.happens(0.35);
    const double front = gableToStreet ? house.halfLength : house.halfWidth;
    const double aside = hand * (chance.between(7, 11) + front);
    house.x = street.x - std::sin(angle) * aside;
    house.y = street.y + std::cos(angle) * aside;
    house.turn(angle + (gableToStreet ? std::numbers::pi / 2 : 0) + 0.06 * chance.bell());
    house.eaves = ground_.height(house.x, house.y) + chance.between(3.6, 6.4);
    house.ridge = house.eaves + house.halfWidth * chance.between(0.7, 1.05);
    house.roof = chance.happens(0.2) ? Roof::Hip : Roof::Gable;
    house.colour = roofColour(chance);
    return house;
}

bool Village::fits(const House& house) const {
    const double margin = 6;
    const bool inside = std::min(house.x, house.y) > margin && std::max(house.x, house.y) < side_ - margin;
    return inside && isFree(house.x, house.y, house.radius() + 1.5) &&
           ground_.fromRiver(house.x, house.y) > 26 &&
           ground_.fromRoad(house.x, house.y) > house.halfWidth + 1 && ground_.wood(house.x, house.y) < 0.3;
}

/// The house must be the latest one.
void Village::addGarage(const House& house, Chance& chance) {
    House garage = house;
    garage.halfLength = 1.6;
    garage.halfWidth = 3;
    const double aside = house.halfLength + garage.halfLength + 0.4;
    garage.x += house.ridgeX * aside;
    garage.y += house.ridgeY * aside;
    garage.eaves = ground_.height(garage.x, garage.y) + 2.7;
    garage.ridge = garage.eaves;
    garage.roof = Roof::Flat;
    garage.colour = shaded({142, 140, 136}, chance.between(0.85, 1.1));
    const bool blocked = std::any_of(all_.begin(), all_.end() - 1, [&](const House& other) {
        return std::hypot(other.x - garage.x, other.y - garage.y) < other.radius() + 3;
    });
    if (!blocked && ground_.fromRoad(garage.x, garage.y) > 3.5) {
        add(garage);
    }
}

void Village::buildChurch(Chance& chance, const std::vector<RoadPoint>& street) {
    const auto middle = static_cast<std::ptrdiff_t>(street.size() / 2);
    const RoadPoint& square = *(street.begin() + middle + 8);
    House nave;
    nave.x = square.x + 27;
    nave.y = square.y + 4;
    nave.turn(0.12 * chance.bell());
    nave.halfLength = 12;
    nave.halfWidth = 5.5;
    nave.eaves = ground_.height(nave.x, nave.y) + 8.5;
    nave.ridge = nave.eaves + 6.5;
    nave.colour = {128, 74, 58};
    House tower = nave;
    tower.x -= nave.ridgeX * 14.5;
    tower.y -= nave.ridgeY * 14.5;
    tower.halfLength = tower.halfWidth = 3;
    tower.eaves += 9;
    tower.ridge = tower.eaves + 12;
    tower.roof = Roof::Tent;
    tower.colour = {84, 92, 96};
    add(nave);
    add(tower);
}

void Village::add(const House& house) {
    all_.push_back(house);
    houses_.add(house, house.x, house.y, house.radius());
}

} // namespace Tilewright::MakeScan
