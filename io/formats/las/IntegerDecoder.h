/// IntegerDecoder: whole numbers as a prediction and a correction to it.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include <io/formats/las/ArithmeticDecoder.h>

namespace Tilewright::Io {

struct DecodedInteger {
    std::int32_t value;
    unsigned magnitude; ///< bits that the correction took, which other numbers depend on
};

/// Corrections of numbers of `width` bits, 8, 16 or 32.
template <unsigned width> class CorrectionDecoder {
public:
    void create() noexcept {
        zeroOrOne = {};
        created = 0;
    }

    /// A correction that takes `magnitude` bits, 0 to `width`. It wraps at 32 bits.
    [[gnu::always_inline]] std::uint32_t decode(ArithmeticDecoder& coder, unsigned magnitude) {
        if (magnitude == 0) [[unlikely]]
            return coder.bit(zeroOrOne);
        if constexpr (width == 32) {
            if (magnitude == 32) [[unlikely]]
                return 0x80000000U;
        }
        std::uint32_t result = coder.symbol(model(magnitude));
        if (magnitude > symbolBits) {
            const unsigned rest = magnitude - symbolBits;
            result = result << rest | coder.bits(rest);
        }
        // The upper half is positive; zero and one are left out, as they have a magnitude of their own.
        const std::uint32_t half = std::uint32_t{1} << (magnitude - 1);
        return result + (result >= half ? 1 : 1 - 2 * half);
    }

private:
    static constexpr unsigned symbolBits = 8;
    static constexpr unsigned greatest = width < 32 ? width : 31;

    [[gnu::always_inline]] SymbolModel<256>& model(unsigned magnitude) noexcept {
        if ((created >> magnitude & 1) == 0) [[unlikely]]
            create(magnitude);
        return models[magnitude - 1];
    }

    [[gnu::noinline]] void create(unsigned magnitude) noexcept {
        created |= std::uint32_t{1} << magnitude;
        models[magnitude - 1].create(1U << std::min(magnitude, symbolBits));
    }

    std::uint32_t created; ///< models, a bit for each magnitude
    BitModel zeroOrOne;
    std::array<SymbolModel<256>, greatest> models; ///< of the first bits, by magnitude from 1 on
};

/// Of numbers of `width` bits in `contexts` kinds of places, which share their corrections.
template <unsigned width, unsigned contexts> class IntegerDecoder {
public:
    void create() noexcept {
        for (auto& model : magnitudes)
            model.create(width + 1);
        corrections.create();
    }

    /// The value wraps at 32 bits; its lowest `width` count.
    [[gnu::always_inline]] DecodedInteger decode(ArithmeticDecoder& coder, std::int32_t prediction,
                                                 unsigned context) {
        const unsigned magnitude = coder.symbol(magnitudes[context]);
        const std::uint32_t correction = corrections.decode(coder, magnitude);
        return {static_cast<std::int32_t>(static_cast<std::uint32_t>(prediction) + correction), magnitude};
    }

private:
    std::array<SymbolModel<width + 1>, contexts> magnitudes;
    CorrectionDecoder<width> corrections;
};

} // namespace Tilewright::Io
