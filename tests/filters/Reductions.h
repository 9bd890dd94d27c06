/// Reductions: calls of operators in each of their views.
#pragma once

#include <array>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include <tilewright/filters/Operator.h>
#include <tilewright/tilewright.h>

namespace Tilewright {
namespace {

/// Component `c` of a record; the value itself of a plain number.
template <class T> T& component(T& v, std::size_t) { return v; }
template <class T>
requires Orrery::Record<std::remove_const_t<T>>
auto& component(T& v, std::size_t c) { return v[c]; }

/// Equal, where not-a-numbers all count as the same.
template <class T> bool same(const T& a, const T& b) {
    bool isSame = true;
    for (std::size_t c = 0; c < 3; ++c) {
        const auto x = component(a, c), y = component(b, c);
        isSame = isSame && (x == y || (x != x && y != y));
    }
    return isSame;
}

/// What the operator makes of these values in the last of four cells, where another cell and the outside have
/// values in between.
template <class OperatorT, class T>
auto reduceAmongOthers(const std::vector<T>& values, const point& position) {
    const auto n = static_cast<unsigned>(values.size());
    std::vector<T> mixed;
    for (unsigned i = 0; i < n; ++i)
        mixed.insert(mixed.end(), {values[n - 1 - i], values[i], values[i / 2]});
    const CellLists cells({4, 1, 1}, 3 * n, [](unsigned i, unsigned long long outside) {
        return std::array{1ULL, 3ULL, outside}[i % 3];
    });
    using Orrery::PhysicalSpace::vector;
    const Quill::UniformCartesianArray nodes({4, 1, 1}, position + vector(-3, 0, 0), vector(1, 0, 0));
    typename OperatorT::output_type results[4] = {}, zero{};
    OperatorT::reduceCells(cells, mixed.data(), &nodes, results);
    EXPECT_TRUE(results[0] == zero && results[2] == zero);
    return results[3];
}

/// The reduction of all values, which is the same for a cell of them in a raster.
template <class OperatorT, class T> auto reduce(const std::vector<T>& values, const point& position = {}) {
    std::vector<unsigned> all(values.size());
    std::iota(all.begin(), all.end(), 0U);
    const OperatorT reduction;
    const auto result = reduction.reduce(all, values, static_cast<unsigned>(all.size()), position);
    EXPECT_TRUE(values.empty() || same(reduceAmongOthers<OperatorT>(values, position), result));
    return result;
}
template <template <class> class Op, class T>
auto all(const std::vector<T>& values, const point& position = {}) {
    return reduce<Op<Filter3D<T>>>(values, position);
}
template <template <class> class Op, int Dir, class T>
auto along(const std::vector<T>& values, const point& position = {}) {
    return reduce<Op<Filter1DOf<T, Dir>>>(values, position);
}
template <template <class> class Op, class T>
auto fitted(const std::vector<T>& values, const point& position = {}) {
    return reduce<Op<FilterRegressionOf<T>>>(values, position);
}

} // namespace
} // namespace Tilewright
