#include <io/runs/NoDataChoice.h>

#include <algorithm>
#include <array>
#include <limits>

namespace Tilewright::Io {

namespace {

unsigned long long greatestOf(PixelType type) {
    return type == PixelType::UInt64 ? std::numeric_limits<unsigned long long>::max()
                                     : static_cast<unsigned long long>(rangeOf(type).greatest);
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

bool isUsed(const NoDataClash& clash, std::uint64_t fromTop) {
    const std::size_t word = fromTop / 64;
    return word < clash.usedFromTop.size() && (clash.usedFromTop[word] >> fromTop % 64 & 1U) != 0;
}

} // namespace

NoDataChoice::NoDataChoice(PixelType type, bool keepsType, std::optional<PixelRange> bits)
    : Type(type), KeepsType(keepsType || bits), Bits(bits) {
    if (Bits && !isFloating(Type))
        Next = greatestOf(Type) - static_cast<std::uint64_t>(Bits->greatest);
}

std::optional<NoData> NoDataChoice::value() const {
    if (!IsNeeded)
        return std::nullopt;
    if (!isFloating(Type))
        return greatestOf(Type) - Next;
    // 16 bits have no -9999.
    const double usual = Bits ? -32768.0 : -9999.0;
    return std::array<double, 3>{usual, Bits.value_or(rangeOf(Type)).least,
                                 std::numeric_limits<double>::quiet_NaN()}
        .at(Next);
}

NoDataChoice::Outcome NoDataChoice::avoid(const NoDataClash& clash, bool allCellsHaveData) {
    if (isFloating(Type)) {
        if (Next == 2)
            return Outcome::Stands;
        ++Next;
        return Outcome::Moved;
    }
    const std::uint64_t last = std::min<std::uint64_t>(NoDataClash::candidates - 1, greatestOf(Type));
    while (Next <= last && isUsed(clash, Next))
        ++Next;
    if (Next <= last)
        return Outcome::Moved;
    if (allCellsHaveData) {
        IsNeeded = false;
        return Outcome::Moved;
    }
    if (KeepsType)
        return Outcome::Exhausted;
    Next = 0;
    Type = widerThan(Type);
    return Outcome::Moved;
}

double asNumber(const NoData& nodata) {
    return std::visit([](auto value) { return static_cast<double>(value); }, nodata);
}

} // namespace Tilewright::Io
