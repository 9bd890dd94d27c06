/// Reductions: calls of operators, and the comparison of all their views with one rule for plain numbers.
#pragma once

#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <tilewright/filters/Operator.h>
#include <tilewright/tilewright.h>

namespace Tilewright {
namespace {

template <class OperatorT, class T> auto reduce(const std::vector<T>& values, const point& position = {}) {
    std::vector<unsigned> all(values.size());
    for (unsigned i = 0; i < all.size(); ++i)
        all[i] = i;
    return OperatorT().reduce(all, values, static_cast<unsigned>(all.size()), position);
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

/// Component `c` of a record; the value itself of a plain number.
template <class T> T& component(T& v, std::size_t) { return v; }
template <class T>
requires Orrery::Record<std::remove_const_t<T>>
auto& component(T& v, std::size_t c) { return v[c]; }
template <class E, class T> std::vector<E> column(const std::vector<T>& values, std::size_t c) {
    std::vector<E> seen;
    for (const T& v : values)
        seen.push_back(static_cast<E>(component(v, c)));
    return seen;
}

/// Equal, where not-a-numbers all count as the same.
template <class T> bool same(const T& a, const T& b) {
    bool isSame = true;
    for (std::size_t c = 0; c < 3; ++c) {
        const auto x = component(a, c), y = component(b, c);
        isSame = isSame && (x == y || (x != x && y != y));
    }
    return isSame;
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
