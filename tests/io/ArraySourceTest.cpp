#include <io/records/ArraySource.h>

#include <cmath>
#include <limits>

#include <gmock/gmock.h>

#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

using testing::ElementsAre, testing::HasSubstr;
using Storage = PointField::Storage;

#pragma pack(push, 1)
struct PackedPoint {
    std::uint8_t flags;
    float z;
    std::uint16_t classes;
    double x;
    std::int32_t y;
};
#pragma pack(pop)

RecordFormat packedFormat() {
    const auto at = [](PointField field, std::size_t position) {
        field.position = position;
        return field;
    };
    return {sizeof(PackedPoint),
            {at(plainField("", Storage::Double), 7), at(scaledField("", Storage::Int32, -0.5, 100.0), 15),
             at(plainField("", Storage::Float), 1)},
            {at(plainField("classes", Storage::UInt16), 5), at(plainField("X", Storage::Bits), 0)}};
}

TEST(RecordSpanTest, CoordinatesMayLieAnywhereAndBeOfAnyType) {
    std::vector<PackedPoint> points(5000);
    for (std::size_t i = 0; i < points.size(); ++i) {
        const auto number = static_cast<std::int32_t>(i);
        points[i] = {static_cast<std::uint8_t>(i % 200), static_cast<float>(-number) / 4,
                     static_cast<std::uint16_t>(i), number * 1.1, number};
    }
    const RecordSpan source("points", packedFormat(), std::as_bytes(std::span(points)));
    ASSERT_EQ(source.pointCount(), points.size());
    const std::vector<double> xyz = positionsOf(source);
    std::vector<double> y(points.size());
    std::vector<float> z(points.size());
    source.read(0, y.size(), nullptr,
                std::array{FieldColumn{source.format().findField("Y"), std::span(y)},
                           FieldColumn{source.format().findField("Z"), std::span(z)}});
    for (std::size_t i = 0; i < points.size(); ++i) {
        // Members of a packed structure must not be bound to references.
        const double expectedX = points[i].x;
        const float expectedZ = points[i].z;
        ASSERT_EQ(xyz[3 * i], expectedX);
        ASSERT_EQ(xyz[3 * i + 1], points[i].y * -0.5 + 100.0);
        ASSERT_EQ(xyz[3 * i + 2], expectedZ);
        ASSERT_EQ(y[i], xyz[3 * i + 1]);
        ASSERT_EQ(z[i], expectedZ);
    }
    const PointBounds box = source.bounds(10, 1000);
    EXPECT_EQ(box.low, (std::array{11.0, 1009 * -0.5 + 100.0, -1009 / 4.0}));
    EXPECT_EQ(box.high, (std::array{1009 * 1.1, 95.0, -2.5}));

    // Its own X is a coordinate.
    EXPECT_EQ(source.format().findField("X")->type, FieldType::Double);
    EXPECT_EQ(source.format().findField("X_2")->type, FieldType::UnsignedChar);
}

template <class T> void expectValues(const std::vector<T>& values, FieldType type) {
    const std::vector<double> axis(values.size());
    const ArrayColumn coordinate = ArrayColumn::of<double>("", axis);
    const ArraySource source("arrays", {coordinate, coordinate, coordinate},
                             {ArrayColumn::of<T>("values", values)});
    EXPECT_EQ(valuesOf(source).at("values"),
              (Values{type, std::vector<double>(values.begin(), values.end())}));
}

TEST(ArraySourceTest, NumbersOfAllTypesComeOut) {
    const auto limits = []<class T>(T) {
        return std::vector<T>{std::numeric_limits<T>::lowest(), 0, 1, std::numeric_limits<T>::max()};
    };
    expectValues(limits(std::int8_t{}), FieldType::Int);
    expectValues(limits(std::uint8_t{}), FieldType::UnsignedChar);
    expectValues(limits(std::int16_t{}), FieldType::Int);
    expectValues(limits(std::uint16_t{}), FieldType::UnsignedShort);
    expectValues(limits(std::int32_t{}), FieldType::Int);
    expectValues(limits(std::uint32_t{}), FieldType::UnsignedInt);
    expectValues(limits(std::int64_t{}), FieldType::Double);
    expectValues(limits(std::uint64_t{}), FieldType::UnsignedLongLong);
    expectValues(limits(float{}), FieldType::Float);
    expectValues(limits(double{}), FieldType::Double);
}

TEST(ArraySourceTest, ColumnsMayRunBackwards) {
    const std::vector<double> x = {1, 2, 3};
    ArrayColumn backwards = ArrayColumn::of<double>("", x);
    backwards.first += 2 * sizeof(double);
    backwards.stride = -backwards.stride;
    const ArrayColumn forwards = ArrayColumn::of<double>("", x);
    const ArraySource source("arrays", {backwards, forwards, backwards}, {});
    EXPECT_THAT(positionsOf(source), ElementsAre(3, 1, 3, 2, 2, 2, 1, 3, 1));
}

TEST(ArraySourceTest, WhatIsNoCloudIsRefused) {
    std::vector<double> x(20000, 1.0);
    const std::span<const double> all = x;
    const auto make = [&](std::span<const double> y) {
        const ArrayColumn column = ArrayColumn::of("", all);
        ArraySource("arrays", {column, ArrayColumn::of("", y), column}, {});
    };
    EXPECT_THROW(make(all.first(19999)), std::invalid_argument);
    x[15000] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(messageOf([&] { make(all); }), HasSubstr("arrays: point 15001 has a coordinate"));

    const Bytes bytes(50);
    RecordFormat format{25, plainCoordinates(1), {}};
    RecordSpan("records", format, bytes);
    EXPECT_THROW(RecordSpan("records", format, std::span(bytes).first(49)), std::invalid_argument);
    format.coordinates = plainCoordinates(2);
    EXPECT_THROW(RecordSpan("records", format, bytes), std::invalid_argument);
}

} // namespace
} // namespace Tilewright::Io::Test
