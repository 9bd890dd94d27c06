#pragma once

#include <map>
#include <mutex>

#include <tilewright/model/Cache.h>
#include <tilewright/model/CreativeArrayBase.h>
#include <tilewright/model/FragmentID.h>

namespace Quill {

/// A named quantity over a skeleton. Its data are divided into fragments, and each fragment's array is held
/// or made by a creator.
///
/// Invariant: a field without fragments has at most one creator, under the number 0, and is asked for it with
/// the null identifier.
///
/// Thread safety: none; a field belongs to the thread that works on its grid. The mutex is for those who
/// share one; nothing here locks it.
class TILEWRIGHT_API Field : public Ownable<CreativeArrayBase>::Container,
                             public Ownable<Field>,
                             public Larder::Intercube,
                             public FragmentIDCollectionProvider,
                             public Larder::Ageable,
                             public SaveableAttributes {
public:
    /// Without data.
    explicit Field(const FragmentIDCollectionPtr& collection);
    /// With the data of a field without fragments, or of the first of its fragments.
    Field(const ArrayPtr& data, const FragmentIDCollectionPtr& collection);
    ~Field() override;

    bool processOwnership(Larder::Intercube& target, const Larder::Intercube& source) const override;
    FragmentIDCollectionPtr getFragmentIDCollection() const override;

    /// Age of the division into fragments.
    unsigned long long FragmentAge;
    /// The fragments; may be null.
    FragmentIDCollectionPtr Collection;
    std::mutex Lock;
    /// By fragment number.
    std::map<unsigned, CreatorPtr> Creators;

    /// The creator of `fragment`, null if it has none.
    CreatorPtr getCreator(const FragmentIDPtr& fragment) const;

    /// The array of `fragment`, loaded or made if need be; null if there is none.
    ArrayPtr getData(const FragmentIDPtr& fragment) const;

    /// Makes `data` the array of `fragment`, in place of what was there. A new creator holds it permanently,
    /// so it needs neither the store nor a name to be found by. The array keeps its own creator, which can
    /// make it again.
    void setPersistentData(const ArrayPtr& data, const FragmentIDPtr& fragment,
                           const Larder::StrongPtr<Larder::Cache, Larder::CacheBase>& store,
                           const std::string& name);

    /// The identifiers on their lattice, as a MemArray<3,FragmentIDPtr>; null without a three-dimensional
    /// lattice.
    ArrayPtr newFragmentationArray() const;

    /// The one null pointer that look-ups of missing fields refer to.
    static const FieldPtr& NullPtrField();

    /// Makes every field of this thread that has handed out slots an owner of the creators put into them.
    static void adoptCreatorsInSlots();

protected:
    /// To be called before a slot of Creators is handed out: what is put in there belongs to this field too.
    void handOutSlot();

private:
    bool HasHandedOutSlots = false;
};

} // namespace Quill

extern template class Larder::Interface<Quill::Ownable<Quill::Field>::Container::PassThrough>;
