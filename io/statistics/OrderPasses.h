/// OrderPasses: statistics that go by order for a cell with more values than are in memory at a time.
///
/// The values are passed by as often as it takes. Different values are kept with the numbers of their
/// occurrences, in ascending order: all of them in one pass if there are few enough, which those of a scan
/// are, as its numbers have steps; else the least ones, and those after them in the next pass.
#pragma once

#include <memory>
#include <span>

#include <io/statistics/Statistic.h>
#include <tilewright/arrays/MemArray.h>

namespace Tilewright::Io {

template <class T> class OrderPasses {
public:
    OrderPasses() = default;
    OrderPasses(const OrderPasses&) = delete;
    OrderPasses& operator=(const OrderPasses&) = delete;
    virtual ~OrderPasses() = default;

    /// The next values of a pass, in the order of the points.
    virtual void take(std::span<const T> values) = 0;
    /// Whether there has to be another pass.
    virtual bool endPass() = 0;
    /// After the last pass: of each statistic an array of one cell.
    virtual Quill::ArrayPtr result(std::size_t statistic) const = 0;
};

template <class T> using OrderPassesPtr = std::unique_ptr<OrderPasses<T>>;

/// No more than `mostRuns` different values are kept at a time. T is a plain type of fields.
template <class T> OrderPassesPtr<T> makeOrderPasses(std::span<const Statistic> wanted, std::size_t mostRuns);

} // namespace Tilewright::Io
