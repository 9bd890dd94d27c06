/// ItemLayers: the layers of what follows a point of formats 6 to 10 in its record: colour, near infrared,
/// wave packet and extra bytes.
///
/// `place` is where in the record the item lies.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <io/formats/las/ChannelContexts.h>
#include <io/formats/las/CodedLayer.h>
#include <io/formats/las/ColourDecoder.h>
#include <io/formats/las/WavePacketDecoder.h>

namespace Tilewright::Io {

/// What those with one layer have. A `Context` also has `load(bytes)`, a value out of a record.
template <class Context> class ItemLayer : public CodedLayer {
public:
    ItemLayer(std::size_t place, bool followsChannel) : place(place), contexts(followsChannel) {}

    void start(const CodedString& string, const std::byte* first, unsigned channel) {
        begin(string);
        contexts.start(channel, Context::load(first + place));
    }

    [[gnu::always_inline]] void decode(const PointContext& point, std::byte* record) {
        const auto [context, last] = contexts.select(point);
        ArithmeticDecoder local = coder;
        last = context.decode(local, last);
        coder = local;
        Context::store(record + place, last);
    }

private:
    std::size_t place;
    ItemContexts<Context> contexts;
};

struct ColourContext {
    void create() noexcept { colours.create(); }
    void begin(const ColourBytes& value) noexcept { last = value; }

    [[gnu::always_inline]] ColourBytes decode(ArithmeticDecoder& coder, const ColourBytes& from) {
        return colours.decode(coder, from);
    }

    static ColourBytes load(const std::byte* from) noexcept {
        ColourBytes value;
        std::memcpy(value.data(), from, value.size());
        return value;
    }
    static void store(std::byte* to, const ColourBytes& value) noexcept {
        std::memcpy(to, value.data(), value.size());
    }

    ColourDecoder colours;
    ColourBytes last;
};

using ColourLayer = ItemLayer<ColourContext>;

struct InfraredContext {
    using Bytes = std::array<std::uint8_t, 2>;

    void create() noexcept {
        changes.create(4);
        for (auto& model : differences)
            model.create(256);
    }
    void begin(const Bytes& value) noexcept { last = value; }

    [[gnu::always_inline]] Bytes decode(ArithmeticDecoder& coder, Bytes value) {
        const unsigned changed = coder.symbol(changes);
        for (const unsigned i : {0U, 1U}) {
            if ((changed >> i & 1) != 0)
                value[i] = static_cast<std::uint8_t>(value[i] + coder.symbol(differences[i]));
        }
        return value;
    }

    static Bytes load(const std::byte* from) noexcept {
        return {std::to_integer<std::uint8_t>(from[0]), std::to_integer<std::uint8_t>(from[1])};
    }
    static void store(std::byte* to, const Bytes& value) noexcept {
        std::memcpy(to, value.data(), value.size());
    }

    SymbolModel<4> changes;
    std::array<SymbolModel<256>, 2> differences;
    Bytes last;
};

using InfraredLayer = ItemLayer<InfraredContext>;

struct WavePacketContext {
    void create() noexcept { packets.create(); }
    void begin(const WavePacket& value) noexcept { last = value; }

    WavePacket decode(ArithmeticDecoder& coder, const WavePacket& from) {
        return packets.decode(coder, from);
    }

    static WavePacket load(const std::byte* from) noexcept { return WavePacket::load(from); }
    static void store(std::byte* to, const WavePacket& value) noexcept { value.store(to); }

    WavePacketDecoder packets;
    WavePacket last;
};

using WavePacketLayer = ItemLayer<WavePacketContext>;

/// A layer for each extra byte. Those that are neither wanted nor coded take no memory.
class ExtraByteLayers {
public:
    explicit ExtraByteLayers(bool followsChannel) : contexts(followsChannel) {}

    void clear() noexcept { layers.clear(); }
    bool empty() const noexcept { return layers.empty(); }

    /// Of the byte at `place` of a record.
    void add(const CodedString& string, std::size_t place) {
        ByteLayer& layer = layers.emplace_back();
        layer.coder = layer.window.start(string);
        layer.place = place;
    }

    void refill() {
        for (ByteLayer& layer : layers)
            layer.window.refill(layer.coder);
    }

    /// Begins with the layers that were added.
    void start(const std::byte* first, unsigned channel) {
        std::vector<std::uint8_t> values(layers.size());
        for (std::size_t i = 0; i < layers.size(); ++i)
            values[i] = std::to_integer<std::uint8_t>(first[layers[i].place]);
        contexts.start(channel, values);
    }

    void decode(const PointContext& point, std::byte* record) {
        const auto [context, last] = contexts.select(point);
        for (std::size_t i = 0; i < layers.size(); ++i) {
            ArithmeticDecoder local = layers[i].coder;
            last[i] = static_cast<std::uint8_t>(last[i] + local.symbol(context.models[i]));
            layers[i].coder = local;
            record[layers[i].place] = std::byte{last[i]};
        }
    }

    bool isAtEnd() const {
        return std::all_of(layers.begin(), layers.end(),
                           [](const ByteLayer& layer) { return layer.window.isAtEnd(layer.coder); });
    }

private:
    struct ByteLayer {
        CodedWindow window;
        ArithmeticDecoder coder;
        std::size_t place = 0;
    };

    struct Context {
        void create() noexcept {}
        void begin(const std::vector<std::uint8_t>& values) {
            last = values;
            models.resize(values.size());
            for (auto& model : models)
                model.create(256);
        }

        std::vector<SymbolModel<256>> models;
        std::vector<std::uint8_t> last;
    };

    std::vector<ByteLayer> layers;
    ItemContexts<Context> contexts;
};

} // namespace Tilewright::Io
