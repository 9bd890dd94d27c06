/// PointwiseItems: what follows the core of a point of formats 0 to 5 in its record, version 2.
///
/// Each has `start(first)`, which takes the item of the first point, and `decode(coder, to)`, which puts that
/// of the next point to its place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <io/formats/las/ColourDecoder.h>
#include <io/formats/las/GpsTimeDecoder.h>
#include <io/formats/las/RecordBytes.h>
#include <io/formats/las/WavePacketDecoder.h>

namespace Tilewright::Io {

class GpsTime11Decoder {
public:
    void start(const std::byte* first) noexcept {
        times.create();
        sequences.start(loadLittleEndian<std::uint64_t>(first));
    }

    [[gnu::always_inline]] void decode(ArithmeticDecoder& coder, std::byte* to) {
        storeLittleEndian(to, times.decode(coder, sequences));
    }

private:
    GpsTimeDecoder<true> times;
    GpsTimeSequences sequences;
};

class Rgb12Decoder {
public:
    void start(const std::byte* first) noexcept {
        colours.create();
        std::memcpy(last.data(), first, last.size());
    }

    [[gnu::always_inline]] void decode(ArithmeticDecoder& coder, std::byte* to) {
        last = colours.decode(coder, last);
        std::memcpy(to, last.data(), last.size());
    }

private:
    ColourDecoder colours;
    ColourBytes last;
};

class WavePacket13Decoder {
public:
    void start(const std::byte* first) noexcept {
        packets.create();
        last = WavePacket::load(first);
    }

    void decode(ArithmeticDecoder& coder, std::byte* to) {
        last = packets.decode(coder, last);
        last.store(to);
    }

private:
    WavePacketDecoder packets;
    WavePacket last;
};

class ExtraBytesDecoder {
public:
    explicit ExtraBytesDecoder(std::size_t count) : models(count), last(count) {}

    void start(const std::byte* first) noexcept {
        for (auto& model : models)
            model.create(256);
        std::memcpy(last.data(), first, last.size());
    }

    void decode(ArithmeticDecoder& coder, std::byte* to) {
        for (std::size_t i = 0; i < last.size(); ++i)
            last[i] = static_cast<std::uint8_t>(last[i] + coder.symbol(models[i]));
        std::memcpy(to, last.data(), last.size());
    }

private:
    std::vector<SymbolModel<256>> models;
    std::vector<std::uint8_t> last;
};

} // namespace Tilewright::Io
