#pragma once

#include <concepts>

#include <tilewright/arrays/MultiArray.h>
#include <tilewright/values/PhysicalSpace.h>

namespace Quill {

/// The conversion that changes nothing: source and target have elements of one type.
struct TILEWRIGHT_API PlainCopyConvert {
    template <class T> const T& operator()(const T& source) const { return source; }
};

/// Copies a box of `size` elements from `source` at `sourceOffset` to `target` at `targetOffset`, each
/// element through `convert`. Elements go one at a time in storage order, dimension 0 fastest, so that
/// overlapping boxes of one storage follow that order. No bounds are checked, and one element is copied even
/// of an empty box.
template <class T, class U, int N, class Convert>
requires(!std::same_as<Convert, PlainCopyConvert> ||
         std::same_as<T, U>) void CopySubset(const MultiIndex<N>& size, MultiArray<N, T>& target,
                                             const MultiIndex<N>& targetOffset,
                                             const MultiArray<N, U>& source,
                                             const MultiIndex<N>& sourceOffset, const Convert& convert) {
    MultiIndex<N> position;
    do {
        MultiIndex<N> to = targetOffset;
        MultiIndex<N> from = sourceOffset;
        for (std::size_t c = 0; c < N; ++c) {
            to[c] += position[c];
            from[c] += position[c];
        }
        target[to] = convert(source[from]);
    } while (position.inc(size));
}

extern template TILEWRIGHT_API void
CopySubset<Orrery::PhysicalSpace::vector, Orrery::PhysicalSpace::vector, 4, PlainCopyConvert>(
    const MultiIndex<4>&, MultiArray<4, Orrery::PhysicalSpace::vector>&, const MultiIndex<4>&,
    const MultiArray<4, Orrery::PhysicalSpace::vector>&, const MultiIndex<4>&, const PlainCopyConvert&);

} // namespace Quill
