/// ValueTypes: the one catalogue of the value types that arrays and fields are made of.
///
/// Everything that is done for each value type derives from the two lists here and that of the plain numbers
/// (values/PlainTypes.h): explicit instantiation and registration, the order in which fields are probed, and
/// the types that tests and benchmarks run over. To add a type, add a line here and, if the rules of
/// QuillType.h don't fit, its ValueTypeTraits.
#pragma once

#include <type_traits>

#include <tilewright/values/PhysicalSpace.h>
#include <tilewright/values/PlainTypes.h>

namespace Quill {

/// A plain triple; the name keeps its comma out of the lists.
using Triple = Orrery::FixedArray<double, 3>;

} // namespace Quill

/// The value types of fields: the plain numbers are probed first.
#define TILEWRIGHT_FIELD_VALUE_TYPES(X)                                                                      \
    TILEWRIGHT_PLAIN_VALUE_TYPES(X)                                                                          \
    X(Orrery::PhysicalSpace::point)                                                                          \
    X(Orrery::PhysicalSpace::vector)                                                                         \
    X(Orrery::Color8)                                                                                        \
    X(Orrery::Color16)

/// All public value types of arrays.
#define TILEWRIGHT_VALUE_TYPES(X)                                                                            \
    TILEWRIGHT_FIELD_VALUE_TYPES(X)                                                                          \
    X(Quill::Triple)

namespace Quill {

/// Types in a fixed order.
template <class... T> struct TypeList { static constexpr std::size_t size = sizeof...(T); };

/// The list without its first entry: a macro list begins with a comma, so it gets a `void` in front.
template <class First, class... T> using TypeListTail = TypeList<T...>;

#define TILEWRIGHT_AS_ARGUMENT(T) , T
using PlainValueTypes = TypeListTail<void TILEWRIGHT_PLAIN_VALUE_TYPES(TILEWRIGHT_AS_ARGUMENT)>;
using FieldValueTypes = TypeListTail<void TILEWRIGHT_FIELD_VALUE_TYPES(TILEWRIGHT_AS_ARGUMENT)>;
using ValueTypes = TypeListTail<void TILEWRIGHT_VALUE_TYPES(TILEWRIGHT_AS_ARGUMENT)>;
#undef TILEWRIGHT_AS_ARGUMENT

/// Calls `probe` with std::type_identity<T> for each T in order, up to the first that answers true; false if
/// none does.
template <class... T, class Probe> bool probeTypes(TypeList<T...>, Probe&& probe) {
    return (probe(std::type_identity<T>()) || ...);
}

/// Makes sure that all public value types are registered (MemArrayAllocator.h), whatever the order in which
/// the program's parts were initialised.
TILEWRIGHT_API void registerValueTypes();

} // namespace Quill
