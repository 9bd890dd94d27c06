#pragma once

#include <map>
#include <vector>

#include <tilewright/model/references.h>

namespace Quill {

/// The least and the greatest value of each scalar component of an array, as doubles; computed when first
/// read.
class TILEWRIGHT_API FragmentRange : public Larder::Interface<FragmentRange> {
public:
    explicit FragmentRange(const ArrayPtr& array);
    ~FragmentRange() override;

    struct Bounds {
        double least;
        double greatest;
    };

    /// One entry per component, none if the array has no elements or is gone. Not-a-number is ignored; a
    /// component without any number has a least bound of plus and a greatest of minus infinity.
    const std::vector<Bounds>& components() const;

    /// Whether this is the range of `array`.
    bool isOf(const ArrayPtr& array) const;

private:
    mutable Larder::WeakPtrImpl<MemBase, Larder::Cacheable> Array;
    mutable bool IsWorkedOut = false;
    mutable std::vector<Bounds> Components;
};

/// The ranges of all fields on one fragment: fragments are shared between fields, ranges are not.
class TILEWRIGHT_API FragmentRanges : public Larder::Interface<FragmentRanges> {
public:
    using RangePtr = Larder::StrongPtr<FragmentRange, Larder::InterfaceBase>;

    ~FragmentRanges() override;

    /// By the serial number of the field.
    std::map<unsigned long long, RangePtr> RangeOfField;
};

/// The range of `field` on `fragment`, kept as an interface of the fragment; null, with nothing done, while
/// no data are at hand. Data that would have to be made first are not. The two switches are for storage that
/// keeps ranges of its own; there is none here.
TILEWRIGHT_API FragmentRanges::RangePtr getRange(Field& field, const FragmentIDPtr& fragment, bool, bool);

/// Drops what getRange keeps; for data that were replaced.
void dropRange(const Field& field, const FragmentIDPtr& fragment);

} // namespace Quill
