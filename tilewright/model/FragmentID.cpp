#include <tilewright/model/FragmentID.h>

#include <tilewright/model/FragmentLocation.h>

template class Larder::Chunk<Quill::FragmentIDPtr>;
template class Quill::MemArray<3, Quill::FragmentIDPtr>;
template class Larder::Interface<Quill::FragmentLocation<3, Quill::GlobalOffset>>;
template class Larder::Interface<Quill::FragmentLocation<3, Quill::LowOverlap>>;
template class Larder::Interface<Quill::FragmentLocation<3, Quill::HighOverlap>>;
template class Quill::FragmentLocation<3, Quill::GlobalOffset>;
template class Quill::FragmentLocation<3, Quill::LowOverlap>;
template class Quill::FragmentLocation<3, Quill::HighOverlap>;

namespace Quill {

FragmentID::FragmentID(const std::string& Name, unsigned Number, const CollectionWeakPtr& Collection)
    : ReferenceBase(this), name(Name), number(Number), collection(Collection) {}

FragmentID::~FragmentID() = default;

FragmentIDCollection::FragmentIDCollection() : ReferenceBase(this) {}

FragmentIDCollection::~FragmentIDCollection() = default;

FragmentIDPtr FragmentIDCollection::findFragmentID(unsigned number) const {
    const Identifiers* const identifiers = Fragments.rawptr();
    return identifiers && number < identifiers->elements() ? identifiers->base_vector()[number]
                                                           : FragmentIDPtr();
}

FragmentIDCollectionProvider::~FragmentIDCollectionProvider() = default;

} // namespace Quill
