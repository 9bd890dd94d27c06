/// RecordBytes: numbers into a record, which holds them little-endian and unaligned.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

#include <io/system/Bytes.h>

namespace Tilewright::Io {

template <class T> void storeLittleEndian(std::byte* to, T value) noexcept {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(to, &value, sizeof(T));
    } else {
        std::array<std::byte, sizeof(T)> bytes;
        std::memcpy(bytes.data(), &value, sizeof(T));
        std::reverse_copy(bytes.begin(), bytes.end(), to);
    }
}

/// Sums wrap, and a sum of signed numbers must not overflow.
inline std::int32_t wrappingSum(std::int32_t a, std::int32_t b) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

inline std::int32_t wrappingProduct(std::int32_t a, std::int32_t b) noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

inline std::uint64_t wrappingSum(std::uint64_t a, std::int32_t b) noexcept {
    return a + static_cast<std::uint64_t>(std::int64_t{b});
}

} // namespace Tilewright::Io
