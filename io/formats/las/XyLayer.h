/// XyLayer: x, y, returns, scanner channel of formats 6 to 10, and which other attributes change.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include <io/formats/las/ChannelContexts.h>
#include <io/formats/las/CodedLayer.h>
#include <io/formats/las/IntegerDecoder.h>
#include <io/formats/las/RecordBytes.h>
#include <io/formats/las/ReturnMaps.h>
#include <io/formats/las/StreamingMedian.h>
#include <io/formats/las/SymbolModelTable.h>

namespace Tilewright::Io {

class XyLayer : public CodedLayer {
public:
    void start(const CodedString& string, const std::byte* first) {
        begin(string);
        channel = std::to_integer<unsigned>(first[flagsPlace]) >> 4 & 3U;
        const auto returns = std::to_integer<unsigned>(first[returnsPlace]);
        contexts.start(channel,
                       Values{loadLittleEndian<std::int32_t>(first),
                              loadLittleEndian<std::int32_t>(first + 4), returns & 15U, returns >> 4});
    }

    /// The scanner channel of the last point.
    unsigned currentChannel() const noexcept { return channel; }

    /// Decodes x, y, returns, and the channel among the flags, to `record`.
    [[gnu::always_inline]] PointContext decode(std::byte* record) {
        ArithmeticDecoder local = coder;
        const PointContext point = decodePoint(local, record);
        coder = local;
        return point;
    }

private:
    static constexpr std::size_t returnsPlace = 14, flagsPlace = 15;

    struct Values {
        std::int32_t x, y;
        unsigned number, returns; ///< of the return, and of all of its pulse
    };

    struct Context {
        void create() noexcept {
            for (auto& model : changes)
                model.create(128);
            channels.create(3);
            returnCounts.create();
            returnJumps.create(13);
            returnNumbers.create();
            dx.create();
            dy.create();
            mediansX = {};
            mediansY = {};
            timeChanged = false;
        }
        void begin(const Values& values) noexcept { last = values; }

        std::array<SymbolModel<128>, 8> changes;
        SymbolModel<3> channels;
        SymbolModelTable<16, 16> returnCounts;
        SymbolModel<13> returnJumps;
        SymbolModelTable<16, 16> returnNumbers;
        IntegerDecoder<32, 2> dx;
        IntegerDecoder<32, 22> dy;
        std::array<StreamingMedian, 12> mediansX, mediansY;
        Values last;
        bool timeChanged; ///< with the last point
    };

    enum Change : unsigned {
        Channel = 64,
        Source = 32,
        Time = 16,
        Angle = 8,
        ReturnCount = 4,
        ReturnNumber = 3
    };

    [[gnu::always_inline]] PointContext decodePoint(ArithmeticDecoder& stream, std::byte* record) {
        Context* context = &contexts.select(channel);
        const Values& before = context->last;
        const unsigned changes = stream.symbol(
            context->changes[(before.number == 1 ? 1U : 0U) + (before.number >= before.returns ? 2U : 0U) +
                             (context->timeChanged ? 4U : 0U)]);
        if ((changes & Channel) != 0) [[unlikely]] {
            channel = (channel + stream.symbol(context->channels) + 1) & 3U;
            context = &contexts.select(channel);
        }
        decodeReturns(stream, *context, changes);
        context->timeChanged = (changes & Time) != 0;
        PointContext point;
        point.channel = channel;
        point.channelChanged = (changes & Channel) != 0;
        point.sourceChanged = (changes & Source) != 0;
        point.timeChanged = context->timeChanged;
        point.angleChanged = (changes & Angle) != 0;
        decodePosition(stream, *context, point);
        const Values& last = context->last;
        storeLittleEndian(record, last.x);
        storeLittleEndian(record + 4, last.y);
        record[returnsPlace] = static_cast<std::byte>(last.returns << 4 | last.number);
        record[flagsPlace] = (record[flagsPlace] & std::byte{0xCF}) | static_cast<std::byte>(channel << 4);
        return point;
    }

    [[gnu::always_inline]] static void decodeReturns(ArithmeticDecoder& stream, Context& context,
                                                     unsigned changes) {
        Values& last = context.last;
        if ((changes & ReturnCount) != 0)
            last.returns = stream.symbol(context.returnCounts[last.returns]);
        const unsigned change = changes & ReturnNumber;
        if (change == 3)
            last.number = (changes & Time) != 0
                              ? stream.symbol(context.returnNumbers[last.number])
                              : (last.number + stream.symbol(context.returnJumps) + 2) & 15U;
        else
            last.number = (last.number + (change == 2 ? 15 : change)) & 15U;
    }

    [[gnu::always_inline]] static void decodePosition(ArithmeticDecoder& stream, Context& context,
                                                      PointContext& point) {
        Values& last = context.last;
        const unsigned returns = last.returns, number = last.number;
        point.extremes = (number == 1 ? 2U : 0U) + (number >= returns ? 1U : 0U);
        point.level = returnLevel(returns, number);
        const unsigned single = returns == 1 ? 1 : 0;
        const unsigned history = 2U * returnMap16[returns][number] + (point.timeChanged ? 1U : 0U);

        StreamingMedian& medianX = context.mediansX[history];
        const DecodedInteger dx = context.dx.decode(stream, medianX.median(), single);
        last.x = wrappingSum(last.x, dx.value);
        medianX.add(dx.value);

        StreamingMedian& medianY = context.mediansY[history];
        const unsigned contextY = single + std::min(dx.magnitude & ~1U, 20U);
        const DecodedInteger dy = context.dy.decode(stream, medianY.median(), contextY);
        last.y = wrappingSum(last.y, dy.value);
        medianY.add(dy.value);

        point.height = single + std::min((dx.magnitude + dy.magnitude) / 2 & ~1U, 18U);
    }

    ChannelContexts<Context> contexts;
    unsigned channel = 0;
};

} // namespace Tilewright::Io
