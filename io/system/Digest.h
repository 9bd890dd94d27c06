/// Digest: a number that shows whether bytes are still what they were.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include <io/system/Bytes.h>

namespace Tilewright::Io {

/// Any single changed byte changes it. It shows damage, and is no proof against intent.
///
/// The bytes are taken as little-endian words of 64 bits, the last one filled up with zeros, and their number
/// as one more. Each word is taken as FNV-1a takes a byte; then the upper half of the state is folded into
/// the lower one, which multiplications alone never reach.
class Digest {
public:
    /// It makes no difference how the bytes are cut into calls.
    void add(std::span<const std::byte> bytes) {
        const std::size_t open = static_cast<std::size_t>(Count % Begun.size());
        Count += bytes.size();
        if (open != 0) {
            const std::size_t n = std::min(Begun.size() - open, bytes.size());
            std::ranges::copy(bytes.first(n), Begun.begin() + static_cast<std::ptrdiff_t>(open));
            bytes = bytes.subspan(n);
            if (open + n < Begun.size())
                return;
            State = after(State, loadLittleEndian<std::uint64_t>(Begun.data()));
        }
        for (; bytes.size() >= Begun.size(); bytes = bytes.subspan(Begun.size()))
            State = after(State, loadLittleEndian<std::uint64_t>(bytes.data()));
        Begun.fill({});
        std::ranges::copy(bytes, Begun.begin());
    }

    std::uint64_t value() const {
        return after(after(State, loadLittleEndian<std::uint64_t>(Begun.data())), Count);
    }

private:
    static std::uint64_t after(std::uint64_t state, std::uint64_t word) {
        const std::uint64_t next = (state ^ word) * 0x100000001B3;
        return next ^ next >> 32;
    }

    std::uint64_t State = 0xCBF29CE484222325;
    std::uint64_t Count = 0;
    /// The word that is not complete yet.
    std::array<std::byte, 8> Begun = {};
};

} // namespace Tilewright::Io
