/// CodedLayer: what all layers of a chunk have: coded bytes of their own, if they are decoded at all.
#pragma once

#include <cstddef>
#include <span>

#include <io/formats/las/ArithmeticDecoder.h>

namespace Tilewright::Io {

class CodedLayer {
public:
    /// From now on nothing is decoded, until the next start().
    void skip() noexcept { active = false; }
    bool isActive() const noexcept { return active; }

    /// Whether nothing is left to decode.
    bool isAtEnd() const noexcept { return !active || coder.isAtEnd(); }

protected:
    void begin(std::span<const std::byte> bytes) {
        coder = ArithmeticDecoder(bytes);
        active = true;
    }

    ArithmeticDecoder coder;

private:
    bool active = false;
};

} // namespace Tilewright::Io
