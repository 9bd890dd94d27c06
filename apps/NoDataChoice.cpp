#include "NoDataChoice.h"

#include <algorithm>
#include <array>
#include <limits>

namespace Tilewright::App {

namespace {

using Io::PixelType;

bool isFloating(PixelType type) { return type == PixelType::Float32 || type == PixelType::Float64; }

double lowestOf(PixelType type) {
    return type == PixelType::Float32 ? static_cast<double>(std::numeric_limits<float>::lowest())
                                      : std::numeric_limits<double>::lowest();
}

unsigned long long greatestOf(PixelType type) {
    switch (type) {
    case PixelType::Byte:
        return std::numeric_limits<unsigned char>::max();
    case PixelType::UInt16:
        return std::numeric_limits<unsigned short>::max();
    case PixelType::UInt32:
        return std::numeric_limits<unsigned int>::max();
    case PixelType::Int32:
        return std::numeric_limits<int>::max();
    default:
        return std::numeric_limits<unsigned long long>::max();
    }
}

PixelType widerThan(PixelType type) {
    switch (type) {
    case PixelType::Byte:
        return PixelType::UInt16;
    case PixelType::UInt16:
        return PixelType::UInt32;
    default:
        return PixelType::Float64;
    }
}

} // namespace

Io::NoData NoDataChoice::value() const {
    if (isFloating(Type))
        return std::array<double, 3>{-9999.0, lowestOf(Type), std::numeric_limits<double>::quiet_NaN()}.at(
            Next);
    return greatestOf(Type) - Next;
}

bool NoDataChoice::avoid(const Io::NoDataClash& clash) {
    if (isFloating(Type)) {
        if (Next == 2)
            return false;
        ++Next;
        return true;
    }
    const auto isFree = std::ranges::find(clash.usedFromTop, false);
    Next = static_cast<std::size_t>(isFree - clash.usedFromTop.begin());
    if (isFree == clash.usedFromTop.end()) {
        Next = 0;
        Type = widerThan(Type);
    }
    return true;
}

double asNumber(const Io::NoData& nodata) {
    return std::visit([](auto value) { return static_cast<double>(value); }, nodata);
}

} // namespace Tilewright::App
