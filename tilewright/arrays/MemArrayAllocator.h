#pragma once

#include <tilewright/arrays/MemArray.h>

namespace Quill {

/// Makes arrays of T of any rank from 1 to 4, for code that finds it by MemBase::findAllocator.
///
/// A value type becomes known to the system by being used in a MemArray: its flag TypeIsRegistered registers
/// the allocator and the type's description while the program is initialised.
template <class T> class TILEWRIGHT_API MemArrayAllocator : public MemBase::Allocator {
public:
    /// Registers on first use; always true.
    static bool isRegistered() {
        static const bool b = MemBase::registerCreator(
            MemBase::AllocatorPtr(new MemArrayAllocator),
            Larder::StrongPtr<QuillTypeBase, QuillTypeBase>(QuillType<T>::getQuillType()));
        static_cast<void>(b);
        return true;
    }

    ArrayPtr create(const DynamicSize& size) const override {
        switch (size.rank()) {
        case 1:
            return make<1>(size);
        case 2:
            return make<2>(size);
        case 3:
            return make<3>(size);
        case 4:
            return make<4>(size);
        default:
            return {};
        }
    }

private:
    template <int N> static ArrayPtr make(const DynamicSize& size) {
        return new MemArray<N, T>(size.toMultiIndex<N>());
    }
};

template <int N, class T>
const bool MemArray<N, T>::TypeIsRegistered = isRegisteredValueType<T>&& MemArrayAllocator<T>::isRegistered();

} // namespace Quill

/// The library has the only copy of each of these classes, so that dynamic casts work across its boundary.
#define TILEWRIGHT_EXTERN_ARRAYS(T)                                                                          \
    extern template class Larder::Chunk<T>;                                                                  \
    extern template class Quill::QuillType<T>;                                                               \
    extern template class Quill::MemArrayAllocator<T>;                                                       \
    extern template class Quill::TypedArray<T>;                                                              \
    extern template class Quill::MemArray<1, T>;                                                             \
    extern template class Quill::MemArray<2, T>;                                                             \
    extern template class Quill::MemArray<3, T>;                                                             \
    extern template class Quill::MemArray<4, T>;
TILEWRIGHT_VALUE_TYPES(TILEWRIGHT_EXTERN_ARRAYS)
#undef TILEWRIGHT_EXTERN_ARRAYS
