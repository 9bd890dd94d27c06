/// Iterator: how a run of elements in memory is addressed. It describes a range, not a position in one.
///
/// The same description serves a whole array, a slice that shares its storage, and one component of composite
/// elements seen as scalars. Nothing here owns anything, and nothing checks bounds or liveness: whoever keeps
/// a run must keep the array that it came from.
///
/// Thread safety: plain data; concurrent reads and writes of distinct elements are safe.
#pragma once

#include <tilewright/arrays/MultiIndex.h>
#include <tilewright/substrate/breakpoint.h>
#include <tilewright/values/FixedArray.h>

namespace Quill {

/// The run in numbers, all in units of the view's element type but for `componentStride`, which counts
/// scalars.
struct TILEWRIGHT_API HyperslabParameters {
    /// Extent of the addressed storage.
    unsigned long long count = 0;
    /// Distance from one element to the next, never 0.
    unsigned long long stride = 1;
    /// Distance between two components of an element. With stride 1 the components lie in separate planes, so
    /// this is the number of elements of the storage.
    unsigned long long componentStride = 0;
    /// Elements skipped at the front of the storage.
    unsigned long long firstSkip = 0;
    /// Elements left out at the end of the storage.
    unsigned long long lastSkip = 0;

    /// Number of elements of the storage; that of the run is less by both skips.
    unsigned long long storageElements() const { return stride == 1 ? componentStride : count / stride; }

    /// Leaves out so much at the end that at most `needed` elements remain; never widens the run.
    void fitLastSkip(unsigned long long needed) {
        const unsigned long long available = storageElements() - firstSkip;
        if (available - lastSkip > needed)
            lastSkip = available < needed ? 0 : available - needed;
    }
};

template <class T> struct TILEWRIGHT_API ElementIterator : HyperslabParameters {
    /// Element zero of the storage, not of the run: element e of the run is at data + (firstSkip + e) *
    /// stride.
    T* data = nullptr;
};

template <class T> struct TILEWRIGHT_API IteratorBase : ElementIterator<T> {};

template <class T> struct TILEWRIGHT_API Iterator : IteratorBase<T> {
    Iterator() = default;

    /// One component of records, as a run of scalars. For a run of stride 1 the components are taken to lie
    /// in separate planes, and the view is that of the plane after the first one, whatever the component.
    template <int C> Iterator(const Iterator<Orrery::FixedArray<T, C>>& records, int component);

    /// Stores `value` in every element of the run.
    void set(const T& value);
};

/// The source of elements that are not in memory.
template <class T> struct DataCreator;

template <class T> struct TILEWRIGHT_API CreativeIterator : Iterator<T> {
    /// Null if the elements are in memory; asked for them if `data` is null.
    DataCreator<T>* creator = nullptr;
};

template <class T> struct TILEWRIGHT_API DataCreator {
    /// The slab at `index` of `dimension`.
    virtual CreativeIterator<T> slice(unsigned dimension, unsigned long long index) = 0;

    /// The element at `index` along the innermost dimension.
    virtual T& element(unsigned long long index) = 0;

    virtual ~DataCreator() = default;
};

/// Element `element` of a run of triples. A reference would not do: the components may lie in separate
/// planes.
template <class I> struct ElementProxy;

template <class S> struct TILEWRIGHT_API ElementProxy<Iterator<Orrery::FixedArray<S, 3>>> {
    const Iterator<Orrery::FixedArray<S, 3>>* run;
    unsigned long long element;

    operator Orrery::FixedArray<S, 3>() const {
        const S* const first = run->data->data() + (run->firstSkip + element) * run->stride;
        return {first[0], first[run->componentStride], first[2 * run->componentStride]};
    }
};

template <class T>
template <int C>
Iterator<T>::Iterator(const Iterator<Orrery::FixedArray<T, C>>& records, int component) {
    this->firstSkip = records.firstSkip;
    this->lastSkip = records.lastSkip;
    T* const scalars = records.data ? records.data->data() : nullptr;
    if (records.stride == 1) {
        this->count = this->componentStride = records.count / C;
        this->data = scalars ? scalars + records.count / C : nullptr;
    } else {
        this->count = records.count;
        this->stride = C;
        this->data = scalars ? scalars + component : nullptr;
    }
}

template <class T> void Iterator<T>::set(const T& value) {
    const unsigned long long total = this->storageElements();
    if (this->firstSkip + this->lastSkip == total)
        return;
    if (this->stride == 1) {
        const unsigned long long end = this->componentStride - this->lastSkip;
        for (unsigned long long e = this->firstSkip; e < end; ++e)
            this->data[e] = value;
    } else {
        for (unsigned long long e = 0; e < total - this->firstSkip - this->lastSkip; ++e)
            this->data[(this->firstSkip + e) * this->stride] = value;
    }
}

} // namespace Quill
