/// StrokeFont: letters as lines for a pen, so that they can be drawn at any size. Private to Canvas.
#pragma once

#include <string_view>

namespace Tilewright::Io {

/// On a grid where the base line is at 0, capitals reach up to 14 and x up to 10.
struct Glyph {
    double width;
    /// "L x y x y ..." is a line through points, "A cx cy rx ry a b" an arc of an ellipse from angle a to b
    /// in degrees, counter-clockwise from the right.
    std::string_view strokes;
};

/// Takes the next character of a text in UTF-8 off its front. One without a glyph gives a box.
Glyph nextGlyph(std::string_view& text);

} // namespace Tilewright::Io
