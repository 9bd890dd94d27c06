/// Digest: a number that shows whether bytes are still what they were.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Tilewright::Io {

/// FNV-1a with 64 bits: any single changed byte changes it. It shows damage, and is no proof against intent.
class Digest {
public:
    void add(std::span<const std::byte> bytes) {
        for (const std::byte byte : bytes)
            State = (State ^ static_cast<std::uint64_t>(byte)) * 0x100000001B3;
    }

    std::uint64_t value() const { return State; }

private:
    std::uint64_t State = 0xCBF29CE484222325;
};

} // namespace Tilewright::Io
