#pragma once

#include <tilewright/model/references.h>
#include <tilewright/substrate/Ageable.h>
#include <tilewright/substrate/Interface.h>
#include <tilewright/values/PhysicalSpace.h>

namespace Orrery {
class TILEWRIGHT_API BoundingBall;
}

extern template class Larder::Interface<Orrery::BoundingBall>;

namespace Orrery {

/// The extent of something in space, as an interface of it.
class TILEWRIGHT_API BoundingBall : public Larder::Interface<BoundingBall>, public Larder::Ageable {
public:
    ~BoundingBall() override;
};

/// An extent in the form of an axis-aligned box.
class TILEWRIGHT_API BoundingBox : public BoundingBall, public PhysicalSpace::AABB {
public:
    /// Empty: on each axis the low corner lies at plus and the high corner at minus infinity.
    BoundingBox();
    BoundingBox(const PhysicalSpace::point& low, const PhysicalSpace::point& high);
    ~BoundingBox() override;

    /// Grows to hold `p`. A coordinate that is not a number is passed over.
    void expand(const PhysicalSpace::point& p);
    /// Grows to hold `box`; an axis on which that is empty adds nothing.
    void expand(const PhysicalSpace::AABB& box);

    /// Whether no axis holds anything.
    bool isEmpty() const;
};

} // namespace Orrery

namespace Quill {

using BoundingBoxPtr = Larder::StrongPtr<Orrery::BoundingBox, Larder::InterfaceBase>;

/// The box of a field of points. A field may carry its box as an interface; that one is the answer then, and
/// no data are loaded. Otherwise it is worked out from the data of all fragments, one at a time, at each
/// call; for uniform coordinates it spans from the first node to the last. Null if there is neither.
TILEWRIGHT_API BoundingBoxPtr getBoundingBox(Field& field);

/// Grows `box` by the box of `field`. A null `box` becomes a new one if the field has one, and stays null
/// otherwise.
TILEWRIGHT_API void expandBoundingBox(const FieldPtr& field, BoundingBoxPtr& box);

} // namespace Quill
