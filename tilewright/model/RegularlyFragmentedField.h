#pragma once

#include <string>

#include <tilewright/model/Field.h>

namespace Quill {

/// A field whose fragments sit on an N-dimensional lattice, component 0 fastest.
///
/// Fields that must line up are made as copies of one another: copies share their fragment identifiers and
/// everything attached to these.
template <int N> class TILEWRIGHT_API RegularlyFragmentedField : public Field {
public:
    /// Extents of the fragment lattice.
    MultiIndex<N> FragmentCount;

    /// New fragments, named `Prefix` and their index: RegularFragment[0x1x2].
    RegularlyFragmentedField(const MultiIndex<N>& Count, const std::string& Prefix)
        : Field(makeCollection(Count, Prefix)), FragmentCount(Count) {}

    /// The fragments of `Other`, without data.
    RegularlyFragmentedField(const RegularlyFragmentedField& Other)
        : Field(Other.getFragmentIDCollection()), FragmentCount(Other.FragmentCount) {}

    /// The slot of the fragment's creator, null if it has no data; a look-up makes the slot. The index is
    /// not checked: one beyond the lattice may reach another fragment.
    CreatorPtr& operator[](const MultiIndex<N>& Index) {
        handOutSlot();
        return Creators[fragmentNumber(Index)];
    }

    /// What is in that slot, null if there is none; makes no slot.
    CreatorPtr findCreator(const MultiIndex<N>& Index) const {
        const auto found = Creators.find(fragmentNumber(Index));
        return found == Creators.end() ? CreatorPtr() : found->second;
    }

    /// Null for an index beyond the lattice.
    FragmentIDPtr getFragmentID(const MultiIndex<N>& Index) const {
        const FragmentIDCollection* const collection = Collection.rawptr();
        if (!collection)
            return {};
        for (std::size_t axis = 0; axis < N; ++axis)
            if (Index[axis] >= FragmentCount[axis])
                return {};
        return collection->findFragmentID(fragmentNumber(Index));
    }

private:
    unsigned fragmentNumber(const MultiIndex<N>& Index) const {
        return static_cast<unsigned>(Index.linearIn(FragmentCount));
    }

    static FragmentIDCollectionPtr makeCollection(const MultiIndex<N>& Count, const std::string& Prefix) {
        const Larder::Ref<FragmentIDCollection> collection;
        collection->Dimensions = N;
        collection->Extents = std::make_unique<unsigned long long[]>(N);
        for (std::size_t axis = 0; axis < N; ++axis)
            collection->Extents[axis] = Count[axis];
        collection->setFragmentNames(Count, Prefix);
        return collection;
    }
};

} // namespace Quill

extern template class Quill::RegularlyFragmentedField<3>;
