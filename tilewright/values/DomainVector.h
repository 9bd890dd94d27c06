/// DomainVector: a vector whose components get their meaning from an empty tag class.
#pragma once

#include <tilewright/values/FixedArray.h>

namespace Orrery {

/// Tag: the components are x, y and z.
struct TILEWRIGHT_API Cartesian3D {};

/// Tag: the components are red, green and blue.
struct TILEWRIGHT_API RGB {};

/// The place for operations that need both the meaning D and the components of V; it adds no data.
template <class D, class V> struct TILEWRIGHT_API DomainFunctions {};

/// A vector V of components T with the meaning D. As large as V: the tags add no byte.
template <class V, class D, class T>
class TILEWRIGHT_API DomainVector : public V, public D, public DomainFunctions<D, V> {
public:
    using V::V;
};

/// Sum of two displacements or colours, component by component in the width of the component type.
template <class V, class D, class T>
constexpr DomainVector<V, D, T> operator+(DomainVector<V, D, T> a, const DomainVector<V, D, T>& b) {
    return a += b;
}

/// Colours with 8 and with 16 bits per channel.
using Color8 = DomainVector<Vector<unsigned char, 3>, RGB, unsigned char>;
using Color16 = DomainVector<Vector<unsigned short, 3>, RGB, unsigned short>;

} // namespace Orrery
