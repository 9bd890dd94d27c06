#include <io/records/PointField.h>

#include <utility>

namespace Tilewright::Io {

namespace {

struct StorageTraits {
    std::size_t size;
    FieldType type;
};

StorageTraits traitsOf(PointField::Storage storage) {
    using Storage = PointField::Storage;
    switch (storage) {
    case Storage::Bits:
        return {1, FieldType::UnsignedChar};
    case Storage::Int8:
        return {1, FieldType::Int};
    case Storage::UInt16:
        return {2, FieldType::UnsignedShort};
    case Storage::Int16:
        return {2, FieldType::Int};
    case Storage::UInt32:
        return {4, FieldType::UnsignedInt};
    case Storage::Int32:
        return {4, FieldType::Int};
    case Storage::UInt64:
        return {8, FieldType::UnsignedLongLong};
    case Storage::Int64:
        return {8, FieldType::Double};
    case Storage::Float:
        return {4, FieldType::Float};
    case Storage::Double:
        return {8, FieldType::Double};
    }
    throw std::invalid_argument("no such storage");
}

} // namespace

PointField plainField(std::string name, PointField::Storage storage) {
    PointField field;
    field.name = std::move(name);
    field.type = traitsOf(storage).type;
    field.storage = storage;
    field.size = traitsOf(storage).size;
    return field;
}

PointField scaledField(std::string name, PointField::Storage storage, double scale, double offset) {
    PointField field = plainField(std::move(name), storage);
    field.type = FieldType::Double;
    field.scaled = true;
    field.scale = scale;
    field.offset = offset;
    return field;
}

} // namespace Tilewright::Io
