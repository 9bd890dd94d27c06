/// Filter views: what a reduction sees of a field value. A view is a policy without objects:
///
/// - `value_type`, what the field holds, and `output_type`, what the reduced field holds;
/// - `readValue`, what all reductions but the regression take from a value;
/// - `toPoint`, the point that the regression makes of a value. The regression fits the third coordinate,
///   while a plain number becomes the first, so that the regression of a plain field is 0 everywhere.
#pragma once

#include <type_traits>

#include <tilewright/values/PhysicalSpace.h>

namespace Tilewright {
namespace {

using Orrery::PhysicalSpace::point;

/// The whole value, all components together.
template <class T> struct Filter3D {
    using value_type = T;
    using output_type = T;

    static const T& readValue(const T& v) { return v; }
    static point toPoint(const T&) { return {}; }
};

/// Scope of the views that treat plain numbers (S true) and vector-like values differently.
template <bool S> struct IsSimpleType;

template <> struct IsSimpleType<true> {
    /// The value as double, whatever the direction.
    template <class T, int Dir> struct Filter1D {
        using value_type = T;
        using output_type = double;

        static double readValue(const T& v) { return static_cast<double>(v); }
        static point toPoint(const T& v) { return {v, 0.0, 0.0}; }
    };

    template <class T> struct FilterRegression {
        using value_type = T;
        using output_type = float;

        static float readValue(const T& v) { return static_cast<float>(v); }
        static point toPoint(const T& v) { return {v, 0.0, 0.0}; }
    };
};

template <> struct IsSimpleType<false> {
    /// Component Dir in its own type.
    template <class T, int Dir> struct Filter1D {
        using value_type = T;
        using output_type = typename T::element_type;

        static output_type readValue(const T& v) { return v[Dir]; }
        static point toPoint(const T& v) { return {v[0], v[1], v[2]}; }
    };

    /// The first component; the fit takes the whole value.
    template <class T> struct FilterRegression {
        using value_type = T;
        using output_type = float;

        static float readValue(const T& v) { return static_cast<float>(v[0]); }
        static point toPoint(const T& v) { return {v[0], v[1], v[2]}; }
    };
};

/// A plain number looks the same in all directions, so that one view of it stands for all.
template <class T, int Dir>
using Filter1DOf =
    typename IsSimpleType<std::is_arithmetic_v<T>>::template Filter1D<T, std::is_arithmetic_v<T> ? 0 : Dir>;
template <class T>
using FilterRegressionOf = typename IsSimpleType<std::is_arithmetic_v<T>>::template FilterRegression<T>;

} // namespace
} // namespace Tilewright
