/// ChannelContexts and ItemContexts: the models and last values of a layer, once for each scanner channel.
///
/// A `Context` has `create()`, which makes its models new, `last`, the value of its last point, and
/// `begin(value)`, which begins with the value of another. It takes memory only once its channel occurs.
#pragma once

#include <array>
#include <memory>

#include <io/formats/las/PointContext.h>

namespace Tilewright::Io {

template <class Context> class ChannelContexts {
public:
    /// A new chunk, which begins with `first` in `channel`.
    template <class Value> void start(unsigned channel, const Value& first) {
        created = {};
        current = channel;
        create(channel).begin(first);
    }

    /// The context of `channel`. A new one begins with the values of the point before.
    [[gnu::always_inline]] Context& select(unsigned channel) {
        if (channel != current) [[unlikely]]
            change(channel);
        return *contexts[current];
    }

protected:
    bool isCreated(unsigned channel) const noexcept { return created[channel]; }

    [[gnu::noinline]] void change(unsigned channel) {
        if (!created[channel])
            create(channel).begin(contexts[current]->last);
        current = channel;
    }

    Context& create(unsigned channel) {
        if (contexts[channel] == nullptr)
            contexts[channel] = std::make_unique_for_overwrite<Context>();
        created[channel] = true;
        contexts[channel]->create();
        return *contexts[channel];
    }

    Context& context(unsigned channel) noexcept { return *contexts[channel]; }

    unsigned current = 0;

private:
    std::array<std::unique_ptr<Context>, 4> contexts;
    std::array<bool, 4> created = {};
};

/// Of the items after the point itself.
template <class Context> class ItemContexts : public ChannelContexts<Context> {
public:
    using Value = decltype(Context::last);

    struct Selection {
        Context& context;
        Value& last; ///< to predict from and to put the new value
    };

    explicit ItemContexts(bool followsChannel) : followsChannel(followsChannel) {}

    [[gnu::always_inline]] Selection select(const PointContext& point) {
        const unsigned channel = followsChannel || point.channelChanged ? point.channel : 0;
        if (channel != this->current) [[unlikely]]
            return change(channel);
        Context& context = this->context(channel);
        return {context, context.last};
    }

private:
    /// Version 3 takes a point whose channel is that of the point before for one of channel 0. And where it
    /// returns to a channel, it goes on with the value of the channel that it leaves. Files depend on both.
    [[gnu::noinline]] Selection change(unsigned channel) {
        Context& left = this->context(this->current);
        const bool isKnown = this->isCreated(channel);
        ChannelContexts<Context>::change(channel);
        Context& entered = this->context(channel);
        return {entered, isKnown && !followsChannel ? left.last : entered.last};
    }

    bool followsChannel; ///< as version 4 does
};

} // namespace Tilewright::Io
