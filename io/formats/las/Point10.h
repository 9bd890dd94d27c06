/// Point10: the core of a point of formats 0 to 5, and its bytes that are encoded alike in all versions.
#pragma once

#include <cstddef>
#include <cstdint>

#include <io/formats/las/ArithmeticDecoder.h>
#include <io/formats/las/RecordBytes.h>
#include <io/formats/las/SymbolModelTable.h>

namespace Tilewright::Io {

/// As in a record of 20 bytes.
struct Point10 {
    static constexpr std::size_t size = 20;

    static Point10 load(const std::byte* from) noexcept {
        Point10 point;
        point.x = loadLittleEndian<std::int32_t>(from);
        point.y = loadLittleEndian<std::int32_t>(from + 4);
        point.z = loadLittleEndian<std::int32_t>(from + 8);
        point.intensity = loadLittleEndian<std::uint16_t>(from + 12);
        point.flags = loadLittleEndian<std::uint8_t>(from + 14);
        point.classification = loadLittleEndian<std::uint8_t>(from + 15);
        point.scanAngle = loadLittleEndian<std::uint8_t>(from + 16);
        point.userData = loadLittleEndian<std::uint8_t>(from + 17);
        point.source = loadLittleEndian<std::uint16_t>(from + 18);
        return point;
    }

    void store(std::byte* to) const noexcept {
        storeLittleEndian(to, x);
        storeLittleEndian(to + 4, y);
        storeLittleEndian(to + 8, z);
        storeLittleEndian(to + 12, intensity);
        storeLittleEndian(to + 14, flags);
        storeLittleEndian(to + 15, classification);
        storeLittleEndian(to + 16, scanAngle);
        storeLittleEndian(to + 17, userData);
        storeLittleEndian(to + 18, source);
    }

    std::int32_t x, y, z;
    std::uint16_t intensity;
    std::uint8_t flags; ///< return number, number of returns, scan direction, edge of flight line
    std::uint8_t classification, scanAngle, userData;
    std::uint16_t source;
};

/// The next value of a byte, by the one before.
class ByteSequence {
public:
    void create() noexcept { models.create(); }

    [[gnu::always_inline]] void decode(ArithmeticDecoder& coder, std::uint8_t& value) {
        value = static_cast<std::uint8_t>(coder.symbol(models[value]));
    }

private:
    SymbolModelTable<256, 256> models;
};

} // namespace Tilewright::Io
