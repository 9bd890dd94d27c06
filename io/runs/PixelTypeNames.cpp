#include <io/runs/PixelTypeNames.h>

#include <algorithm>
#include <array>
#include <utility>

#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

struct NamedType {
    const char* name;
    PixelType type;
    std::uint64_t bytes;
};

constexpr std::array<NamedType, 7> pixelTypes = {{{"Byte", PixelType::Byte, 1},
                                                  {"UInt16", PixelType::UInt16, 2},
                                                  {"UInt32", PixelType::UInt32, 4},
                                                  {"UInt64", PixelType::UInt64, 8},
                                                  {"Int32", PixelType::Int32, 4},
                                                  {"Float32", PixelType::Float32, 4},
                                                  {"Float64", PixelType::Float64, 8}}};

/// The types are listed in the order of what they hold.
std::ptrdiff_t rankOf(PixelType type) {
    return std::ranges::find(pixelTypes, type, &NamedType::type) - pixelTypes.begin();
}

const NamedType& describe(PixelType type) { return pixelTypes[static_cast<std::size_t>(rankOf(type))]; }

} // namespace

const char* nameOf(PixelType type) { return describe(type).name; }

std::uint64_t bytesOf(PixelType type) { return describe(type).bytes; }

std::optional<PixelType> readPixelType(const std::string& name) {
    if (name.empty())
        return std::nullopt;
    std::string known;
    for (const NamedType& type : pixelTypes) {
        if (name == type.name)
            return type.type;
        known += known.empty() ? "" : ", ";
        known += type.name;
    }
    throw UsageError("the type '" + name + "' is none of " + known);
}

PixelType commonType(PixelType a, PixelType b) {
    using Type = PixelType;
    if (rankOf(a) > rankOf(b))
        std::swap(a, b);
    if (a == b || b == Type::Float64 || rankOf(b) <= rankOf(Type::UInt64))
        return b;
    const bool isShort = a == Type::Byte || a == Type::UInt16;
    return isShort ? b : Type::Float64;
}

} // namespace Tilewright::Io
