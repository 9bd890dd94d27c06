/// Landscape: all that a pulse can meet.
#pragma once

#include "Chance.h"
#include "Ground.h"
#include "Pulse.h"
#include "Relief.h"
#include "Roads.h"
#include "Squares.h"
#include "Trees.h"
#include "Village.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace Tilewright::MakeScan {

class Landscape {
public:
    Landscape(std::uint64_t seed, double side);
    // The parts refer to one another.
    Landscape(const Landscape&) = delete;
    Landscape& operator=(const Landscape&) = delete;

    /// Follows a pulse down. Returns its echoes from first to last: five at most, none where no light comes
    /// back.
    std::vector<Echo> echoes(const Pulse& pulse, Chance& chance) const;

private:
    /// Where a pulse enters a house or a tree; one of the two is null.
    struct Hit {
        double x = 0;
        double y = 0;
        double z = 0;
        const House* house = nullptr;
        const Tree* tree = nullptr;
    };

    void raise(double x, double y, double reach, double top);
    std::optional<Hit> obstacle(double x, double y, double z) const;
    std::optional<Hit> firstHit(const Pulse& pulse, double ground) const;
    static Echo roofEcho(const Hit& hit, Chance& chance);
    static void crownEchoes(const Hit& hit, const Pulse& pulse, double ground, Chance& chance,
                            std::vector<Echo>& found);
    static void groundEchoes(const Surface& surface, const Pulse& pulse, Chance& chance,
                             std::vector<Echo>& found);

    Relief relief_;
    Roads roads_;
    Ground ground_;
    Village village_;
    Trees trees_;
    Squares<double> highestNear_;
};

} // namespace Tilewright::MakeScan
