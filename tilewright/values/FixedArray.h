/// FixedArray and its kin: small fixed-size records of numbers.
///
/// A record is a plain value: no virtual function, no heap, its components next to each other, so that an
/// array of records is one contiguous block that may be copied bytewise. A default-built record is zero.
/// Component indices are not checked. Arithmetic works component by component in the width of the component
/// type: the sum of two `unsigned char` components wraps at 8 bits.
///
/// Thread safety: values without shared state.
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <type_traits>

#include <tilewright/export.h>

namespace Orrery {

/// N values of type T in order.
template <class T, int N> class TILEWRIGHT_API FixedArray {
public:
    using element_type = T;
    static constexpr int element_count = N;

    constexpr FixedArray() : Values{} {}

    /// The components in order; each is converted to T as by static_cast.
    template <class... U>
    requires(sizeof...(U) == N && (std::is_arithmetic_v<U> && ...)) constexpr explicit(N == 1)
        FixedArray(U... components)
        : Values{static_cast<T>(components)...} {}

    constexpr T& operator[](std::size_t component) { return Values[component]; }
    constexpr const T& operator[](std::size_t component) const { return Values[component]; }

    /// The first component; the others follow it.
    constexpr T* data() { return Values; }
    constexpr const T* data() const { return Values; }

    friend constexpr bool operator==(const FixedArray&, const FixedArray&) = default;

private:
    T Values[N];
};

/// A FixedArray on which linear algebra makes sense.
template <class T, int N> class TILEWRIGHT_API Vector : public FixedArray<T, N> {
public:
    using FixedArray<T, N>::FixedArray;
};

/// R rows by C columns.
template <int R, int C, class T> class TILEWRIGHT_API Matrix : public Vector<T, R * C> {
public:
    using Vector<T, R * C>::Vector;
};

/// A single column.
template <int N, class T> class TILEWRIGHT_API Column : public Matrix<N, 1, T> {
public:
    using Matrix<N, 1, T>::Matrix;
};

/// Any record: a FixedArray or a class derived from one.
template <class A>
concept Record = requires {
    typename A::element_type;
    A::element_count;
}
&&std::derived_from<A, FixedArray<typename A::element_type, A::element_count>>;

/// Two records with the same kind and number of components.
template <class A, class B>
concept SameShape =
    Record<A> && Record<B> && std::same_as<typename A::element_type, typename B::element_type> &&
    A::element_count == B::element_count;

/// Adds component by component, in the width of the component type.
template <Record A, SameShape<A> B> constexpr A& operator+=(A& sum, const B& addend) {
    for (std::size_t c = 0; c < static_cast<std::size_t>(A::element_count); ++c)
        sum[c] = static_cast<typename A::element_type>(sum[c] + addend[c]);
    return sum;
}

/// Multiplies every component.
template <Record A>
requires std::same_as<typename A::element_type, double>
constexpr A& operator*=(A& record, double factor) {
    for (std::size_t c = 0; c < static_cast<std::size_t>(A::element_count); ++c)
        record[c] *= factor;
    return record;
}

template <Record A>
requires std::same_as<typename A::element_type, double>
constexpr A operator*(A record, double factor) { return record *= factor; }

template <Record A>
requires std::same_as<typename A::element_type, double>
constexpr A operator*(double factor, A record) { return record *= factor; }

} // namespace Orrery

namespace std {

/// The components between `begin` and `end`, `separator` between them, each as std::to_string(double) prints
/// it: {0.500000,1.000000,2.000000}. In namespace std so that generic code finds it beside the standard
/// overloads.
TILEWRIGHT_API string to_string(const Orrery::FixedArray<double, 3>& triple, const char* begin,
                                const char* end, const char* separator);

} // namespace std
