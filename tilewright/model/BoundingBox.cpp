#include <tilewright/model/BoundingBox.h>

#include <limits>

#include <tilewright/arrays/elements.h>
#include <tilewright/model/CreativeArrayBase.h>
#include <tilewright/model/Field.h>

template class Larder::Interface<Orrery::BoundingBall>;

namespace Orrery {

BoundingBall::~BoundingBall() = default;

BoundingBox::BoundingBox() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    at(0) = {infinity, infinity, infinity};
    at(1) = {-infinity, -infinity, -infinity};
}

BoundingBox::BoundingBox(const PhysicalSpace::point& low, const PhysicalSpace::point& high)
    : PhysicalSpace::AABB{{low, high}} {}

BoundingBox::~BoundingBox() = default;

void BoundingBox::expand(const PhysicalSpace::point& p) { expand(PhysicalSpace::AABB{{p, p}}); }

void BoundingBox::expand(const PhysicalSpace::AABB& box) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (box[0][axis] < at(0)[axis])
            at(0)[axis] = box[0][axis];
        if (box[1][axis] > at(1)[axis])
            at(1)[axis] = box[1][axis];
    }
}

bool BoundingBox::isEmpty() const {
    for (std::size_t axis = 0; axis < 3; ++axis)
        if (at(0)[axis] <= at(1)[axis])
            return false;
    return true;
}

} // namespace Orrery

namespace Quill {

namespace {

using Orrery::PhysicalSpace::point;

void expandByArray(Orrery::BoundingBox& box, const ArrayPtr& array) {
    const Larder::StrongPtr<TypedArray<point>, Larder::Cacheable> points = array;
    if (points)
        forEachElement(*points, [&](const point& p) { box.expand(p); });
}

} // namespace

BoundingBoxPtr getBoundingBox(Field& field) {
    if (const BoundingBoxPtr carried = field.findInterface(typeid(Orrery::BoundingBall)))
        return carried;
    const Larder::Ref<Orrery::BoundingBox> box;
    for (const auto& [number, creator] : field.Creators)
        expandByArray(*box, getData(creator));
    if (box->isEmpty())
        return {};
    return box;
}

void expandBoundingBox(const FieldPtr& field, BoundingBoxPtr& box) {
    if (!field)
        return;
    const BoundingBoxPtr grown = getBoundingBox(*field);
    if (!grown)
        return;
    if (!box)
        box = Larder::Ref<Orrery::BoundingBox>();
    box->expand(*grown);
}

} // namespace Quill
