/// Ground: the relief with its roads, and what covers it.
#pragma once

#include "Colour.h"
#include "Noise.h"
#include "Relief.h"
#include "Roads.h"

#include <cstdint>

namespace Tilewright::MakeScan {

enum class Cover { Water, Road, Meadow, Field };

struct Surface {
    Cover cover = Cover::Meadow;
    double height = 0;
    double plants = 0; ///< height of grass or crop
    Colour colour;
};

class Ground {
public:
    /// Keeps references to the relief and the roads.
    Ground(std::uint64_t seed, const Relief& relief, const Roads& roads);

    /// Of the road where there is one, and of the river bed where there is water.
    double height(double x, double y) const { return height(x, y, roads_.nearest(x, y)); }

    /// What a pulse meets that nothing else stops.
    Surface at(double x, double y) const;

    /// How much of the place belongs to trees, 0 to 1.
    double wood(double x, double y) const;

    bool onBank(double x, double y) const;

    /// Hedges grow where two fields meet.
    bool onHedge(double x, double y) const;

    /// From the edge of the nearest road; negative on it, infinite where no road is near.
    double fromRoad(double x, double y) const { return roads_.nearest(x, y).distance; }
    /// From the middle of the river.
    double fromRiver(double x, double y) const;

private:
    struct Parcel {
        std::uint64_t hash = 0;
        double edge = 0; ///< distance from the nearest border
        double along = 0;
    };

    double height(double x, double y, const RoadPlace& road) const;
    bool isFarmland(double x, double y) const;
    bool overRiver(double x, double y) const;
    Parcel parcelAt(double x, double y) const;
    Surface meadow(double x, double y, double ground) const;
    Surface field(double x, double y, double ground) const;

    const Relief& relief_;
    const Roads& roads_;
    Noise patches_;
    std::uint64_t seed_;
};

} // namespace Tilewright::MakeScan
