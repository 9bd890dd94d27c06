/// PointwiseVersion1: the items of point formats 0 to 5 as they were encoded before 2011.
///
/// They have the operations of those of version 2.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <io/formats/las/IntegerDecoder.h>
#include <io/formats/las/Point10.h>
#include <io/formats/las/RecordBytes.h>

namespace Tilewright::Io {

class Point10DecoderVersion1 {
public:
    void start(const std::byte* first) noexcept {
        last = Point10::load(first);
        dx.create();
        dy.create();
        z.create();
        changes.create(64);
        flags.create();
        classes.create();
        userData.create();
        intensity.create();
        scanAngle.create();
        source.create();
        stepsX = {};
        stepsY = {};
        oldest = 0;
    }

    void decode(ArithmeticDecoder& coder, std::byte* record) {
        const DecodedInteger stepX = dx.decode(coder, middle(stepsX), 0);
        last.x = wrappingSum(last.x, stepX.value);
        const DecodedInteger stepY = dy.decode(coder, middle(stepsY), std::min(stepX.magnitude, 19U));
        last.y = wrappingSum(last.y, stepY.value);
        const unsigned magnitude = (stepX.magnitude + stepY.magnitude) / 2;
        last.z = z.decode(coder, last.z, std::min(magnitude, 19U)).value;
        decodeAttributes(coder, magnitude);
        stepsX[oldest] = stepX.value;
        stepsY[oldest] = stepY.value;
        oldest = (oldest + 1) % stepsX.size();
        last.store(record);
    }

private:
    using Steps = std::array<std::int32_t, 3>;

    enum Change : unsigned { Intensity = 32, Flags = 16, Class = 8, ScanAngle = 4, UserData = 2, Source = 1 };

    static std::int32_t middle(const Steps& steps) noexcept {
        return std::max(std::min(steps[0], steps[1]), std::min(std::max(steps[0], steps[1]), steps[2]));
    }

    void decodeAttributes(ArithmeticDecoder& coder, unsigned magnitude) {
        const unsigned changed = coder.symbol(changes);
        if ((changed & Intensity) != 0)
            last.intensity = static_cast<std::uint16_t>(intensity.decode(coder, last.intensity, 0).value);
        if ((changed & Flags) != 0)
            flags.decode(coder, last.flags);
        if ((changed & Class) != 0)
            classes.decode(coder, last.classification);
        if ((changed & ScanAngle) != 0)
            last.scanAngle = static_cast<std::uint8_t>(
                scanAngle.decode(coder, last.scanAngle, magnitude < 3 ? 1 : 0).value);
        if ((changed & UserData) != 0)
            userData.decode(coder, last.userData);
        if ((changed & Source) != 0)
            last.source = static_cast<std::uint16_t>(source.decode(coder, last.source, 0).value);
    }

    Point10 last;
    IntegerDecoder<32, 1> dx;
    IntegerDecoder<32, 20> dy, z;
    SymbolModel<64> changes;
    ByteSequence flags, classes, userData;
    IntegerDecoder<16, 1> intensity, source;
    IntegerDecoder<8, 2> scanAngle;
    Steps stepsX, stepsY; ///< the last three
    std::size_t oldest;
};

class GpsTime11DecoderVersion1 {
public:
    void start(const std::byte* first) noexcept {
        multiples.create(512);
        starts.create(3);
        differences.create();
        time = loadLittleEndian<std::uint64_t>(first);
        step = 0;
        outliers = 0;
    }

    void decode(ArithmeticDecoder& coder, std::byte* to) {
        if (step == 0)
            decodeStart(coder);
        else
            decodeMultiple(coder);
        storeLittleEndian(to, time);
    }

private:
    void decodeStart(ArithmeticDecoder& coder) {
        const unsigned code = coder.symbol(starts);
        if (code == 1) {
            step = differences.decode(coder, 0, 0).value;
            time = wrappingSum(time, step);
        } else if (code == 2) {
            time = coder.bits64();
        }
    }

    void decodeMultiple(ArithmeticDecoder& coder) {
        const unsigned code = coder.symbol(multiples);
        if (code == 511)
            return;
        if (code == 510) {
            time = coder.bits64();
            return;
        }
        const unsigned context = code == 0 ? 2 : code == 1 ? 1 : code < 10 ? 3 : code < 50 ? 4 : 5;
        const std::int32_t expected =
            code == 0 ? step / 4 : wrappingProduct(static_cast<std::int32_t>(code), step);
        const std::int32_t difference = differences.decode(coder, expected, context).value;
        time = wrappingSum(time, difference);
        if (code == 1) {
            step = difference;
            outliers = 0;
        } else if ((code == 0 || code == 509) && ++outliers > 3) {
            step = difference;
            outliers = 0;
        }
    }

    SymbolModel<512> multiples;
    SymbolModel<3> starts;
    IntegerDecoder<32, 6> differences;
    std::uint64_t time;
    std::int32_t step;
    unsigned outliers; ///< differences since the last that confirmed `step`
};

class Rgb12DecoderVersion1 {
public:
    void start(const std::byte* first) noexcept {
        changes.create(64);
        bytes.create();
        std::memcpy(last.data(), first, last.size());
    }

    void decode(ArithmeticDecoder& coder, std::byte* to) {
        const unsigned changed = coder.symbol(changes);
        for (unsigned i = 0; i < last.size(); ++i) {
            if ((changed >> i & 1) != 0)
                last[i] = static_cast<std::uint8_t>(bytes.decode(coder, last[i], i).value);
        }
        std::memcpy(to, last.data(), last.size());
    }

private:
    SymbolModel<64> changes;
    IntegerDecoder<8, 6> bytes;
    std::array<std::uint8_t, 6> last;
};

class ExtraBytesDecoderVersion1 {
public:
    explicit ExtraBytesDecoderVersion1(std::size_t count) : magnitudes(count), last(count) {}

    void start(const std::byte* first) noexcept {
        for (auto& model : magnitudes)
            model.create(9);
        corrections.create();
        std::memcpy(last.data(), first, last.size());
    }

    void decode(ArithmeticDecoder& coder, std::byte* to) {
        for (std::size_t i = 0; i < last.size(); ++i)
            last[i] =
                static_cast<std::uint8_t>(last[i] + corrections.decode(coder, coder.symbol(magnitudes[i])));
        std::memcpy(to, last.data(), last.size());
    }

private:
    std::vector<SymbolModel<9>> magnitudes;
    CorrectionDecoder<8> corrections;
    std::vector<std::uint8_t> last;
};

} // namespace Tilewright::Io
