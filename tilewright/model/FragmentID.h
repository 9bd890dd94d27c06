/// FragmentID: the name and number of one fragment, and the collection of all fragments of a family of
/// fields.
///
/// Invariant: the number of the fragment at index (i,j,k) of a lattice (e0,e1,e2) is (e1 * k + j) * e0 + i.
/// It is at once its place in the collection and the key of its creator in every field.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include <tilewright/arrays/MemArray.h>
#include <tilewright/model/references.h>

namespace Quill {

class TILEWRIGHT_API FragmentID : public Larder::ReferenceBase<FragmentID>, public Larder::Intercube {
public:
    using CollectionWeakPtr = Larder::WeakPtrImpl<FragmentIDCollection, FragmentIDCollection>;

    FragmentID(const std::string& Name, unsigned Number, const CollectionWeakPtr& Collection);
    ~FragmentID() override;

    const std::string name;
    const unsigned number;
    /// The collection that the fragment belongs to.
    const CollectionWeakPtr collection;
};

class TILEWRIGHT_API FragmentIDCollection : public Larder::ReferenceBase<FragmentIDCollection> {
public:
    using Identifiers = Larder::Chunk<FragmentIDPtr>;

    FragmentIDCollection();
    ~FragmentIDCollection() override;

    /// Fragment name to fragment number.
    std::unordered_map<std::string, std::uint32_t> NumberOfName;
    /// All identifiers, by number.
    Larder::StrongPtr<Identifiers, Larder::ChunkBase> Fragments;
    /// Rank and extents of the lattice; null extents in a collection without one.
    std::int32_t Dimensions = 0;
    std::unique_ptr<unsigned long long[]> Extents;

    /// Null for a number out of range.
    FragmentIDPtr findFragmentID(unsigned number) const;

    /// Makes an identifier for each index below `Count`, named `Prefix` and the index:
    /// RegularFragment[0x1x2].
    template <int N> void setFragmentNames(const MultiIndex<N>& Count, const std::string& Prefix) {
        const unsigned long long total = Count.product();
        const Larder::Ref<Identifiers> identifiers(total, false);
        Fragments = identifiers;
        std::vector<FragmentIDPtr>& places = identifiers->base_vector();
        forEachIndex(Count, [&](const MultiIndex<N>& index) {
            const std::string name = Prefix + std::to_string(index);
            const auto number = static_cast<std::uint32_t>(index.linearIn(Count));
            places[number] = new FragmentID(name, number, this);
            NumberOfName[name] = number;
        });
    }
};

/// Something whose data are divided into fragments.
class TILEWRIGHT_API FragmentIDCollectionProvider {
public:
    virtual ~FragmentIDCollectionProvider();

    /// Null where there are none.
    virtual FragmentIDCollectionPtr getFragmentIDCollection() const = 0;
};

} // namespace Quill

extern template class Larder::Chunk<Quill::FragmentIDPtr>;
extern template class Quill::MemArray<3, Quill::FragmentIDPtr>;
