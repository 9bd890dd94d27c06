/// MultiIndex: N unsigned 64-bit numbers, the index and the extent of everything that lies on a lattice.
///
/// Component 0 is the fastest axis of all storage: position (i,j,k) of an array of extents (Nx,Ny,Nz) has the
/// linear index i + Nx * (j + Ny * k). A size has no sentinel: a zero component means an empty array.
///
/// Thread safety: a plain value.
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <type_traits>

#include <tilewright/export.h>

namespace Quill {

template <int N> class MultiIndex;

template <> class TILEWRIGHT_API MultiIndex<1> {
public:
    constexpr MultiIndex() = default;

    template <std::integral U>
    constexpr MultiIndex(U first) : Component(static_cast<unsigned long long>(first)) {}

    /// Indices are not checked.
    constexpr unsigned long long& operator[](std::size_t) { return Component; }
    constexpr const unsigned long long& operator[](std::size_t) const { return Component; }

    /// The number of positions of this size; wraps at 64 bits.
    constexpr unsigned long long product() const { return Component; }

    /// Steps to the next position below `limit`, component 0 fastest. After the last one the index is zero
    /// again and the answer false. A component that starts at or beyond its limit is carried at once.
    constexpr bool inc(const MultiIndex& limit) {
        if (++Component < limit.Component)
            return true;
        Component = 0;
        return false;
    }

    /// The linear index of this position in an array of extents `size`.
    constexpr unsigned long long linearIn(const MultiIndex&) const { return Component; }

    friend constexpr bool operator==(const MultiIndex&, const MultiIndex&) = default;

private:
    unsigned long long Component = 0;
};

template <int N> class TILEWRIGHT_API MultiIndex : public MultiIndex<N - 1> {
    using Lower = MultiIndex<N - 1>;
    static constexpr std::size_t last = N - 1;

public:
    constexpr MultiIndex() = default;

    constexpr MultiIndex(const Lower& lower, unsigned long long highest) : Lower(lower), Component(highest) {}

    template <std::integral... U>
    requires(sizeof...(U) == N) constexpr MultiIndex(U... components) {
        std::size_t c = 0;
        (((*this)[c++] = static_cast<unsigned long long>(components)), ...);
    }

    constexpr unsigned long long& operator[](std::size_t c) {
        return c == last ? Component : Lower::operator[](c);
    }
    constexpr const unsigned long long& operator[](std::size_t c) const {
        return c == last ? Component : Lower::operator[](c);
    }

    /// This index without its last component.
    constexpr const Lower& lower() const { return *this; }

    constexpr unsigned long long product() const { return Lower::product() * Component; }

    constexpr bool inc(const MultiIndex& limit) {
        if (Lower::inc(limit) || ++Component < limit.Component)
            return true;
        Component = 0;
        return false;
    }

    constexpr unsigned long long linearIn(const MultiIndex& size) const {
        return Lower::linearIn(size) + size.Lower::product() * Component;
    }

    friend constexpr bool operator==(const MultiIndex&, const MultiIndex&) = default;

private:
    unsigned long long Component = 0;
};

/// Calls `visit` with every position below `size`, component 0 fastest; never for an empty size.
template <int N, class Visit> void forEachIndex(const MultiIndex<N>& size, const Visit& visit) {
    if (size.product() == 0)
        return;
    MultiIndex<N> index;
    do
        visit(index);
    while (index.inc(size));
}

} // namespace Quill

namespace std {

/// The components in decimal, joined by "x" between brackets: [10x20x3]. In namespace std so that generic
/// code finds it beside the standard overloads.
template <int N> string to_string(const Quill::MultiIndex<N>& index) {
    string text = "[";
    for (size_t c = 0; c < N; ++c) {
        if (c != 0)
            text += 'x';
        text += to_string(index[c]);
    }
    text += ']';
    return text;
}

} // namespace std
