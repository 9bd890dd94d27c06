/// CellStates: statistics that keep a small state per cell and take the points in the order of the cloud.
#pragma once

#include <memory>

#include <io/statistics/Statistic.h>
#include <tilewright/filters/PieceReduction.h>

namespace Tilewright::Io {

/// A value of a point with its height.
template <class T> struct ValueAtHeight {
    double height;
    T value;
};

/// A reduction that says what it takes.
template <class T> class StateReduction : public PieceReduction<T> {
public:
    /// With the results.
    virtual std::size_t bytesPerCell() const = 0;
};

/// Null for a statistic that is of another sort. T is a plain type of fields, or for one that goes by height
/// such a type with heights. The results are of the plain type where they are values, else doubles.
template <class T>
std::unique_ptr<StateReduction<T>> makeStateReduction(const Quill::MultiIndex<3>& sizes,
                                                      const Statistic& statistic);

} // namespace Tilewright::Io
