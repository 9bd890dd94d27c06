/// Digest: a number for a sequence of values that is the same on every machine, whatever its byte order.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace Tilewright::Test {

/// FNV-1a over the bytes of the values, the lowest first.
class Digest {
public:
    template <class T> void add(const T& value) {
        if constexpr (std::is_same_v<T, float>) {
            add(value == value ? std::bit_cast<std::uint32_t>(value) : 0x7FC00000U);
        } else if constexpr (std::is_same_v<T, double>) {
            // Machines differ in the sign of the NaN that an operation makes; C++ leaves it open.
            add(value == value ? std::bit_cast<std::uint64_t>(value) : 0x7FF8000000000000U);
        } else if constexpr (std::is_integral_v<T>) {
            const auto bits = static_cast<std::uint64_t>(static_cast<std::make_unsigned_t<T>>(value));
            for (unsigned byte = 0; byte < sizeof(T); ++byte)
                addByte(static_cast<unsigned char>(bits >> 8 * byte));
        } else {
            for (std::size_t c = 0; c < static_cast<std::size_t>(T::element_count); ++c)
                add(value[c]);
        }
    }

    template <class Values> void addAll(const Values& values) {
        for (const auto& value : values)
            add(value);
    }

    void addText(std::string_view text) {
        add(std::uint64_t{text.size()});
        for (const char c : text)
            addByte(static_cast<unsigned char>(c));
    }

    std::string text() const {
        std::string digits(16, '0');
        for (std::size_t i = 0; i < digits.size(); ++i)
            digits[i] = "0123456789abcdef"[hash >> (60 - 4 * i) & 15U];
        return digits;
    }

private:
    void addByte(unsigned char byte) { hash = (hash ^ byte) * 0x100000001b3U; }

    std::uint64_t hash = 0xcbf29ce484222325U;
};

} // namespace Tilewright::Test
