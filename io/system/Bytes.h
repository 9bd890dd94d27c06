/// Numbers in files, which hold them little-endian and unaligned.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

namespace Tilewright::Io {

template <class T> T loadLittleEndian(const std::byte* from) noexcept {
    T value;
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(&value, from, sizeof(T));
    } else {
        std::array<std::byte, sizeof(T)> bytes;
        std::reverse_copy(from, from + sizeof(T), bytes.begin());
        std::memcpy(&value, bytes.data(), sizeof(T));
    }
    return value;
}

/// Copies a number of `size` bytes from the machine's byte order to that of files.
template <std::size_t size> void copyAsLittleEndian(const std::byte* from, std::byte* to) noexcept {
    if constexpr (std::endian::native == std::endian::little)
        std::memcpy(to, from, size);
    else
        std::reverse_copy(from, from + size, to);
}

/// A text of fixed length, which ends at its first zero byte, if it has one.
inline std::string loadText(std::span<const std::byte> from) {
    const auto end = std::find(from.begin(), from.end(), std::byte{0});
    return {reinterpret_cast<const char*>(from.data()), static_cast<std::size_t>(end - from.begin())};
}

/// A stretch of a file, in bytes. The default means a record that the file does not have.
struct ByteRange {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

} // namespace Tilewright::Io
