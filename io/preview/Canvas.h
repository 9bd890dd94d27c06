/// Canvas: a picture in memory, with drawing functions for a map and its margin. Private to Preview.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

namespace Tilewright::Io {

struct Colour {
    double red = 0, green = 0, blue = 0; ///< 0 to 255
};

/// From a at 0 to b at 1.
inline Colour mixed(const Colour& a, const Colour& b, double share) {
    return {a.red + (b.red - a.red) * share, a.green + (b.green - a.green) * share,
            a.blue + (b.blue - a.blue) * share};
}

/// Positions are in pixels from the upper left corner; anything outside is clipped.
class Canvas {
public:
    Canvas(int width, int height);

    int width() const { return columns; }
    int height() const { return rows; }

    void set(int x, int y, const Colour& colour);
    void fill(int x, int y, int width, int height, const Colour& colour);
    /// Draws a line of one pixel around the outside of the rectangle.
    void frame(int x, int y, int width, int height, const Colour& colour);
    /// Draws text with the left end of its base line at (x, y) and capitals `size` pixels high.
    void write(double x, double y, double size, std::string_view text, const Colour& colour);
    static double textWidth(double size, std::string_view text);

    /// Red, green, blue and opacity of each pixel.
    const std::vector<unsigned char>& bytes() const { return pixels; }

private:
    void stroke(const std::vector<std::array<double, 2>>& line, double width, const Colour& colour);

    int columns;
    int rows;
    std::vector<unsigned char> pixels;
};

} // namespace Tilewright::Io
