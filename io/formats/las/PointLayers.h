/// PointLayers: the layers of a point of formats 6 to 10 after the XY layer, an attribute each.
///
/// Each has `start(string, first, channel)`, which takes the bytes of the layer, the first record of the
/// chunk and its scanner channel, and `decode(point, record)`, which puts the attribute of the next point
/// into its record.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <io/formats/las/ChannelContexts.h>
#include <io/formats/las/CodedLayer.h>
#include <io/formats/las/GpsTimeDecoder.h>
#include <io/formats/las/IntegerDecoder.h>
#include <io/formats/las/RecordBytes.h>
#include <io/formats/las/SymbolModelTable.h>

namespace Tilewright::Io {

template <class Context> class PointLayer : public CodedLayer {
protected:
    template <class Value> void begin(const CodedString& string, unsigned channel, Value first) {
        CodedLayer::begin(string);
        contexts.start(channel, first);
    }

    ChannelContexts<Context> contexts;
};

struct ZContext {
    void create() noexcept { z.create(); }
    void begin(std::int32_t value) noexcept {
        last = value;
        histories.fill(value);
    }

    IntegerDecoder<32, 20> z;
    std::array<std::int32_t, 8> histories; ///< the last z by level
    std::int32_t last;
};

class ZLayer : public PointLayer<ZContext> {
public:
    void start(const CodedString& string, const std::byte* first, unsigned channel) {
        begin(string, channel, loadLittleEndian<std::int32_t>(first + place));
    }

    [[gnu::always_inline]] void decode(const PointContext& point, std::byte* record) {
        ZContext& context = contexts.select(point.channel);
        std::int32_t& history = context.histories[point.level];
        history = context.z.decode(coder, history, point.height).value;
        context.last = history;
        storeLittleEndian(record + place, history);
    }

private:
    static constexpr std::size_t place = 8;
};

struct ClassificationContext {
    void create() noexcept { classes.create(); }
    void begin(unsigned value) noexcept { last = value; }

    SymbolModelTable<256, 64> classes;
    unsigned last;
};

class ClassificationLayer : public PointLayer<ClassificationContext> {
public:
    void start(const CodedString& string, const std::byte* first, unsigned channel) {
        begin(string, channel, std::to_integer<unsigned>(first[place]));
    }

    [[gnu::always_inline]] void decode(const PointContext& point, std::byte* record) {
        ClassificationContext& context = contexts.select(point.channel);
        const unsigned isSingle = point.extremes == 3 ? 1 : 0;
        context.last = coder.symbol(context.classes[(context.last & 31U) << 1 | isSingle]);
        record[place] = static_cast<std::byte>(context.last);
    }

private:
    static constexpr std::size_t place = 16;
};

struct FlagsContext {
    void create() noexcept { flags.create(); }
    void begin(unsigned value) noexcept { last = value; }

    SymbolModelTable<64, 64> flags;
    unsigned last;
};

/// The flags but for the scanner channel, which lies in the middle of their byte.
class FlagsLayer : public PointLayer<FlagsContext> {
public:
    void start(const CodedString& string, const std::byte* first, unsigned channel) {
        const auto flags = std::to_integer<unsigned>(first[place]);
        begin(string, channel, (flags & 0x0FU) | (flags & 0xC0U) >> 2);
    }

    [[gnu::always_inline]] void decode(const PointContext& point, std::byte* record) {
        FlagsContext& context = contexts.select(point.channel);
        context.last = coder.symbol(context.flags[context.last]);
        record[place] =
            static_cast<std::byte>((context.last & 0x0FU) | (context.last & 0x30U) << 2 | point.channel << 4);
    }

private:
    static constexpr std::size_t place = 15;
};

struct IntensityContext {
    void create() noexcept { intensity.create(); }
    void begin(std::uint16_t value) noexcept {
        last = value;
        histories.fill(value);
    }

    IntegerDecoder<16, 4> intensity;
    std::array<std::uint16_t, 8> histories;
    std::uint16_t last;
};

class IntensityLayer : public PointLayer<IntensityContext> {
public:
    void start(const CodedString& string, const std::byte* first, unsigned channel) {
        begin(string, channel, loadLittleEndian<std::uint16_t>(first + place));
    }

