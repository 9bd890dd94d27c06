/// ColourDecoder: colours, byte by byte, green and blue as they follow from red.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include <io/formats/las/ArithmeticDecoder.h>

namespace Tilewright::Io {

/// Red, green, blue, each as low and high byte, as they lie in a record.
using ColourBytes = std::array<std::uint8_t, 6>;

class ColourDecoder {
public:
    void create() noexcept {
        changes.create(128);
        for (auto& model : differences)
            model.create(256);
    }

    /// The colour after `last`.
    [[gnu::always_inline]] ColourBytes decode(ArithmeticDecoder& coder, const ColourBytes& last) {
        const unsigned changed = coder.symbol(changes);
        ColourBytes colour = last;
        for (const unsigned i : {redLow, redHigh}) {
            if ((changed >> i & 1) != 0)
                colour[i] = sum(coder.symbol(differences[i]), last[i]);
        }
        if ((changed & isColoured) == 0) {
            colour = {colour[0], colour[1], colour[0], colour[1], colour[0], colour[1]};
            return colour;
        }
        for (const unsigned half : {redLow, redHigh}) {
            const unsigned red = half, green = half + 2, blue = half + 4;
            int expected = colour[red] - last[red];
            if ((changed >> green & 1) != 0)
                colour[green] = sum(coder.symbol(differences[green]), clamp(expected + last[green]));
            expected = (expected + colour[green] - last[green]) / 2;
            if ((changed >> blue & 1) != 0)
                colour[blue] = sum(coder.symbol(differences[blue]), clamp(expected + last[blue]));
        }
        return colour;
    }

private:
    static constexpr unsigned redLow = 0, redHigh = 1;
    static constexpr unsigned isColoured = 64;

    static std::uint8_t sum(unsigned difference, unsigned expected) {
        return static_cast<std::uint8_t>(difference + expected);
    }
    static unsigned clamp(int value) { return static_cast<unsigned>(std::clamp(value, 0, 255)); }

    SymbolModel<128> changes;
    std::array<SymbolModel<256>, 6> differences;
};

} // namespace Tilewright::Io
