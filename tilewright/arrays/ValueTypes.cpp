#include <tilewright/arrays/ValueTypes.h>

#include <tilewright/arrays/MemArray.h>

#define TILEWRIGHT_INSTANTIATE(T)                                                                            \
    template class Larder::Chunk<T>;                                                                         \
    template class Quill::QuillType<T>;                                                                      \
    template class Quill::MemArrayAllocator<T>;                                                              \
    template class Quill::TypedArray<T>;
TILEWRIGHT_VALUE_TYPES(TILEWRIGHT_INSTANTIATE)

void Quill::registerValueTypes() {
    probeTypes(ValueTypes(),
               []<class T>(std::type_identity<T>) { return !MemArrayAllocator<T>::isRegistered(); });
}
