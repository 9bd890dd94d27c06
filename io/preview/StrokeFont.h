/// StrokeFont: letters as pen strokes, which can be drawn at any size. Private to Canvas.
#pragma once

#include <string_view>

namespace Tilewright::Io {

/// On a grid with the base line at 0, capitals reach up to 14 and the letter x up to 10.
struct Glyph {
    double width;
    /// "L x y x y ..." is a line through points, "A cx cy rx ry a b" an arc of an ellipse from angle a to
    /// angle b in degrees, counter-clockwise from the right.
    std::string_view strokes;
};

/// Takes the next character off the front of a UTF-8 text. Characters without a glyph give a box.
Glyph nextGlyph(std::string_view& text);

} // namespace Tilewright::Io
