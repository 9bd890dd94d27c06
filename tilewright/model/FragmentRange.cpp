#include <tilewright/model/FragmentRange.h>

#include <limits>

#include <tilewright/arrays/elements.h>
#include <tilewright/model/CreativeArrayBase.h>
#include <tilewright/model/Field.h>

namespace Quill {

namespace {

using Bounds = FragmentRange::Bounds;

template <class T> void widen(std::vector<Bounds>& components, const T& value) {
    const auto widenOne = [](Bounds& bounds, double v) {
        if (v < bounds.least)
            bounds.least = v;
        if (v > bounds.greatest)
            bounds.greatest = v;
    };
    if constexpr (Orrery::Record<T>)
        for (std::size_t c = 0; c < components.size(); ++c)
            widenOne(components[c], static_cast<double>(value[c]));
    else
        widenOne(components.front(), static_cast<double>(value));
}

template <class T> std::vector<Bounds> boundsOf(const TypedArray<T>& array) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    std::vector<Bounds> components;
    forEachElement(array, [&](const T& value) {
        if (components.empty())
            components.assign(array.valueType().scalarCount, {infinity, -infinity});
        widen(components, value);
    });
    return components;
}

/// Data of a field without fragments have their range on the field.
const Larder::Intercube& seatOfRanges(const Field& field, const FragmentIDPtr& fragment) {
    if (const FragmentID* const identifier = fragment.rawptr())
        return *identifier;
    return field;
}

using RangesPtr = Larder::StrongPtr<FragmentRanges, Larder::InterfaceBase>;

} // namespace

FragmentRange::FragmentRange(const ArrayPtr& array) : Array(array) {}

FragmentRange::~FragmentRange() = default;

FragmentRanges::~FragmentRanges() = default;

const std::vector<Bounds>& FragmentRange::components() const {
    if (IsWorkedOut)
        return Components;
    if (const ArrayPtr array = Array.promote())
        probeTypes(ValueTypes(), [&]<class T>(std::type_identity<T>) {
            const Larder::StrongPtr<TypedArray<T>, Larder::Cacheable> typed = array;
            if (!typed)
                return false;
            Components = boundsOf(*typed);
            return true;
        });
    IsWorkedOut = true;
    return Components;
}

bool FragmentRange::isOf(const ArrayPtr& array) const { return Array == array; }

FragmentRanges::RangePtr getRange(Field& field, const FragmentIDPtr& fragment, bool, bool) {
    const CreatorPtr creator = field.getCreator(fragment);
    const ArrayPtr array = creator ? creator->get() : ArrayPtr();
    if (!array)
        return {};
    const Larder::Intercube& seat = seatOfRanges(field, fragment);
    RangesPtr ranges = seat.findInterface(typeid(FragmentRanges));
    if (!ranges) {
        ranges = Larder::Ref<FragmentRanges>();
        seat.addInterface(ranges);
    }
    FragmentRanges::RangePtr& range = ranges->RangeOfField[field.objectId];
    if (!range || !range->isOf(array))
        range = Larder::Ref<FragmentRange>(array);
    return range;
}

void dropRange(const Field& field, const FragmentIDPtr& fragment) {
    if (const RangesPtr ranges = seatOfRanges(field, fragment).findInterface(typeid(FragmentRanges)))
        ranges->RangeOfField.erase(field.objectId);
}

} // namespace Quill
