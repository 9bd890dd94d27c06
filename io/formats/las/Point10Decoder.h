/// Point10Decoder: POINT10, version 2.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include <io/formats/las/IntegerDecoder.h>
#include <io/formats/las/Point10.h>
#include <io/formats/las/ReturnMaps.h>
#include <io/formats/las/StreamingMedian.h>

namespace Tilewright::Io {

class Point10Decoder {
public:
    static constexpr std::size_t size = Point10::size;

    void start(const std::byte* first) noexcept {
        last = Point10::load(first);
        changes.create(64);
        flags.create();
        intensity.create();
        classes.create();
        for (auto& model : scanAngles)
            model.create(256);
        userData.create();
        source.create();
        dx.create();
        dy.create();
        z.create();
        intensities = {};
        heights = {};
        mediansX = {};
        mediansY = {};
    }

    [[gnu::always_inline]] void decode(ArithmeticDecoder& coder, std::byte* record) {
        const unsigned changed = coder.symbol(changes);
        if ((changed & Flags) != 0)
            flags.decode(coder, last.flags);
        const unsigned number = last.flags & 7U, returns = last.flags >> 3 & 7U;
        const unsigned history = returnMap8[returns][number];
        decodeAttributes(coder, changed, history);
        decodePosition(coder, history, returns == 1 ? 1 : 0, returnLevel(returns, number));
        last.store(record);
    }

private:
    enum Change : unsigned { Flags = 32, Intensity = 16, Class = 8, ScanAngle = 4, UserData = 2, Source = 1 };

    [[gnu::always_inline]] void decodeAttributes(ArithmeticDecoder& coder, unsigned changed,
                                                 unsigned history) {
        std::uint16_t& lastIntensity = intensities[history];
        if ((changed & Intensity) != 0)
            lastIntensity = static_cast<std::uint16_t>(
                intensity.decode(coder, lastIntensity, std::min(history, 3U)).value);
        last.intensity = lastIntensity;
        if ((changed & (Class | ScanAngle | UserData | Source)) == 0)
            return;
        if ((changed & Class) != 0)
            classes.decode(coder, last.classification);
        if ((changed & ScanAngle) != 0)
            last.scanAngle =
                static_cast<std::uint8_t>(last.scanAngle + coder.symbol(scanAngles[last.flags >> 6 & 1U]));
        if ((changed & UserData) != 0)
            userData.decode(coder, last.userData);
        if ((changed & Source) != 0)
            last.source = static_cast<std::uint16_t>(source.decode(coder, last.source, 0).value);
    }

    [[gnu::always_inline]] void decodePosition(ArithmeticDecoder& coder, unsigned history, unsigned single,
                                               unsigned level) {
        const DecodedInteger stepX = dx.decode(coder, mediansX[history].median(), single);
        last.x = wrappingSum(last.x, stepX.value);
        mediansX[history].add(stepX.value);

        const unsigned contextY = single + std::min(stepX.magnitude & ~1U, 20U);
        const DecodedInteger stepY = dy.decode(coder, mediansY[history].median(), contextY);
        last.y = wrappingSum(last.y, stepY.value);
        mediansY[history].add(stepY.value);

        const unsigned contextZ = single + std::min((stepX.magnitude + stepY.magnitude) / 2 & ~1U, 18U);
        heights[level] = z.decode(coder, heights[level], contextZ).value;
        last.z = heights[level];
    }

    Point10 last;
    SymbolModel<64> changes;
    ByteSequence flags, classes, userData;
    std::array<SymbolModel<256>, 2> scanAngles; ///< by scan direction
    IntegerDecoder<16, 4> intensity;
    IntegerDecoder<16, 1> source;
    IntegerDecoder<32, 2> dx;
    IntegerDecoder<32, 22> dy;
    IntegerDecoder<32, 20> z;
    std::array<std::uint16_t, 16> intensities;
    std::array<std::int32_t, 8> heights;
    std::array<StreamingMedian, 16> mediansX, mediansY;
};

} // namespace Tilewright::Io
