#include <tilewright/arrays/MemArray.h>

#define TILEWRIGHT_INSTANTIATE(T) template class Quill::MemArray<4, T>;
TILEWRIGHT_VALUE_TYPES(TILEWRIGHT_INSTANTIATE)

template void
Quill::CopySubset<Orrery::PhysicalSpace::vector, Orrery::PhysicalSpace::vector, 4, Quill::PlainCopyConvert>(
    const MultiIndex<4>&, MultiArray<4, Orrery::PhysicalSpace::vector>&, const MultiIndex<4>&,
    const MultiArray<4, Orrery::PhysicalSpace::vector>&, const MultiIndex<4>&, const PlainCopyConvert&);
