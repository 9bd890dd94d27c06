/// WavePacketDecoder: where the waveform of a point lies, and the point on it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <io/formats/las/IntegerDecoder.h>
#include <io/formats/las/RecordBytes.h>

namespace Tilewright::Io {

/// As in a record of 29 bytes, with the bits of the floating-point numbers as whole ones.
struct WavePacket {
    static constexpr std::size_t size = 29;

    static WavePacket load(const std::byte* from) noexcept {
        WavePacket packet;
        packet.descriptor = loadLittleEndian<std::uint8_t>(from);
        packet.offset = loadLittleEndian<std::uint64_t>(from + 1);
        for (std::size_t i = 0; i < packet.numbers.size(); ++i)
            packet.numbers[i] = loadLittleEndian<std::int32_t>(from + 9 + 4 * i);
        return packet;
    }

    void store(std::byte* to) const noexcept {
        storeLittleEndian(to, descriptor);
        storeLittleEndian(to + 1, offset);
        for (std::size_t i = 0; i < numbers.size(); ++i)
            storeLittleEndian(to + 9 + 4 * i, numbers[i]);
    }

    std::uint8_t descriptor = 0;
    std::uint64_t offset = 0;
    std::array<std::int32_t, 5> numbers =
        {}; ///< bytes of the packet, place of the return on it, x(t), y(t), z(t)
};

class WavePacketDecoder {
public:
    void create() noexcept {
        descriptors.create(256);
        for (auto& model : offsetKinds)
            model.create(4);
        offsets.create();
        sizes.create();
        places.create();
        directions.create();
        difference = 0;
        offsetKind = 0;
    }

    /// The packet after `last`.
    WavePacket decode(ArithmeticDecoder& coder, const WavePacket& last) {
        WavePacket packet;
        packet.descriptor = static_cast<std::uint8_t>(coder.symbol(descriptors));
        packet.offset = decodeOffset(coder, last);
        packet.numbers[0] = sizes.decode(coder, last.numbers[0], 0).value;
        packet.numbers[1] = places.decode(coder, last.numbers[1], 0).value;
        for (unsigned axis = 0; axis < 3; ++axis)
            packet.numbers[2 + axis] = directions.decode(coder, last.numbers[2 + axis], axis).value;
        return packet;
    }

private:
    std::uint64_t decodeOffset(ArithmeticDecoder& coder, const WavePacket& last) {
        offsetKind = coder.symbol(offsetKinds[offsetKind]);
        switch (offsetKind) {
        case 0:
            return last.offset;
        case 1:
            return last.offset + static_cast<std::uint32_t>(last.numbers[0]);
        case 2:
            difference = offsets.decode(coder, difference, 0).value;
            return wrappingSum(last.offset, difference);
        default:
            return coder.bits64();
        }
    }

    SymbolModel<256> descriptors;
    std::array<SymbolModel<4>, 4> offsetKinds;
    IntegerDecoder<32, 1> offsets, sizes, places;
    IntegerDecoder<32, 3> directions;
    std::int32_t difference;
    unsigned offsetKind;
};

} // namespace Tilewright::Io
