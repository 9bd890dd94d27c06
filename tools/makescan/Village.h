/// Village: houses along the streets, and a church.
#pragma once

#include "Blend.h"
#include "Chance.h"
#include "Colour.h"
#include "Ground.h"
#include "Roads.h"
#include "Squares.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Tilewright::MakeScan {

enum class Roof { Gable, Hip, Tent, Flat };

struct House {
    double x = 0;
    double y = 0;
    double ridgeX = 1; ///< direction of the ridge, a vector of length 1
    double ridgeY = 0;
    double halfLength = 0;
    double halfWidth = 0;
    double eaves = 0; ///< above sea level, like all heights
    double ridge = 0;
    Roof roof = Roof::Gable;
    Colour colour;

    void turn(double angle);

    /// Of the circle around the house.
    double radius() const;

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
    /// How far up from eaves to ridge, 0 to 1, at a distance `u` from the middle along the ridge and `v`
    /// across it.
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
    /// Keeps a reference to the ground.
    Village(std::uint64_t seed, const Ground& ground, const Roads& roads, double side);

    /// All houses that may cover a place, and some more.
    std::span<const House> around(double x, double y) const { return houses_.around(x, y); }
    const std::vector<House>& all() const { return all_; }

    /// Whether a circle keeps clear of all houses.
    bool isFree(double x, double y, double radius) const;

private:
    void buildAlong(const std::vector<RoadPoint>& street, Chance& chance);
    double settled(const RoadPoint& place) const;
    bool tryHouse(const RoadPoint& street, double angle, double hand, Chance& chance);
    House houseAt(const RoadPoint& street, double angle, double hand, Chance& chance) const;
    bool fits(const House& house) const;
    void addGarage(const House& house, Chance& chance);
    void buildChurch(Chance& chance, const std::vector<RoadPoint>& street);
    void add(const House& house);

    const Ground& ground_;
    Buckets<House> houses_;
    std::vector<House> all_;
    double side_;
};

} // namespace Tilewright::MakeScan
