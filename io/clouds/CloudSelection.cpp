#include <io/clouds/CloudSelection.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <type_traits>

#include <io/clouds/PolygonArea.h>

namespace Tilewright::Io {

namespace {

using Quantity = PointCondition::Quantity;

template <class T> void decode(const PointBatch& batch, const PointField& field, std::vector<T>& values) {
    const std::size_t count = batch.ordinals.size();
    values.resize(count);
    if (count == 0)
        return;
    // Without gaps among them, there is nothing to look up.
    if (batch.ordinals.back() - batch.ordinals.front() + std::size_t(1) == count)
        decodeField(batch.format, field, batch.records + batch.ordinals.front() * batch.format.recordLength,
                    std::span(values));
    else
        decodeFieldAt(batch.format, field, batch.records, batch.ordinals, std::span(values));
}

/// The bound of a range as a value of T, which it may lie beyond.
template <class T> T boundAs(double bound) {
    using Limits = std::numeric_limits<T>;
    if (std::isinf(bound) && std::is_floating_point_v<T>)
        return static_cast<T>(bound);
    if (!(bound > static_cast<double>(Limits::lowest())))
        return Limits::lowest();
    // The largest integers are no doubles.
    return bound >= static_cast<double>(Limits::max()) ? Limits::max() : static_cast<T>(bound);
}

/// Whether values lie in ranges.
template <class T> class RangeTest {
    /// Numbers of few bits are looked up.
    static constexpr bool hasTable = std::is_integral_v<T> && sizeof(T) <= 2;

public:
    explicit RangeTest(const PointCondition& condition) : Excludes(condition.excludes) {
        for (const auto& [low, high] : condition.ranges)
            if constexpr (std::is_floating_point_v<T>)
                Ranges.push_back({boundAs<T>(low) - 1e-9, boundAs<T>(high) + 1e-9});
            else
                Ranges.push_back({boundAs<T>(std::ceil(low)), boundAs<T>(std::floor(high))});
        if constexpr (hasTable)
            for (std::size_t value = 0; value <= std::numeric_limits<T>::max(); ++value)
                Table.push_back(lies(static_cast<T>(value)));
    }

    void drop(const std::vector<T>& values, unsigned char* passes) const {
        if constexpr (hasTable)
            for (std::size_t i = 0; i < values.size(); ++i)
                passes[i] &= Table[values[i]];
        else
            for (std::size_t i = 0; i < values.size(); ++i)
                passes[i] &= lies(values[i]);
    }

private:
    using Bound = std::conditional_t<std::is_floating_point_v<T>, double, T>;

    unsigned char lies(T value) const {
        unsigned isIn = 0;
        for (const auto& [low, high] : Ranges)
            isIn |= unsigned{value >= low} & unsigned{value <= high};
        return static_cast<unsigned char>(isIn ^ (Excludes ? 1U : 0U));
    }

    bool Excludes;
    std::vector<std::array<Bound, 2>> Ranges;
    std::vector<unsigned char> Table;
};

template <class T> class AttributeTest final : public ConditionTest::Test {
public:
    explicit AttributeTest(const PointCondition& condition) : Name(condition.field.name), Wanted(condition) {}

    void drop(const PointBatch& batch, unsigned char* passes) override {
        decode(batch, *batch.format.findField(Name), Values);
        Wanted.drop(Values, passes);
    }

private:
    std::string Name;
    RangeTest<T> Wanted;
    std::vector<T> Values;
};

class CoordinateTest final : public ConditionTest::Test {
public:
    explicit CoordinateTest(const PointCondition& condition)
        : Axis(condition.quantity == Quantity::X   ? 0
               : condition.quantity == Quantity::Y ? 1
               : condition.quantity == Quantity::Z ? 2
                                                   : 3),
          Wanted(condition) {}

    void drop(const PointBatch& batch, unsigned char* passes) override {
        Values.assign(batch.coordinates[Axis], batch.coordinates[Axis] + batch.ordinals.size());
        Wanted.drop(Values, passes);
    }

private:
    std::size_t Axis;
    RangeTest<double> Wanted;
    std::vector<double> Values;
};

class ReturnTest final : public ConditionTest::Test {
public:
    explicit ReturnTest(const PointCondition& condition)
        : Returns(condition.returns), Excludes(condition.excludes) {}

