/// CodedLayer: what all layers of a chunk have: a coded string of their own, if they are decoded at all.
#pragma once

#include <io/formats/las/CodedWindow.h>

namespace Tilewright::Io {

class CodedLayer {
public:
    /// From now on nothing is decoded, until the next start().
    void skip() noexcept { active = false; }
    bool isActive() const noexcept { return active; }

    /// To be called before so many points as the reserve of the string is for.
    void refill() {
        if (active)
            window.refill(coder);
    }

    /// Whether nothing is left to decode.
    bool isAtEnd() const noexcept { return !active || window.isAtEnd(coder); }

protected:
    void begin(const CodedString& string) {
        coder = window.start(string);
        active = true;
    }

    ArithmeticDecoder coder;

private:
    CodedWindow window;
    bool active = false;
};

} // namespace Tilewright::Io
