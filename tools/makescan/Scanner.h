/// Scanner: flies north and south over the scene, in strips that overlap.
#pragma once

#include "Chance.h"
#include "Pulse.h"

#include <cstdint>
#include <functional>

namespace Tilewright::MakeScan {

struct Shot {
    Pulse pulse;
    double time = 0;  ///< adjusted standard GPS time
    double angle = 0; ///< degrees, negative to the left of the flight
    std::uint16_t strip = 0;
    bool edge = false; ///< the last one of a turn of the mirror
    bool overlap = false;
};

class Scanner {
public:
    /// Takes a shot; later chances of the same turn of the mirror come from the same source.
    using Shoot = std::function<void(const Shot&, Chance&)>;

    explicit Scanner(double side);

    int strips() const { return strips_; }

    /// Calls `shoot` for each pulse that aims into the scene or close to it, in the order of the flight.
    /// `spacing` is the distance of neighbouring pulses in a strip.
    void fly(double spacing, std::uint64_t seed, const Shoot& shoot) const;

    /// Leaves out the far edges, where rounding could move a coordinate out of the scene.
    bool covers(double x, double y) const;

private:
    struct Strip {
        int number = 0;
        double width = 0;
        double reach = 0; ///< of the mirror to either side
        double altitude = 0;
        double middle = 0;
        double heading = 1; ///< 1 for north, -1 for south
    };

    Strip stripAt(int number) const;
    Shot aim(const Strip& strip, double along, double share, double spacing, Chance& chance) const;
    bool isNear(const Pulse& pulse) const;

    double side_;
    int strips_;
};

} // namespace Tilewright::MakeScan
