/// PhysicalSpace: points, displacements and boxes in three Cartesian coordinates of double precision.
#pragma once

#include <array>

#include <tilewright/values/DomainVector.h>

namespace Orrery {

/// The records of a coordinate system D with components of type T.
template <class D, class T> struct TILEWRIGHT_API Coordinates;

template <> struct TILEWRIGHT_API Coordinates<Cartesian3D, double> {
    class TILEWRIGHT_API point : public FixedArray<double, 3>, public Cartesian3D {
    public:
        using FixedArray<double, 3>::FixedArray;
    };

    class TILEWRIGHT_API vector : public DomainVector<Column<3, double>, Cartesian3D, double> {
    public:
        using DomainVector<Column<3, double>, Cartesian3D, double>::DomainVector;
    };
};

namespace PhysicalSpace {

/// A position.
class TILEWRIGHT_API point : public Coordinates<Cartesian3D, double>::point {
public:
    using Coordinates<Cartesian3D, double>::point::point;
};

/// A displacement, or a cell size.
class TILEWRIGHT_API vector : public Coordinates<Cartesian3D, double>::vector {
public:
    using Coordinates<Cartesian3D, double>::vector::vector;
};

/// From `b` to `a`.
constexpr vector operator-(const point& a, const point& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }

constexpr point operator+(point p, const vector& displacement) { return p += displacement; }

constexpr vector operator+(vector a, const vector& b) { return a += b; }

constexpr vector operator-(const vector& a, const vector& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

/// An axis-aligned box: element 0 is its low corner, element 1 its high corner.
struct TILEWRIGHT_API AABB : std::array<point, 2> {};

} // namespace PhysicalSpace

} // namespace Orrery
