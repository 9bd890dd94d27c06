/// Trees: woods, hedges, the banks of the river and single trees.
#pragma once

#include "Blend.h"
#include "Chance.h"
#include "Ground.h"
#include "Noise.h"
#include "Squares.h"
#include "Village.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Tilewright::MakeScan {

struct Tree {
    double x = 0;
    double y = 0;
    double foot = 0;
    double height = 0; ///< above its foot
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
    /// Keeps references to the ground and the village.
    Trees(std::uint64_t seed, const Ground& ground, const Village& village, double side);

    /// All trees that may cover a place, and some more.
    std::span<const Tree> around(double x, double y) const { return trees_.around(x, y); }
    const std::vector<Tree>& all() const { return all_; }

private:
    void plant(double x, double y, Chance& chance);
    void add(double x, double y, double height, double radius, bool conifer, Chance& chance);

    const Ground& ground_;
    const Village& village_;
    Buckets<Tree> trees_;
    std::vector<Tree> all_;
    Noise stands_;
};

} // namespace Tilewright::MakeScan
