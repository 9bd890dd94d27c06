#include "Scanner.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Tilewright::MakeScan {

namespace {

constexpr double margin = 10;          // a pulse that aims past the scene may meet a crown in it
constexpr double widest = 20;          // degrees
constexpr double firstTime = 39715200; // adjusted standard GPS time, on a day in spring
constexpr double timeToTurn = 180;
constexpr double timePerShot = 1 / 240000.0;

} // namespace

Scanner::Scanner(double side) : side_(side), strips_(std::max(2, static_cast<int>(std::ceil(side / 230)))) {}

void Scanner::fly(double spacing, std::uint64_t seed, const Shoot& shoot) const {
    const auto lines = static_cast<std::int64_t>((side_ + 2 * margin) / spacing) + 2;
    double time = firstTime;
    for (int number = 0; number < strips_; ++number, time += timeToTurn) {
        const Strip strip = stripAt(number);
        const auto shots = static_cast<std::int64_t>(2 * strip.reach / spacing);
        for (std::int64_t line = 0; line < lines; ++line) {
            Chance chance(scramble(seed + static_cast<std::uint64_t>(number), line, 8));
            const double along = static_cast<double>(line) * spacing - margin;
            for (std::int64_t i = 0; i < shots; ++i, time += timePerShot) {
                const double share = (static_cast<double>(i) + 0.5) / static_cast<double>(shots);
                Shot shot = aim(strip, along, share, spacing, chance);
                shot.time = time;
                shot.edge = i + 1 == shots;
                if (isNear(shot.pulse)) {
                    shoot(shot, chance);
                }
            }
        }
    }
}

bool Scanner::covers(double x, double y) const {
    return std::min(x, y) >= 0 && std::max(x, y) < side_ - 0.001;
}

Scanner::Strip Scanner::stripAt(int number) const {
    Strip strip;
    strip.number = number;
    strip.width = side_ / strips_;
    strip.reach = 0.5 * strip.width * 1.3;
    strip.altitude = strip.reach / std::tan(widest * std::numbers::pi / 180);
    strip.middle = (number + 0.5) * strip.width;
    strip.heading = number % 2 == 0 ? 1 : -1;
    return strip;
}

/// The shot at a share of a mirror turn that begins at this distance along the strip.
Shot Scanner::aim(const Strip& strip, double along, double share, double spacing, Chance& chance) const {
    // The aircraft flies on while the mirror turns, and it is never quite still.
    const double sway = 0.8 * std::sin(along / 37 + strip.number);
    const double across = (2 * share - 1) * strip.reach;
    Shot shot;
    shot.pulse.x = strip.middle + strip.heading * across + sway + 0.15 * spacing * chance.bell();
    const double y = along + share * spacing + 0.15 * spacing * chance.bell();
    shot.pulse.y = strip.heading > 0 ? y : side_ - y;
    shot.pulse.leanX = (strip.middle - shot.pulse.x) / strip.altitude;
    shot.pulse.leanY = -0.02 * strip.heading;
    shot.angle = std::atan(across / strip.altitude) * 180 / std::numbers::pi;
    shot.strip = static_cast<std::uint16_t>(strip.number + 1);
    shot.overlap = std::abs(shot.pulse.x - strip.middle) > strip.width / 2;
    return shot;
}

bool Scanner::isNear(const Pulse& pulse) const {
    return std::min(pulse.x, pulse.y) > -margin && std::max(pulse.x, pulse.y) < side_ + margin;
}

} // namespace Tilewright::MakeScan
