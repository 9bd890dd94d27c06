#pragma once

#include <tilewright/arrays/MultiArray.h>

namespace Quill {

/// The conversion that changes nothing.
struct TILEWRIGHT_API PlainCopyConvert {
    template <class T> const T& operator()(const T& source) const { return source; }
};

/// Copies a box of `size` elements from `source` at `sourceOffset` to `target` at `targetOffset`, each
/// element through `convert`. Elements go one at a time in storage order, dimension 0 fastest, so that
/// overlapping boxes of one storage follow that order. No bounds are checked, and one element is copied even
/// of an empty box.
template <class T, class U, int N, class Convert>
void CopySubset(const MultiIndex<N>& size, MultiArray<N, T>& target, const MultiIndex<N>& targetOffset,
                const MultiArray<N, U>& source, const MultiIndex<N>& sourceOffset, const Convert& convert) {
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

} // namespace Quill
