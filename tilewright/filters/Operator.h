#pragma once

#include <vector>

#include <tilewright/filters/views.h>

namespace Tilewright {
namespace {

/// A reduction: turns the values of a cell's points into the one value of the cell. Operators have no state;
/// one is made on the stack for each field and fragment.
template <class FilterT> class Operator {
public:
    using value_type = typename FilterT::value_type;
    using output_type = typename FilterT::output_type;

    virtual ~Operator() = default;

    /// Reduces the values at `cellPoints`, in that order, to one. `count` is the number of `cellPoints`,
    /// which must all lie inside `values`; `cellPosition` is the node of the cell.
    virtual output_type reduce(const std::vector<unsigned>& cellPoints, const std::vector<value_type>& values,
                               const unsigned& count, const point& cellPosition) const = 0;

    /// Whether reduce looks at the position, which then has to be worked out for every cell.
    virtual bool readsCellPosition() const { return false; }
};

} // namespace
} // namespace Tilewright
