#pragma once

#include <tilewright/model/FragmentID.h>

namespace Quill {

/// What a FragmentLocation can say, all in cells per axis.
enum FragmentProperty {
    /// Index of the fragment's first cell in the whole raster.
    GlobalOffset = 1,
    /// Cells shared with the lower neighbour; 0 at the low edge of the lattice.
    LowOverlap = 2,
    /// Cells shared with the upper neighbour; 0 at the high edge of the lattice.
    HighOverlap = 3
};

/// Where a fragment lies among its neighbours: an interface of its FragmentID, one class for each property P.
template <int N, int P>
class TILEWRIGHT_API FragmentLocation : public Larder::Interface<FragmentLocation<N, P>>,
                                        public MultiIndex<N> {
public:
    /// The value of `fragment`, made zero if there is none yet; the same object at each call.
    static MultiIndex<N>& make(FragmentID& fragment) {
        using Pointer = Larder::StrongPtr<FragmentLocation, Larder::InterfaceBase>;
        Pointer location = fragment.findInterface(typeid(FragmentLocation));
        if (!location) {
            location = Larder::Ref<FragmentLocation>();
            fragment.addInterface(location);
        }
        return *location;
    }
};

} // namespace Quill

extern template class Quill::FragmentLocation<3, Quill::GlobalOffset>;
extern template class Quill::FragmentLocation<3, Quill::LowOverlap>;
extern template class Quill::FragmentLocation<3, Quill::HighOverlap>;
extern template class Larder::Interface<Quill::FragmentLocation<3, Quill::GlobalOffset>>;
extern template class Larder::Interface<Quill::FragmentLocation<3, Quill::LowOverlap>>;
extern template class Larder::Interface<Quill::FragmentLocation<3, Quill::HighOverlap>>;
