/// Squares: what is where in the scene, found without a look at everything.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

namespace Tilewright::MakeScan {

/// One value per small square of the scene. Places outside it belong to the nearest square.
template <class T> class Squares {
public:
    explicit Squares(double side, const T& initial = T())
        : count_(static_cast<std::size_t>(std::ceil(side / size)) + 1), squares_(count_ * count_, initial) {}

    const T& at(double x, double y) const { return squares_[index(y) * count_ + index(x)]; }

    /// Calls change(T&) for all squares within reach of a place, along either axis.
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

/// Things with an extent, listed in every square that they reach into.
template <class T> class Buckets {
public:
    explicit Buckets(double side) : things_(side) {}

    void add(const T& thing, double x, double y, double reach) {
        things_.within(x, y, reach, [&](std::vector<T>& there) { there.push_back(thing); });
    }

    /// All things that may cover a place, and some more. In the order in which they were added.
    std::span<const T> around(double x, double y) const { return things_.at(x, y); }

private:
    Squares<std::vector<T>> things_;
};

} // namespace Tilewright::MakeScan