    [[gnu::always_inline]] void decode(const PointContext& point, std::byte* record) {
        IntensityContext& context = contexts.select(point.channel);
        std::uint16_t& history = context.histories[2 * point.extremes + (point.timeChanged ? 1 : 0)];
        history = static_cast<std::uint16_t>(context.intensity.decode(coder, history, point.extremes).value);
        context.last = history;
        storeLittleEndian(record + place, history);
    }

private:
    static constexpr std::size_t place = 12;
};

struct ScanAngleContext {
    void create() noexcept { angle.create(); }
    void begin(std::int16_t value) noexcept { last = value; }

    IntegerDecoder<16, 2> angle;
    std::int16_t last;
};

class ScanAngleLayer : public PointLayer<ScanAngleContext> {
public:
    void start(const CodedString& string, const std::byte* first, unsigned channel) {
        begin(string, channel, loadLittleEndian<std::int16_t>(first + place));
    }

    [[gnu::always_inline]] void decode(const PointContext& point, std::byte* record) {
        ScanAngleContext& context = contexts.select(point.channel);
        if (point.angleChanged) {
            const unsigned kind = point.timeChanged ? 1 : 0;
            context.last = static_cast<std::int16_t>(context.angle.decode(coder, context.last, kind).value);
        }
        storeLittleEndian(record + place, context.last);
    }

private:
    static constexpr std::size_t place = 18;
};

struct UserDataContext {
    void create() noexcept { values.create(); }
    void begin(unsigned value) noexcept { last = value; }

    SymbolModelTable<256, 64> values;
    unsigned last;
};

class UserDataLayer : public PointLayer<UserDataContext> {
public:
    void start(const CodedString& string, const std::byte* first, unsigned channel) {
        begin(string, channel, std::to_integer<unsigned>(first[place]));
    }

    [[gnu::always_inline]] void decode(const PointContext& point, std::byte* record) {
        UserDataContext& context = contexts.select(point.channel);
        context.last = coder.symbol(context.values[context.last >> 2]);
        record[place] = static_cast<std::byte>(context.last);
    }

private:
    static constexpr std::size_t place = 17;
};

struct PointSourceContext {
    void create() noexcept { source.create(); }
    void begin(std::uint16_t value) noexcept { last = value; }

    IntegerDecoder<16, 1> source;
    std::uint16_t last;
};

class PointSourceLayer : public PointLayer<PointSourceContext> {
public:
    void start(const CodedString& string, const std::byte* first, unsigned channel) {
        begin(string, channel, loadLittleEndian<std::uint16_t>(first + place));
    }

    [[gnu::always_inline]] void decode(const PointContext& point, std::byte* record) {
        PointSourceContext& context = contexts.select(point.channel);
        if (point.sourceChanged)
            context.last = static_cast<std::uint16_t>(context.source.decode(coder, context.last, 0).value);
        storeLittleEndian(record + place, context.last);
    }

private:
    static constexpr std::size_t place = 20;
};

struct GpsTimeContext {
    void create() noexcept { times.create(); }
    void begin(std::uint64_t value) noexcept {
        last = value;
        sequences.start(value);
    }

    GpsTimeDecoder<false> times;
    GpsTimeSequences sequences;
    std::uint64_t last;
};

class GpsTimeLayer : public PointLayer<GpsTimeContext> {
public:
    void start(const CodedString& string, const std::byte* first, unsigned channel) {
        begin(string, channel, loadLittleEndian<std::uint64_t>(first + place));
    }

    [[gnu::always_inline]] void decode(const PointContext& point, std::byte* record) {
        GpsTimeContext& context = contexts.select(point.channel);
        if (point.timeChanged)
            context.last = context.times.decode(coder, context.sequences);
        storeLittleEndian(record + place, context.last);
    }

private:
    static constexpr std::size_t place = 22;
};

} // namespace Tilewright::Io
