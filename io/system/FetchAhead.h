/// FetchAhead: has the processor fetch what is read next while it works on what it has.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

namespace Tilewright::Io {

/// Bytes that will be read soon. They are fetched a few at a time, because a core has only a dozen requests
/// to memory under way: more at once would wait for each other, and the work for them.
class FetchAhead {
public:
    explicit FetchAhead(std::span<const std::byte> bytes) : Bytes(bytes) {}

    /// Fetches the next ones, into the second cache: the innermost holds what is worked on.
    void fetch(std::size_t bytes) {
        const std::size_t now = std::min(bytes, Bytes.size());
        for (std::size_t at = 0; at < now; at += line)
            __builtin_prefetch(Bytes.data() + at, 0, 2);
        Bytes = Bytes.subspan(now);
    }

    /// How much to fetch at a time to be done after so many times.
    std::size_t share(std::size_t times) const {
        return (Bytes.size() / std::max<std::size_t>(times, 1) + line - 1) / line * line;
    }

private:
    static constexpr std::size_t line = 64;

    std::span<const std::byte> Bytes;
};

} // namespace Tilewright::Io
