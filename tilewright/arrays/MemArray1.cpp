#include <tilewright/arrays/MemArray.h>

#define TILEWRIGHT_INSTANTIATE(T) template class Quill::MemArray<1, T>;
TILEWRIGHT_VALUE_TYPES(TILEWRIGHT_INSTANTIATE)