    void drop(const PointBatch& batch, unsigned char* passes) override {
        decode(batch, *batch.format.findField(returnFields[0]), Numbers);
        decode(batch, *batch.format.findField(returnFields[1]), Counts);
        for (std::size_t i = 0; i < Numbers.size(); ++i)
            if (isWanted(Numbers[i], Counts[i]) == Excludes)
                passes[i] = 0;
    }

private:
    /// What is stored of them may be any numbers.
    bool isWanted(double number, double count) const {
        unsigned groups = 0;
        groups |= number == 1.0 ? PointCondition::First : 0U;
        groups |= number == count ? PointCondition::Last : 0U;
        groups |= count == 1.0 ? PointCondition::Only : 0U;
        groups |= number > 1.0 && number < count ? PointCondition::Intermediate : 0U;
        return (groups & Returns) != 0;
    }

    unsigned Returns;
    bool Excludes;
    std::vector<double> Numbers;
    std::vector<double> Counts;
};

std::unique_ptr<ConditionTest::Test> makeTest(const PointCondition& condition) {
    switch (condition.quantity) {
    case Quantity::Attribute:
        return visitFieldType(condition.field.type, [&]<class T>() -> std::unique_ptr<ConditionTest::Test> {
            return std::make_unique<AttributeTest<T>>(condition);
        });
    case Quantity::Returns:
        return std::make_unique<ReturnTest>(condition);
    case Quantity::X:
    case Quantity::Y:
    case Quantity::Z:
    case Quantity::HeightAboveGround:
        break;
    }
    return std::make_unique<CoordinateTest>(condition);
}

} // namespace

bool isOfAttributes(const PointCondition& condition) {
    return condition.quantity == Quantity::Attribute || condition.quantity == Quantity::Returns;
}

std::vector<std::string> attributesOf(const PointConditions& conditions) {
    std::vector<std::string> names;
    for (const PointCondition& condition : conditions)
        if (condition.quantity == Quantity::Attribute)
            names.push_back(condition.field.name);
        else if (condition.quantity == Quantity::Returns)
            names.insert(names.end(), returnFields.begin(), returnFields.end());
    return names;
}

ConditionTest::ConditionTest(const PointConditions& conditions) {
    for (const PointCondition& condition : conditions)
        Tests.push_back(makeTest(condition));
}

ConditionTest::~ConditionTest() = default;
ConditionTest::ConditionTest(ConditionTest&&) noexcept = default;
ConditionTest& ConditionTest::operator=(ConditionTest&&) noexcept = default;

const unsigned char* ConditionTest::operator()(const PointBatch& batch) {
    Passes.assign(batch.ordinals.size(), 1);
    for (const auto& test : Tests)
        test->drop(batch, Passes.data());
    return Passes.data();
}

std::uint64_t SelectionCounter::count(const RecordFormat& format, const std::byte* records,
                                      std::size_t count) {
    // So few that their coordinates stay in the innermost cache.
    constexpr std::size_t pointsAtATime = 512;
    std::uint64_t all = 0;
    for (std::size_t at = 0; at < count; at += pointsAtATime) {
        const std::size_t n = std::min(pointsAtATime, count - at);
        const std::byte* const first = records + at * format.recordLength;
        Ordinals.resize(n);
        std::iota(Ordinals.begin(), Ordinals.end(), 0U);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            Coordinates[axis].resize(n);
            decodeField(format, format.coordinates[axis], first, std::span(Coordinates[axis]));
        }
        const unsigned char* const passes =
            Selected({format,
                      first,
                      Ordinals,
                      {Coordinates[0].data(), Coordinates[1].data(), Coordinates[2].data(), nullptr}});
        Passes.assign(passes, passes + n);
        if (Clip)
            Clip->drop(Coordinates[0].data(), Coordinates[1].data(), n, Passes.data());
        all += static_cast<std::uint64_t>(std::ranges::count(Passes, 1));
    }
    return all;
}

} // namespace Tilewright::Io
