/// MultiRange: a set of closed value ranges, written as a short text such as "0,2:3,5,6,7:12".
///
/// The text is items between ";" or ","; an item is a value or two values with ":" between them, in either
/// order. Numbers are read by std::atof, also for integers: what it can't read is 0, and "2.7" in a set of
/// integers is 2. A "-" is allowed only at the start, so that a negative exponent can't be written.
///
/// Invariants:
/// 1. The pairs are sorted by their first and then their second value; they may overlap.
/// 2. Conversion to T comes after the two values of a pair were put in order, so that a pair of a narrow
///    integer type can end up reversed; no value lies in it.
///
/// Thread safety: constant after construction.
#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <tilewright/substrate/StrongPtr.h>
#include <tilewright/values/PlainTypes.h>

namespace Orrery {

/// T is one of PlainTypes.h.
template <class T>
class TILEWRIGHT_API MultiRange : public std::vector<std::pair<T, T>>,
                                  public Larder::ReferenceBase<MultiRange<T>> {
public:
    using typename Larder::ReferenceBase<MultiRange<T>>::reference_domain_t;

    /// Parses `input`. A bad text gives the empty set and a line on the standard output; nothing is thrown.
    explicit MultiRange(const std::string& input);
    ~MultiRange() override;

    /// The first value of the first pair; the largest finite T for an empty set.
    T leastBound;
    /// The largest second value. For floating types it is never below the smallest positive normal number.
    T greatestBound;

    /// Called by the constructor.
    void construct(const std::string& input);

    /// Whether `value` lies in a range; for floating types with a tolerance of 1e-9 on either side, in double
    /// precision.
    bool contains(const T& value) const {
        if constexpr (std::is_floating_point_v<T>)
            return lies(static_cast<double>(value), 1e-9);
        else
            return lies(value, T(0));
    }

private:
    template <class V> bool lies(V value, V tolerance) const {
        // The bounds come first: most values of a sparse selection cost two comparisons.
        if (this->empty() || lessBy(leastBound, tolerance) > value ||
            value > moreBy(greatestBound, tolerance))
            return false;
        for (const auto& [first, second] : *this)
            if (value >= lessBy(first, tolerance) && moreBy(second, tolerance) >= value)
                return true;
        return false;
    }

    template <class V> static V lessBy(T bound, V tolerance) {
        return static_cast<V>(static_cast<V>(bound) - tolerance);
    }
    template <class V> static V moreBy(T bound, V tolerance) {
        return static_cast<V>(static_cast<V>(bound) + tolerance);
    }
};

/// Whether a MultiRange can be made of `text`; prints nothing.
TILEWRIGHT_API bool isRangeExpression(const std::string& text);

} // namespace Orrery

#define TILEWRIGHT_EXTERN_RANGE(T) extern template class Orrery::MultiRange<T>;
TILEWRIGHT_PLAIN_VALUE_TYPES(TILEWRIGHT_EXTERN_RANGE)
#undef TILEWRIGHT_EXTERN_RANGE
