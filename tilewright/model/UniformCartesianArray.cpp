#include <tilewright/model/UniformCartesianArray.h>

namespace Quill {

using Orrery::PhysicalSpace::point;
using Orrery::PhysicalSpace::vector;

UniformCartesianArray::UniformCartesianArray(const MultiIndex<3>& Extents, const point& Origin,
                                             const vector& Step, const CreatorWeakPtr& Creator)
    : MemBase(QuillType<point>::getQuillType()->index(), Creator),
      LinearDirectProductMemArray<point, vector, 3>(Extents, Origin, Step) {}

UniformCartesianArray::~UniformCartesianArray() = default;

ArrayPtr UniformCartesianArray::copy(const CreatorWeakPtr& creator) const {
    const Larder::Ref<UniformCartesianArray> same(Size(), origin(), delta(), creator);
    same->AxisOfCoordinate = AxisOfCoordinate;
    using Axis = CoordinateAxisArray<double, LinearCoordinateAxisArray>;
    for (std::size_t a = 0; a < Axes.size(); ++a)
        if (const Axis* const axis = Axes[a].rawptr())
            same->Axes[a] = Larder::Ref<Axis>((*axis)[0], (*axis)[1]);
        else
            same->Axes[a] = {};
    return same;
}

} // namespace Quill
