/// Elements of arrays whose rank is not known, or whose storage may be missing.
#pragma once

#include <tilewright/arrays/MemArray.h>

namespace Quill {
namespace {

/// Whether every element of `view` can be read. An array around no chunk, a chunk of another type or one with
/// too few elements has a size all the same.
template <int N, class T> bool isReadable(const MultiArray<N, T>& view) {
    if (!view.data)
        return view.creator || view.sizes.product() == 0;
    const unsigned long long total = view.storageElements();
    const unsigned long long skipped = view.firstSkip + view.lastSkip;
    return total >= skipped && total - skipped >= view.sizes.product();
}

/// Calls `visit` for each element that `array`, of rank N, has its creator make.
template <int N, class T, class Visit>
void forEachMadeElement(const TypedArray<T>& array, const Visit& visit) {
    if (const auto* const view = dynamic_cast<const ReferencingMemArray<N, T>*>(&array))
        forEachIndex(view->sizes, [&](const MultiIndex<N>& index) { visit((*view)[index]); });
}

/// Calls `visit` for each element of `array`. Of a uniform lattice it sees the first and the last node only:
/// between them lie all others. An array without storage has no elements.
template <class T, class Visit> void forEachElement(const TypedArray<T>& array, const Visit& visit) {
    const CreativeIterator<T> run = array.creativeIterator();
    if (run.data) {
        const unsigned long long end = run.storageElements() - run.lastSkip;
        for (unsigned long long e = run.firstSkip; e < end; ++e)
            visit(run.data[e * run.stride]);
    } else if (run.creator) {
        forEachMadeElement<1>(array, visit);
        forEachMadeElement<2>(array, visit);
        forEachMadeElement<3>(array, visit);
        forEachMadeElement<4>(array, visit);
    } else if (array.OriginPtr() && array.nElements() != 0) {
        visit(array.first());
        visit(array.last());
    }
}

} // namespace
} // namespace Quill
