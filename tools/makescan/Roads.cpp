#include "Roads.h"

#include "Blend.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Tilewright::MakeScan {

Roads::Roads(const Relief& relief) : relief_(relief), pieces_(relief.side()) {
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

RoadPlace Roads::nearest(double x, double y) const {
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

double Roads::mainX(double y) const { return relief_.valleyX(y) + 56; }

double Roads::upperX(double y) const { return relief_.valleyX(0.7 * y) + 148 + 9 * std::sin(y / 47); }

std::vector<RoadPoint> Roads::lay(double from, double to, double halfWidth, const Line& line) {
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

void Roads::smoothLevels(std::vector<RoadPoint>& points) {
    for (int pass = 0; pass < 40; ++pass) {
        for (std::size_t i = 1; i + 1 < points.size(); ++i) {
            points[i].level = (points[i - 1].level + 2 * points[i].level + points[i + 1].level) / 4;
        }
    }
}

} // namespace Tilewright::MakeScan
