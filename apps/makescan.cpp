// Makes a small airborne laser scan of a valley that does not exist, for demos, tests and benchmarks.
//
// The landscape is built first: relief, roads, houses, trees. Then a scanner flies over it in strips and
// follows every pulse down to what it meets. All coordinates are metres from the south-west corner of the
// scene until they reach the file.

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <numbers>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;

// ---------------------------------------------------------------------------------------------------------------
// Chance and noise. Both are functions of the seed alone; the distributions of the standard library differ
// from one implementation to the next.

std::uint64_t scramble(std::uint64_t value) {
    value += 0x9e3779b97f4a7c15;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9;
    value = (value ^ (value >> 27)) * 0x94d049bb133111eb;
    return value ^ (value >> 31);
}

std::uint64_t scramble(std::uint64_t seed, std::int64_t i, std::int64_t j) {
    return scramble(scramble(seed ^ scramble(static_cast<std::uint64_t>(i))) ^ static_cast<std::uint64_t>(j));
}

class Chance {
public:
    explicit Chance(std::uint64_t seed) : state_(seed) {}

    /// Evenly from 0 up to 1.
    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }
    double between(double low, double high) { return low + (high - low) * unit(); }
    bool happens(double probability) { return unit() < probability; }

    /// Mean 0, deviation 1; a sum of evenly spread numbers is near enough to a bell.
    double bell() {
        double sum = -2;
        for (int i = 0; i < 4; ++i) {
            sum += unit();
        }
        return sum * std::numbers::sqrt3;
    }

    /// Most often short, now and then long.
    double depth(double mean) { return -mean * std::log1p(-unit()); }

private:
    std::uint64_t next() { return scramble(state_++); }

    std::uint64_t state_;
};

double mixed(double a, double b, double share) { return a + (b - a) * share; }

