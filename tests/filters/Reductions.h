/// Reductions: calls of operators, and the comparison of all their views with one rule for plain numbers.
#pragma once

#include <array>
#include <limits>
#include <numeric>
#include <random>
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
template <class FilterT, class T = typename FilterT::value_type>
auto reduceAmongOthers(const Operator<FilterT>& reduction, const std::vector<T>& values,
                       const point& position) {
    const auto n = static_cast<unsigned>(values.size());
    std::vector<T> mixed;
    for (unsigned i = 0; i < n; ++i)
        mixed.insert(mixed.end(), {values[n - 1 - i], values[i], values[i / 2]});
    CellLists cells;
    cells.assign({4, 1, 1}, 3 * n, [](unsigned i, unsigned long long outside) {
        return std::array{1ULL, 3ULL, outside}[i % 3];
    });
    using Orrery::PhysicalSpace::vector;
    const Quill::UniformCartesianArray nodes({4, 1, 1}, position + vector(-3, 0, 0), vector(1, 0, 0));
    typename FilterT::output_type results[4] = {}, zero{};
    reduction.reduceCells(cells, mixed, &nodes, results);
    EXPECT_TRUE(results[0] == zero && results[2] == zero);
    return results[3];
}

/// The reduction of all values, which is the same for a cell of them in a raster.
template <class OperatorT, class T> auto reduce(const std::vector<T>& values, const point& position = {}) {
    std::vector<unsigned> all(values.size());
    std::iota(all.begin(), all.end(), 0U);
    const OperatorT reduction;
    const auto result = reduction.reduce(all, values, static_cast<unsigned>(all.size()), position);
    EXPECT_TRUE(values.empty() || same(reduceAmongOthers(reduction, values, position), result));
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

template <class E, class T> std::vector<E> column(const std::vector<T>& values, std::size_t c) {
    std::vector<E> seen;
    for (const T& v : values)
        seen.push_back(static_cast<E>(component(v, c)));
    return seen;
}

/// Numbers around all thresholds of the rules: the width of the type, the million, and what a float drops.
template <class E> E drawNumber(std::mt19937_64& random) {
    const std::uint64_t bits = random();
    if constexpr (std::is_integral_v<E>)
        return static_cast<E>(bits % 3 == 0 ? bits >> 8 : bits % 3 == 1 ? bits % 4000000 : ~(bits % 400));
    else if (bits % 16 == 0)
        return std::numeric_limits<E>::quiet_NaN();
    else
        return static_cast<E>((static_cast<double>(bits >> 11) / 4503599627370496.0 - 1.0) *
                              (bits % 2 == 0 ? 4e6 : 10.0));
}

/// Compares each view of each value type, on random values with ties, with `rule(seen, isWholeRecord)`.
template <template <class> class Op, class Rule> void expectInEveryView(const Rule& rule) {
    Quill::probeTypes(Quill::FieldValueTypes(), [&]<class T>(std::type_identity<T>) {
        SCOPED_TRACE(Larder::Typename(typeid(T)));
        constexpr bool isRecord = Orrery::Record<T>;
        T whole{};
        using E = std::remove_cvref_t<decltype(component(whole, 0))>;
        using Along = std::conditional_t<isRecord && std::is_integral_v<E>, E, double>;
        std::mt19937_64 random(20);
        for (int round = 0; round < 300 && !testing::Test::HasFailure(); ++round) {
            std::vector<T> values(1 + random() % 60);
            for (T& v : values)
                for (std::size_t c = 0; c < 3; ++c)
                    component(v, c) = random() % 3 == 0 ? component(values[random() % values.size()], c)
                                                        : drawNumber<E>(random);
            for (std::size_t c = 0; c < 3; ++c)
                component(whole, c) = rule(column<E>(values, c), isRecord);
            EXPECT_TRUE(same(all<Op>(values), whole));
            EXPECT_TRUE(same(along<Op, 0>(values), rule(column<Along>(values, 0), false)));
            EXPECT_TRUE(same(along<Op, 1>(values), rule(column<Along>(values, 1), false)));
            EXPECT_TRUE(same(along<Op, 2>(values), rule(column<Along>(values, 2), false)));
            EXPECT_TRUE(same(fitted<Op>(values), rule(column<float>(values, 0), false)));
        }
        return false;
    });
}

} // namespace
} // namespace Tilewright
