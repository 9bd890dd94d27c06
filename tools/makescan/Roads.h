/// Roads: two along the valley and some across it, one of them over the river.
#pragma once

#include "Relief.h"
#include "Squares.h"

#include <functional>
#include <limits>
#include <vector>

namespace Tilewright::MakeScan {

struct RoadPoint {
    double x = 0;
    double y = 0;
    double level = 0;
};

struct RoadPlace {
    /// From the edge of the road; negative on it.
    double distance = std::numeric_limits<double>::infinity();
    double level = 0;
};

class Roads {
public:
    /// Keeps a reference to the relief.
    explicit Roads(const Relief& relief);

    /// The nearest road, if one is near enough to matter; otherwise infinitely far.
    RoadPlace nearest(double x, double y) const;

    /// The middle lines of the streets where people live. The main street comes first.
    const std::vector<std::vector<RoadPoint>>& streets() const { return streets_; }

private:
    struct Piece {
        RoadPoint from;
        RoadPoint to;
        double halfWidth;
    };
    /// From a distance along the road to a place, without its level.
    using Line = std::function<RoadPoint(double)>;

    static constexpr double step = 4;
    static constexpr double reach = 14;

    double mainX(double y) const;
    double upperX(double y) const;
    std::vector<RoadPoint> lay(double from, double to, double halfWidth, const Line& line);
    static void smoothLevels(std::vector<RoadPoint>& points);

    const Relief& relief_;
    Buckets<Piece> pieces_;
    std::vector<std::vector<RoadPoint>> streets_;
};

} // namespace Tilewright::MakeScan