/// 0 before `from`, 1 past `to`, and soft at both ends.
double ramp(double from, double to, double value) {
    const double t = std::clamp((value - from) / (to - from), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

/// Smooth random hills between about -1 and 1, each about one unit across.
class Noise {
public:
    explicit Noise(std::uint64_t seed) : seed_(seed) {}

    double at(double x, double y) const {
        const double left = std::floor(x);
        const double low = std::floor(y);
        const auto i = static_cast<std::int64_t>(left);
        const auto j = static_cast<std::int64_t>(low);
        const double u = x - left;
        const double v = y - low;
        const double south = mixed(slope(i, j, u, v), slope(i + 1, j, u - 1, v), fade(u));
        const double north = mixed(slope(i, j + 1, u, v - 1), slope(i + 1, j + 1, u - 1, v - 1), fade(u));
        return 1.5 * mixed(south, north, fade(v));
    }

    /// Hills with smaller hills upon them.
    double rough(double x, double y, int octaves) const {
        double sum = 0;
        double share = 1;
        for (int octave = 0; octave < octaves; ++octave, share *= 0.5, x *= 2.03, y *= 2.03) {
            sum += share * at(x, y);
        }
        return sum;
    }

private:
    static double fade(double t) { return t * t * t * (t * (t * 6 - 15) + 10); }

    double slope(std::int64_t i, std::int64_t j, double u, double v) const {
        static const std::array<std::array<double, 2>, 64> directions = allDirections();
        const auto& [east, north] = directions[scramble(seed_, i, j) % directions.size()];
        return east * u + north * v;
    }

    static std::array<std::array<double, 2>, 64> allDirections() {
        std::array<std::array<double, 2>, 64> directions{};
        for (std::size_t i = 0; i < directions.size(); ++i) {
            const double angle = 2 * std::numbers::pi * (static_cast<double>(i) + 0.5) / 64;
            directions[i] = {std::cos(angle), std::sin(angle)};
        }
        return directions;
    }

    std::uint64_t seed_;
};

/// A value for each small square of the scene.
template <class T> class Squares {
public:
    explicit Squares(double side, const T& initial = T())
        : count_(static_cast<std::size_t>(std::ceil(side / size)) + 1), squares_(count_ * count_, initial) {}

    const T& at(double x, double y) const { return squares_[index(y) * count_ + index(x)]; }

    /// Calls change(T&) for all squares that lie within reach of a place.
    template <class Change> void within(double x, double y, double reach, Change change) {
        for (std::size_t j = index(y - reach); j <= index(y + reach); ++j) {
            for (std::size_t i = index(x - reach); i <= index(x + reach); ++i) {
                change(squares_[j * count_ + i]);
            }
        }
    }

private:
    static constexpr double size = 4;

    std::size_t index(double along) const {
        const double last = static_cast<double>(count_ - 1);
        return static_cast<std::size_t>(std::clamp(std::floor(along / size), 0.0, last));
    }

    std::size_t count_;
    std::vector<T> squares_;
};

/// Things with an extent, found again by the square they reach into.
template <class T> class Buckets {
public:
    explicit Buckets(double side) : things_(side) {}

    void add(const T& thing, double x, double y, double reach) {
        things_.within(x, y, reach, [&](std::vector<T>& there) { there.push_back(thing); });
    }

    std::span<const T> around(double x, double y) const { return things_.at(x, y); }

private:
    Squares<std::vector<T>> things_;
};

// ---------------------------------------------------------------------------------------------------------------
// Relief: a river in its valley, a steep side in the west and a gentle one in the east.

class Relief {
public:
    static constexpr double riverHalfWidth = 7;

    Relief(std::uint64_t seed, double side)
        : hills_(scramble(seed, 1, 0)), detail_(scramble(seed, 2, 0)), side_(side) {
        Chance chance(scramble(seed, 3, 0));
        bend_ = chance.between(0, 6);
        ripple_ = chance.between(0, 6);
    }

    double side() const { return side_; }

    double riverX(double y) const {
        return 0.34 * side_ + 30 * std::sin(y / 62 + bend_) + 8 * std::sin(y / 21 + ripple_);
    }

    /// Where the valley runs if one looks past the smaller bends; roads follow it.
    double valleyX(double y) const { return 0.34 * side_ + 24 * std::sin(y / 62 + bend_); }

    /// Distance from the middle of the river, negative in the west.
    double fromRiver(double x, double y) const {
        const double lean = riverX(y + 0.5) - riverX(y - 0.5);
        return (x - riverX(y)) / std::hypot(1, lean);
    }

    double waterLevel(double y) const { return 402 + 0.004 * y; }

    double height(double x, double y) const {
        const double across = fromRiver(x, y);
        const double distance = std::abs(across);
        const double bank = 2.2 * ramp(riverHalfWidth - 2, riverHalfWidth + 5, distance) - 0.6;
        const double meadow =
            2.5 * ramp(10, 90, distance) + 0.25 * detail_.at(x / 11, y / 11) * ramp(8, 20, distance);
        const double slope = across < 0 ? ramp(28, 190, distance) : ramp(70, 420, distance);
        return waterLevel(y) + bank + meadow + slope * hill(x, y, across < 0);
    }

private:
    double hill(double x, double y, bool steepSide) const {
        const double body =
            (steepSide ? 52 : 44) + 20 * hills_.at(x / 230, y / 230) + 5 * hills_.rough(x / 70, y / 70, 3);
        const double gully = 1 - std::min(1.0, 3.5 * std::abs(detail_.at(x / 85, y / 60)));
        return body - (steepSide ? 9 : 1.5) * gully * gully;
    }

    Noise hills_;
    Noise detail_;
    double side_;
    double bend_ = 0;
    double ripple_ = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// Roads: two along the valley, some across, one of them over the river.

struct RoadPoint {
    double x = 0;
    double y = 0;
    double level = 0;
};

struct RoadPlace {
    double distance =
        std::numeric_limits<double>::infinity(); ///< from the edge of the road; negative upon it
    double level = 0;
};

class Roads {
public:
    explicit Roads(const Relief& relief) : relief_(relief), pieces_(relief.side()) { build(); }

    /// The nearest road, if one is near enough to matter.
    RoadPlace nearest(double x, double y) const {
        RoadPlace best;
        for (const Piece& piece : pieces_.around(x, y)) {
            const double dx = piece.to.x - piece.from.x;
            const double dy = piece.to.y - piece.from.y;
            const double along = ((x - piece.from.x) * dx + (y - piece.from.y) * dy) / (dx * dx + dy * dy);
            const double t = std::clamp(along, 0.0, 1.0);
            const double aside = std::hypot(x - piece.from.x - t * dx, y - piece.from.y - t * dy);
            if (aside - piece.halfWidth < best.distance) {
                best = {aside - piece.halfWidth, mixed(piece.from.level, piece.to.level, t)};
            }
        }
        return best;
    }

    /// The middle lines of the streets on which people live.
    const std::vector<std::vector<RoadPoint>>& streets() const { return streets_; }

private:
    struct Piece {
        RoadPoint from;
        RoadPoint to;
        double halfWidth;
    };

    static constexpr double step = 4;
    static constexpr double reach = 14;

    void build() {
        const double side = relief_.side();
        streets_.push_back(lay(-20, side + 20, 3.2, [&](double y) { return RoadPoint{mainX(y), y}; }));
        streets_.push_back(lay(-20, side + 20, 2.4, [&](double y) { return RoadPoint{upperX(y), y}; }));
        const double middle = 0.5 * side;
        for (double y = middle - 115 * std::floor(middle / 115); y < side; y += 115) {
            const bool crossesRiver = std::abs(y - middle) < 1;
            const double west = crossesRiver ? -20 : mainX(y);
            streets_.push_back(lay(west, upperX(y) + 60, 2.4, [&](double x) {
                return RoadPoint{x, y + 7 * std::sin((x - mainX(y)) / 55)};
            }));
        }
    }

    double mainX(double y) const { return relief_.valleyX(y) + 56; }
    double upperX(double y) const { return relief_.valleyX(0.7 * y) + 148 + 9 * std::sin(y / 47); }

    template <class Line> std::vector<RoadPoint> lay(double from, double to, double halfWidth, Line line) {
        std::vector<RoadPoint> points;
        for (double along = from; along < to + step; along += step) {
            RoadPoint point = line(along);
            const double clearOfWater = relief_.waterLevel(point.y) + 2.8;
            point.level = std::max(relief_.height(point.x, point.y), clearOfWater);
            points.push_back(point);
        }
        smoothLevels(points);
        for (std::size_t i = 1; i < points.size(); ++i) {
            pieces_.add({points[i - 1], points[i], halfWidth}, points[i].x, points[i].y, reach + step);
        }
        return points;
    }

    static void smoothLevels(std::vector<RoadPoint>& points) {
        for (int pass = 0; pass < 40; ++pass) {
            for (std::size_t i = 1; i + 1 < points.size(); ++i) {
                points[i].level = (points[i - 1].level + 2 * points[i].level + points[i + 1].level) / 4;
            }
        }
    }

    const Relief& relief_;
    Buckets<Piece> pieces_;
    std::vector<std::vector<RoadPoint>> streets_;
};

// ---------------------------------------------------------------------------------------------------------------
// Ground: the relief with its roads, and what covers it.

struct Colour {
    double red = 0;
    double green = 0;
    double blue = 0;
};

Colour shaded(Colour c, double factor) { return {c.red * factor, c.green * factor, c.blue * factor}; }

enum class Cover { Water, Road, Meadow, Field };

struct Surface {
    Cover cover = Cover::Meadow;
    double height = 0;
    double plants = 0; ///< height of grass or crop
    Colour colour;
};

class Ground {
public:
    Ground(std::uint64_t seed, const Relief& relief, const Roads& roads)
        : relief_(relief), roads_(roads), patches_(scramble(seed, 4, 0)), seed_(scramble(seed, 5, 0)) {}

    double height(double x, double y) const { return height(x, y, roads_.nearest(x, y)); }

    Surface at(double x, double y) const {
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
    /// How much of the place belongs to trees, 0 to 1.
    double wood(double x, double y) const {
        const double across = relief_.fromRiver(x, y);
        const double patch = patches_.rough(x / 110, y / 110, 2);
        if (across < 0) {
            return 0.95 * ramp(34, 50, -across + 14 * patch) * ramp(-0.75, -0.5, patch);
        }
        return 0.9 * ramp(225, 240, across) * ramp(0.22, 0.34, patch);
    }

    bool onBank(double x, double y) const {
        const double beyondWater = std::abs(relief_.fromRiver(x, y)) - Relief::riverHalfWidth;
        return beyondWater > 2 && beyondWater < 8 && patches_.at(x / 35, y / 35) > -0.1;
    }

    /// Hedges stand where two fields meet.
    bool onHedge(double x, double y) const {
        const Parcel parcel = parcelAt(x, y);
        return isFarmland(x, y) && parcel.edge < 1.5 && parcel.hash % 5 == 0;
    }

    double fromRoad(double x, double y) const { return roads_.nearest(x, y).distance; }
    double fromRiver(double x, double y) const { return std::abs(relief_.fromRiver(x, y)); }

private:
    struct Parcel {
        std::uint64_t hash = 0;
        double edge = 0; ///< distance from the nearest border
        double along = 0;
    };

    double height(double x, double y, const RoadPlace& road) const {
        const double natural = relief_.height(x, y);
        // A bridge ends at its railing; anywhere else the ground comes up to the road.
        const double shoulder = overRiver(x, y) ? 0.3 : 5;
        return road.distance > shoulder ? natural
                                        : mixed(road.level, natural, ramp(0, shoulder, road.distance));
    }

    bool isFarmland(double x, double y) const { return relief_.fromRiver(x, y) > 215; }

    bool overRiver(double x, double y) const { return fromRiver(x, y) < Relief::riverHalfWidth + 3; }

    Parcel parcelAt(double x, double y) const {
        const double length = 120;
        const double width = 62;
        const double u = 0.94 * x + 0.34 * y + 6 * patches_.at(x / 90, y / 90);
        const double v = -0.34 * x + 0.94 * y;
        const double i = std::floor(u / length);
        const double j = std::floor(v / width);
        const double edge =
            std::min({u - i * length, (i + 1) * length - u, v - j * width, (j + 1) * width - v});
        return {scramble(seed_, static_cast<std::int64_t>(i), static_cast<std::int64_t>(j)), edge, v};
    }

    Surface meadow(double x, double y, double ground) const {
        const double tint = 0.12 * patches_.rough(x / 25, y / 25, 3);
        return {Cover::Meadow, ground, 0.12, {106 * (1 + tint), 134 * (1 + 0.7 * tint), 70 * (1 + tint)}};
    }

    Surface field(double x, double y, double ground) const {
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

    const Relief& relief_;
    const Roads& roads_;
    Noise patches_;
    std::uint64_t seed_;
};

// ---------------------------------------------------------------------------------------------------------------
// Houses

enum class Roof { Gable, Hip, Tent, Flat };

struct House {
    double x = 0;
    double y = 0;
    double ridgeX = 1; ///< direction of the ridge, a unit long
    double ridgeY = 0;
    double halfLength = 0;
    double halfWidth = 0;
    double eaves = 0; ///< above sea level, as all heights
    double ridge = 0;
    Roof roof = Roof::Gable;
    Colour colour;

    void turn(double angle) {
        ridgeX = std::cos(angle);
        ridgeY = std::sin(angle);
    }

    double radius() const { return std::hypot(halfLength, halfWidth); }

    /// Height of the roof over a place, if the house covers it.
    std::optional<double> top(double px, double py) const {
        const double dx = px - x;
        const double dy = py - y;
        const double u = std::abs(ridgeX * dx + ridgeY * dy);
        const double v = std::abs(ridgeX * dy - ridgeY * dx);
        if (u > halfLength || v > halfWidth) {
            return std::nullopt;
        }
        return mixed(eaves, ridge, climb(u, v));
    }

private:
    /// How far from eaves to ridge, 0 to 1.
    double climb(double u, double v) const {
        const double fromSide = 1 - v / halfWidth;
        switch (roof) {
        case Roof::Gable:
            return fromSide;
        case Roof::Hip:
            return std::min(fromSide, (halfLength - u) / halfWidth);
        case Roof::Tent:
            return std::min(fromSide, 1 - u / halfLength);
        case Roof::Flat:
            break;
        }
        return 0;
    }
};

class Village {
public:
    Village(std::uint64_t seed, const Ground& ground, const Roads& roads, double side)
        : ground_(ground), houses_(side), side_(side) {
        Chance chance(scramble(seed, 6, 0));
        buildChurch(chance, roads.streets().front());
        for (const auto& street : roads.streets()) {
            line(street, chance);
        }
    }

    std::span<const House> around(double x, double y) const { return houses_.around(x, y); }
    const std::vector<House>& all() const { return all_; }

    /// Whether a circle keeps clear of all walls.
    bool isFree(double x, double y, double radius) const {
        return std::none_of(all_.begin(), all_.end(), [&](const House& house) {
            return std::hypot(house.x - x, house.y - y) < house.radius() + radius;
        });
    }

private:
    void line(const std::vector<RoadPoint>& street, Chance& chance) {
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
                const bool built =
                    chance.happens(settled(street[i])) && tryHouse(street[i], angle, hand, chance);
                wait = built ? chance.between(17, 25) : 5;
            }
        }
    }

    /// Houses grow fewer towards the ends of the village.
    double settled(const RoadPoint& place) const {
        return 0.9 * (1 - ramp(170, 330, std::abs(place.y - 0.5 * side_)));
    }

    bool tryHouse(const RoadPoint& street, double angle, double hand, Chance& chance) {
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
        if (!fits(house)) {
            return false;
        }
        add(house);
        if (chance.happens(0.55)) {
            addGarage(house, chance);
        }
        return true;
    }

    bool fits(const House& house) const {
        const double margin = 6;
        const bool inside =
            std::min(house.x, house.y) > margin && std::max(house.x, house.y) < side_ - margin;
        return inside && isFree(house.x, house.y, house.radius() + 1.5) &&
               ground_.fromRiver(house.x, house.y) > 26 &&
               ground_.fromRoad(house.x, house.y) > house.halfWidth + 1 &&
               ground_.wood(house.x, house.y) < 0.3;
    }

    void addGarage(const House& house, Chance& chance) {
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

    void buildChurch(Chance& chance, const std::vector<RoadPoint>& street) {
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

    static Colour roofColour(Chance& chance) {
        const std::array<Colour, 4> tiles{{{166, 88, 64}, {142, 70, 54}, {112, 82, 70}, {92, 92, 96}}};
        const Colour& tile = tiles[static_cast<std::size_t>(chance.between(0, 3.99))];
        return shaded(tile, chance.between(0.88, 1.1));
    }

    void add(const House& house) {
        all_.push_back(house);
        houses_.add(house, house.x, house.y, house.radius());
    }

    const Ground& ground_;
    Buckets<House> houses_;
    std::vector<House> all_;
    double side_;
};

// ---------------------------------------------------------------------------------------------------------------
// Trees

struct Tree {
    double x = 0;
    double y = 0;
    double foot = 0;
    double height = 0;
    double radius = 0;
    bool conifer = false;
    double tint = 1;

    /// Height of the crown's outside over a place, if the crown covers it.
    std::optional<double> top(double px, double py) const {
        const double square = ((px - x) * (px - x) + (py - y) * (py - y)) / (radius * radius);
        if (square > 1) {
            return std::nullopt;
        }
        const double aside = std::sqrt(square);
        const double lowest = conifer ? 0.25 : 0.45;
        const double outline = conifer ? 1 - aside : std::sqrt(1 - aside * aside);
        return foot + height * mixed(lowest, 1, outline);
    }
};

class Trees {
public:
    Trees(std::uint64_t seed, const Ground& ground, const Village& village, double side)
        : ground_(ground), village_(village), trees_(side), stands_(scramble(seed, 7, 0)) {
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

    std::span<const Tree> around(double x, double y) const { return trees_.around(x, y); }
    const std::vector<Tree>& all() const { return all_; }

private:
    static constexpr double spacing = 5;

    void plant(double x, double y, Chance& chance) {
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

    void add(double x, double y, double height, double radius, bool conifer, Chance& chance) {
        if (!village_.isFree(x, y, 0.6 * radius)) {
            return;
        }
        const Tree tree{x, y, ground_.height(x, y), height, radius, conifer, chance.between(0.8, 1.2)};
        all_.push_back(tree);
        trees_.add(tree, x, y, radius);
    }

    const Ground& ground_;
    const Village& village_;
    Buckets<Tree> trees_;
    std::vector<Tree> all_;
    Noise stands_;
};

// ---------------------------------------------------------------------------------------------------------------
// Echoes: what comes back from one pulse

enum class Class : std::uint8_t {
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
    Class kind = Class::Ground;
    double strength = 0; ///< share of the light that this kind of thing sends back, 0 to 1
    Colour colour;
};

/// A pulse leans by so much to the east and the north for every metre that it is above its target.
struct Pulse {
    double x = 0;
    double y = 0;
    double leanX = 0;
    double leanY = 0;
};

class Landscape {
public:
    Landscape(std::uint64_t seed, double side)
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
    Landscape(const Landscape&) = delete;
    Landscape& operator=(const Landscape&) = delete;

    /// Follows a pulse down; from the first echo to the last.
    std::vector<Echo> echoes(const Pulse& pulse, Chance& chance) const {
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

private:
    struct Hit {
        double x = 0;
        double y = 0;
        double z = 0;
        const House* house = nullptr;
        const Tree* tree = nullptr;
    };

    /// Something that stands at a place and reaches up to a given height.
    std::optional<Hit> obstacle(double x, double y, double z) const {
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

    /// An oblique pulse may meet a thing well beside its target.
    void raise(double x, double y, double reach, double top) {
        const double farthest = 10;
        highestNear_.within(x, y, reach + farthest,
                            [&](double& highest) { highest = std::max(highest, top); });
    }

    std::optional<Hit> firstHit(const Pulse& pulse, double ground) const {
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

    static Echo roofEcho(const Hit& hit, Chance& chance) {
        const House& house = *hit.house;
        return {hit.x, hit.y, hit.z + 0.02 * chance.bell(), Class::Building, 0.45, house.colour};
    }

    static void crownEchoes(const Hit& hit, const Pulse& pulse, double ground, Chance& chance,
                            std::vector<Echo>& found) {
        const std::size_t most = 3; // leaves two for the ground
        const Colour leaves =
            shaded(hit.tree->conifer ? Colour{44, 70, 44} : Colour{70, 104, 48}, hit.tree->tint);
        double z = hit.z - chance.depth(hit.tree->conifer ? 0.15 : 0.25);
        while (z > ground + 0.6 && found.size() < most) {
            const double x = pulse.x + (z - ground) * pulse.leanX;
            const double y = pulse.y + (z - ground) * pulse.leanY;
            const Class kind = z > ground + 2 ? Class::HighPlants : Class::LowPlants;
            const double dimmed = 0.5 / static_cast<double>(found.size() + 1);
            found.push_back({x, y, z, kind, dimmed, shaded(leaves, chance.between(0.75, 1.2))});
            if (!chance.happens(0.3)) {
                return;
            }
            z -= 1 + chance.depth(4);
        }
    }

    static void groundEchoes(const Surface& surface, const Pulse& pulse, Chance& chance,
                             std::vector<Echo>& found) {
        const double noise = 0.02 * chance.bell();
        const double grain = chance.between(0.9, 1.1);
        const auto add = [&](double above, Class kind, double strength) {
            found.push_back({pulse.x + above * pulse.leanX, pulse.y + above * pulse.leanY,
                             surface.height + above + noise, kind, strength, shaded(surface.colour, grain)});
        };
        switch (surface.cover) {
        case Cover::Water:
            // A mirror: the flatter the pulse comes in, the less of it comes back.
            if (chance.happens(0.98 - 0.4 * std::hypot(pulse.leanX, pulse.leanY))) {
                add(0, Class::Water, 0.05);
            }
            return;
        case Cover::Road:
            return add(0, Class::Road, 0.18);
        case Cover::Meadow:
            return add(surface.plants * chance.unit(), Class::Ground, 0.62);
        case Cover::Field:
            break;
        }
        const bool thick = surface.plants > 0.3;
        if (thick && chance.happens(0.85)) {
            add(surface.plants * chance.between(0.8, 1), Class::LowPlants, 0.5);
        }
        if (!thick || chance.happens(0.3)) {
            add(0, Class::Ground, 0.4);
        }
    }

    Relief relief_;
    Roads roads_;
    Ground ground_;
    Village village_;
    Trees trees_;
    Squares<double> highestNear_;
};

// ---------------------------------------------------------------------------------------------------------------
// Scanner: flies north and south over the scene, in strips that overlap

struct Shot {
    Pulse pulse;
    double time = 0;
    double angle = 0; ///< degrees, negative to the left of the flight
    std::uint16_t strip = 0;
    bool edge = false; ///< the last one of a turn of the mirror
    bool overlap = false;
};

class Scanner {
public:
    explicit Scanner(double side)
        : side_(side), strips_(std::max(2, static_cast<int>(std::ceil(side / 230)))) {}

    int strips() const { return strips_; }

    /// Calls shoot(Shot, Chance&) for each pulse that aims into the scene, in the order of the flight.
    template <class Shoot> void fly(double spacing, std::uint64_t seed, Shoot shoot) const {
        double time = firstTime;
        for (int strip = 0; strip < strips_; ++strip, time += timeToTurn) {
            const double width = side_ / strips_;
            const double reach = 0.5 * width * 1.3;
            const double altitude = reach / std::tan(widest * std::numbers::pi / 180);
            const double middle = (strip + 0.5) * width;
            const double heading = strip % 2 == 0 ? 1 : -1;
            const auto lines = static_cast<std::int64_t>((side_ + 2 * margin) / spacing) + 2;
            const auto shots = static_cast<std::int64_t>(2 * reach / spacing);
            for (std::int64_t line = 0; line < lines; ++line) {
                Chance chance(scramble(seed + static_cast<std::uint64_t>(strip), line, 8));
                const double along = static_cast<double>(line) * spacing - margin;
                for (std::int64_t i = 0; i < shots; ++i, time += timePerShot) {
                    // The aircraft flies on while the mirror turns, and it is never quite still.
                    const double share = (static_cast<double>(i) + 0.5) / static_cast<double>(shots);
                    const double sway = 0.8 * std::sin(along / 37 + strip);
                    const double across = (2 * share - 1) * reach;
                    Shot shot;
                    shot.pulse.x = middle + heading * across + sway + 0.15 * spacing * chance.bell();
                    const double y = along + share * spacing + 0.15 * spacing * chance.bell();
                    shot.pulse.y = heading > 0 ? y : side_ - y;
                    shot.pulse.leanX = (middle - shot.pulse.x) / altitude;
                    shot.pulse.leanY = -0.02 * heading;
                    shot.time = time;
                    shot.angle = std::atan(across / altitude) * 180 / std::numbers::pi;
                    shot.strip = static_cast<std::uint16_t>(strip + 1);
                    shot.edge = i + 1 == shots;
                    shot.overlap = std::abs(shot.pulse.x - middle) > width / 2;
                    if (isNear(shot.pulse)) {
                        shoot(shot, chance);
                    }
                }
            }
        }
    }

    /// Keeps off the far edges, where a coordinate would be rounded out of the scene.
    bool covers(double x, double y) const { return std::min(x, y) >= 0 && std::max(x, y) < side_ - 0.001; }

private:
    static constexpr double margin = 10;          // what aims past the scene may meet a crown in it
    static constexpr double widest = 20;          // degrees
    static constexpr double firstTime = 39715200; // adjusted standard GPS time, on a day in spring
    static constexpr double timeToTurn = 180;
    static constexpr double timePerShot = 1 / 240000.0;

    bool isNear(const Pulse& pulse) const {
        return std::min(pulse.x, pulse.y) > -margin && std::max(pulse.x, pulse.y) < side_ + margin;
    }

    double side_;
    int strips_;
};

// ---------------------------------------------------------------------------------------------------------------
// LAS 1.4, point format 7

const std::string_view coordinateSystem =
    R"(COMPD_CS["WGS 84 / UTM zone 32N + EGM96 height",)"
    R"(PROJCS["WGS 84 / UTM zone 32N",GEOGCS["WGS 84",DATUM["WGS_1984",)"
    R"(SPHEROID["WGS 84",6378137,298.257223563,AUTHORITY["EPSG","7030"]],AUTHORITY["EPSG","6326"]],)"
    R"(PRIMEM["Greenwich",0,AUTHORITY["EPSG","8901"]],)"
    R"(UNIT["degree",0.0174532925199433,AUTHORITY["EPSG","9122"]],AUTHORITY["EPSG","4326"]],)"
    R"(PROJECTION["Transverse_Mercator"],PARAMETER["latitude_of_origin",0],PARAMETER["central_meridian",9],)"
    R"(PARAMETER["scale_factor",0.9996],PARAMETER["false_easting",500000],PARAMETER["false_northing",0],)"
    R"(UNIT["metre",1,AUTHORITY["EPSG","9001"]],AXIS["Easting",EAST],AXIS["Northing",NORTH],)"
    R"(AUTHORITY["EPSG","32632"]],)"
    R"(VERT_CS["EGM96 height",VERT_DATUM["EGM96 geoid",2005,AUTHORITY["EPSG","5171"]],)"
    R"(UNIT["metre",1,AUTHORITY["EPSG","9001"]],AXIS["Gravity-related height",UP],AUTHORITY["EPSG","5773"]]])";

class Bytes {
public:
    template <class T> void number(T value) {
        static_assert(std::endian::native == std::endian::little, "LAS files are little-endian");
        const std::size_t end = bytes_.size();
        bytes_.resize(end + sizeof(T));
        std::memcpy(bytes_.data() + end, &value, sizeof(T));
    }

    /// A text in a field of fixed length, filled up with zeros.
    void text(std::string_view text, std::size_t length) {
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        bytes_.resize(bytes_.size() + length - text.size());
    }

    std::size_t size() const { return bytes_.size(); }

    void writeTo(std::ostream& file) {
        file.write(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
        bytes_.clear();
    }

private:
    std::vector<char> bytes_;
};

class LasFile {
public:
    explicit LasFile(const fs::path& path)
        : path_(path), part_(path.parent_path() / ("." + path.filename().string() + ".part")),
          file_(part_, std::ios::binary | std::ios::trunc) {
        writeHead();
        if (!file_) {
            fail();
        }
    }

    ~LasFile() {
        if (!complete_) {
            file_.close();
            std::error_code ignored;
            fs::remove(part_, ignored);
        }
    }

    LasFile(const LasFile&) = delete;
    LasFile& operator=(const LasFile&) = delete;

    std::uint64_t points() const { return points_; }

    void add(const Shot& shot, std::span<const Echo> echoes) {
        for (std::size_t i = 0; i < echoes.size(); ++i) {
            addPoint(shot, echoes[i], i + 1, echoes.size());
        }
    }

    /// The file gets its name only now, when it is complete.
    void finish() {
        buffer_.writeTo(file_);
        file_.seekp(0);
        writeHead();
        file_.close();
        std::error_code error;
        if (file_) {
            fs::rename(part_, path_, error);
        }
        if (!file_ || error) {
            fail();
        }
        complete_ = true;
    }

private:
    static constexpr std::uint16_t headerSize = 375;
    static constexpr std::uint16_t vlrHeaderSize = 54;
    static constexpr std::uint16_t pointSize = 36;
    static constexpr std::size_t bufferSize = 1 << 20;
    static constexpr double scale = 0.001;
    static constexpr std::array<double, 3> origin{612000, 5341000, 0};

    [[noreturn]] void fail() const {
        throw std::runtime_error(path_.string() + ": cannot be written; check the folder and the free space");
    }

    void addPoint(const Shot& shot, const Echo& echo, std::size_t number, std::size_t count) {
        const std::array<double, 3> place{echo.x, echo.y, echo.z};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto stored = static_cast<std::int32_t>(std::lround(place[axis] / scale));
            buffer_.number(stored);
            least_[axis] = std::min(least_[axis], stored);
            greatest_[axis] = std::max(greatest_[axis], stored);
        }
        buffer_.number(static_cast<std::uint16_t>(std::clamp(echo.strength, 0.0, 1.0) * 65535));
        buffer_.number(static_cast<std::uint8_t>(number | count << 4));
        const int rightwards = 0x40; // the mirror only ever turns this way
        buffer_.number(
            static_cast<std::uint8_t>((shot.overlap ? 0x08 : 0) | rightwards | (shot.edge ? 0x80 : 0)));
        buffer_.number(static_cast<std::uint8_t>(echo.kind));
        buffer_.number(std::uint8_t(0));
        buffer_.number(static_cast<std::int16_t>(std::lround(shot.angle / 0.006)));
        buffer_.number(shot.strip);
        buffer_.number(shot.time);
        for (double part : {echo.colour.red, echo.colour.green, echo.colour.blue}) {
            buffer_.number(static_cast<std::uint16_t>(std::clamp(part, 0.0, 255.0) * 257));
        }
        ++points_;
        ++pointsOfReturn_[number - 1];
        if (buffer_.size() >= bufferSize) {
            buffer_.writeTo(file_);
        }
    }

    void writeHead() {
        const std::size_t wktSize = coordinateSystem.size() + 1;
        Bytes head;
        head.text("LASF", 4);
        head.number(std::uint16_t(0));    // file source
        head.number(std::uint16_t(0x11)); // adjusted GPS time, coordinate system as WKT
        head.text("", 16);                // GUID
        head.number(std::uint8_t(1));
        head.number(std::uint8_t(4));
        head.text("SYNTHETIC", 32);
        head.text("tilewright-makescan", 32);
        head.number(std::uint16_t(96)); // a fixed day, as equal calls give equal files
        head.number(std::uint16_t(2024));
        head.number(headerSize);
        head.number(static_cast<std::uint32_t>(headerSize + vlrHeaderSize + wktSize));
        head.number(std::uint32_t(1)); // variable length records
        head.number(std::uint8_t(7));
        head.number(pointSize);
        head.text("", 4 + 5 * 4); // counts for older readers, who do not know this point format anyway
        for (int axis = 0; axis < 3; ++axis) {
            head.number(scale);
        }
        for (double along : origin) {
            head.number(along);
        }
        for (std::size_t axis = 0; axis < 3; ++axis) {
            head.number(origin[axis] + scale * greatest_[axis]);
            head.number(origin[axis] + scale * least_[axis]);
        }
        head.text("", 8 + 8 + 4); // no waveforms, no extended records
        head.number(points_);
        for (std::uint64_t count : pointsOfReturn_) {
            head.number(count);
        }

        head.number(std::uint16_t(0));
        head.text("LASF_Projection", 16);
        head.number(std::uint16_t(2112));
        head.number(static_cast<std::uint16_t>(wktSize));
        head.text("OGC WKT", 32);
        head.text(coordinateSystem, wktSize);
        head.writeTo(file_);
    }

    fs::path path_;
    fs::path part_;
    std::ofstream file_;
    bool complete_ = false;
    Bytes buffer_;
    std::uint64_t points_ = 0;
    std::array<std::uint64_t, 15> pointsOfReturn_{};
    std::array<std::int32_t, 3> least_{INT32_MAX, INT32_MAX, INT32_MAX};
    std::array<std::int32_t, 3> greatest_{INT32_MIN, INT32_MIN, INT32_MIN};
};

// ---------------------------------------------------------------------------------------------------------------

struct Request {
    std::string out;
    double points = 400000;
    double density = 2.5;
    std::uint64_t seed = 7;
};

template <class Take>
void scan(const Landscape& landscape, const Scanner& scanner, double spacing, std::uint64_t seed, Take take) {
    scanner.fly(spacing, seed, [&](const Shot& shot, Chance& chance) {
        std::vector<Echo> echoes = landscape.echoes(shot.pulse, chance);
        std::erase_if(echoes, [&](const Echo& echo) { return !scanner.covers(echo.x, echo.y); });
        take(shot, std::span<const Echo>(echoes));
    });
}

/// The distance of the pulses that gives about so many points. How many echoes a pulse has depends on the
/// landscape, so a thin scan has to tell.
double spacingFor(double points, const Landscape& landscape, const Scanner& scanner, double side,
                  std::uint64_t seed) {
    const double thin = std::max(side / 150, std::sqrt(side * side / points));
    double found = 0;
    scan(landscape, scanner, thin, seed,
         [&](const Shot&, std::span<const Echo> echoes) { found += static_cast<double>(echoes.size()); });
    return thin * std::sqrt(found / points);
}

void make(const Request& request) {
    const double side = std::sqrt(request.points / request.density);
    const Landscape landscape(request.seed, side);
    const Scanner scanner(side);
    const double spacing = spacingFor(request.points, landscape, scanner, side, request.seed);

    LasFile file(request.out);
    scan(landscape, scanner, spacing, request.seed,
         [&](const Shot& shot, std::span<const Echo> echoes) { file.add(shot, echoes); });
    file.finish();
    std::cout << request.out << ": " << file.points() << " points in " << scanner.strips() << " strips over "
              << std::lround(side) << " x " << std::lround(side) << " m\n";
}

} // namespace

int main(int argc, char** argv) {
    Request request;
    CLI::App app("Makes an airborne laser scan of a valley that does not exist", "tilewright-makescan");
    app.add_option("OUT", request.out, "LAS file to write")->required();
    app.add_option("--points", request.points, "About how many points")
        ->check(CLI::Range(1000.0, 4e9))
        ->capture_default_str();
    app.add_option("--density", request.density,
                   "Points per square metre; the size of the scene follows from it")
        ->check(CLI::Range(0.01, 1000.0))
        ->capture_default_str();
    app.add_option("--seed", request.seed, "Another number is another valley")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        make(request);
    } catch (const std::exception& error) {
        std::cerr << "tilewright-makescan: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
