/// PointField: a number that each point has, a coordinate or an attribute, with its value type and its place
/// in the point's record.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// The types in which attributes come out. What the file holds in a type that is not among them comes out in
/// one that holds all its values: signed bytes and shorts as Int. Only signed 64-bit numbers, as Double, can
/// lose their last digits.
enum class FieldType { Float, Double, UnsignedChar, UnsignedShort, UnsignedInt, UnsignedLongLong, Int };

/// Calls `visitor.template operator()<T>()` with the C++ type of `type`, as in
/// `visitFieldType(field.type, [&]<class T>() { ... })`.
template <class Visitor> decltype(auto) visitFieldType(FieldType type, Visitor&& visitor) {
    switch (type) {
    case FieldType::Float:
        return visitor.template operator()<float>();
    case FieldType::Double:
        return visitor.template operator()<double>();
    case FieldType::UnsignedChar:
        return visitor.template operator()<unsigned char>();
    case FieldType::UnsignedShort:
        return visitor.template operator()<unsigned short>();
    case FieldType::UnsignedInt:
        return visitor.template operator()<unsigned int>();
    case FieldType::UnsignedLongLong:
        return visitor.template operator()<unsigned long long>();
    case FieldType::Int:
        return visitor.template operator()<int>();
    }
    throw std::invalid_argument("no such field type");
}

/// Whether T is the C++ type of `type`.
template <class T> bool isFieldType(FieldType type) {
    return visitFieldType(type, []<class U>() { return std::is_same_v<T, U>; });
}

/// A coordinate or an attribute of points, with its place in their records. `name` is unique among the fields
/// of a source.
struct TILEWRIGHT_API PointField {
    /// How the value lies in the record.
    enum class Storage { Bits, Int8, UInt16, Int16, UInt32, Int32, UInt64, Int64, Float, Double };

    std::string name;
    FieldType type = FieldType::UnsignedChar;
    Storage storage = Storage::Bits;
    std::size_t position = 0; ///< first byte, counted from the start of the record
    std::size_t size = 1;     ///< bytes in the record
    unsigned firstBit = 0;    ///< of Storage::Bits, in the byte at `position`
    unsigned bitCount = 8;    ///< of Storage::Bits
    bool scaled = false;      ///< whether the value is the stored number * scale + offset, as Double
    double scale = 1;
    double offset = 0;
};

/// A field of numbers as they are stored. Its type is the one that holds them all, its size follows from
/// `storage`, and its place is the start of the record.
TILEWRIGHT_API PointField plainField(std::string name, PointField::Storage storage);

/// The same of numbers that count steps of `scale` from `offset`: Double.
TILEWRIGHT_API PointField scaledField(std::string name, PointField::Storage storage, double scale,
                                      double offset);

} // namespace Tilewright::Io
