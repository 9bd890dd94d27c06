#include <tilewright/model/UniformCartesianArray.h>

namespace Quill {

using Orrery::PhysicalSpace::point;
using Orrery::PhysicalSpace::vector;

UniformCartesianArray::UniformCartesianArray(const MultiIndex<3>& Extents, const point& Origin,
                                             const vector& Step, const CreatorRef& Creator)
    : MemBase(QuillType<point>::getQuillType()->index(), Creator),
      LinearDirectProductMemArray<point, vector, 3>(Extents, Origin, Step) {}

UniformCartesianArray::~UniformCartesianArray() = default;

ArrayPtr UniformCartesianArray::copy(const CreatorRef& creator) const {
    return new UniformCartesianArray(Size(), *static_cast<const point*>(OriginPtr()),
                                     *static_cast<const vector*>(DeltaPtr()), creator);
}

} // namespace Quill
