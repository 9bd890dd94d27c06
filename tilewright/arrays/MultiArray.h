/// MultiArray: a run of elements with a shape; the view inside every memory array.
///
/// Element access checks no bounds. A const view gives write access: what is const is the description,
/// not the storage.
#pragma once

#include <tilewright/arrays/Iterator.h>

namespace Quill {

template <int N, class T> class TILEWRIGHT_API MultiArrayBase : public CreativeIterator<T> {
public:
    MultiIndex<N> sizes;

    MultiArrayBase() = default;

    /// The elements of `run` in the shape `size`; what the storage has beyond the shape is left out at the
    /// end. A storage that is too small is not noticed.
    MultiArrayBase(const Iterator<T>& run, const MultiIndex<N>& size, DataCreator<T>* source)
        : CreativeIterator<T>{run, source}, sizes(size) {
        this->fitLastSkip(size.product());
    }

    /// The element at `index`, which must lie inside the sizes.
    T& operator[](const MultiIndex<N>& index) const {
        if (this->data) [[likely]]
            return this->data[(index.linearIn(sizes) + this->firstSkip) * this->stride];
        return outOfMemoryElement(index);
    }

private:
    /// Out of line, so that the fast path stays small.
    [[gnu::noinline]] T& outOfMemoryElement(const MultiIndex<N>& index) const {
        Larder::breakpoint();
        DataCreator<T>* const source = this->creator;
        if constexpr (N == 1) {
            return source->element(index[0]);
        } else if constexpr (N == 4) {
            return MultiArrayBase<3, T>(source->slice(3, index[3]), sizes.lower(), source)[index.lower()];
        } else {
            const CreativeIterator<T> slab = source->slice(N - 1, index[N - 1]);
            if (slab.data)
                return slab.data[(index.lower().linearIn(sizes.lower()) + slab.firstSkip) * slab.stride];
            Larder::breakpoint();
            // A three-dimensional source is asked for the row as well, so that it can prepare the row's
            // elements.
            if constexpr (N == 3)
                static_cast<void>(source->slice(1, index[1]));
            return source->element(index[0]);
        }
    }
};

template <int N, class T> class TILEWRIGHT_API MultiArray : public MultiArrayBase<N, T> {
public:
    using MultiArrayBase<N, T>::MultiArrayBase;
};

} // namespace Quill
