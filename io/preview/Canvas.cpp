#include <io/preview/Canvas.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numbers>

#include <io/preview/StrokeFont.h>

namespace Tilewright::Io {

namespace {

using Point = std::array<double, 2>;
using Line = std::vector<Point>;

constexpr double capitals = 14; // height of the font's grid
constexpr double betweenGlyphs = 3.3;
constexpr double penWidth = 1.75;

/// Takes a number off the front of the text, if there is one.
bool takeNumber(std::string_view& text, double& number) {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc())
        return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

Line arc(const std::array<double, 6>& of) {
    const auto& [x, y, radiusX, radiusY, from, to] = of;
    constexpr double step = 12; // degrees
    const int steps = static_cast<int>(std::ceil((to - from) / step));
    Line line;
    for (int i = 0; i <= steps; ++i) {
        const double angle = (from + (to - from) * i / steps) * std::numbers::pi / 180;
        line.push_back({x + radiusX * std::cos(angle), y + radiusY * std::sin(angle)});
    }
    return line;
}

/// The lines of a glyph on the font's grid.
std::vector<Line> linesOf(std::string_view strokes) {
    std::vector<Line> lines;
    while (!strokes.empty()) {
        const char kind = strokes.front();
        strokes.remove_prefix(1);
        if (kind == 'A') {
            std::array<double, 6> numbers = {};
            for (double& number : numbers)
                takeNumber(strokes, number);
            lines.push_back(arc(numbers));
        } else if (kind == 'L') {
            Line line;
            Point point;
            while (takeNumber(strokes, point[0]) && takeNumber(strokes, point[1]))
                line.push_back(point);
            lines.push_back(std::move(line));
        }
    }
    return lines;
}

double distance(const Point& p, const Point& a, const Point& b) {
    const double dx = b[0] - a[0], dy = b[1] - a[1];
    const double length = dx * dx + dy * dy;
    const double along = length > 0 ? ((p[0] - a[0]) * dx + (p[1] - a[1]) * dy) / length : 0;
    const double t = std::clamp(along, 0.0, 1.0);
    return std::hypot(p[0] - a[0] - t * dx, p[1] - a[1] - t * dy);
}

unsigned char byteOf(double value) {
    return static_cast<unsigned char>(std::clamp(std::lround(value), 0L, 255L));
}

} // namespace

Canvas::Canvas(int width, int height)
    : columns(width), rows(height),
      pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4, 255) {}

void Canvas::set(int x, int y, const Colour& colour) {
    if (x < 0 || y < 0 || x >= columns || y >= rows)
        return;
    unsigned char* pixel = &pixels[(static_cast<std::size_t>(y) * static_cast<std::size_t>(columns) +
                                    static_cast<std::size_t>(x)) *
                                   4];
    pixel[0] = byteOf(colour.red);
    pixel[1] = byteOf(colour.green);
    pixel[2] = byteOf(colour.blue);
}

void Canvas::fill(int x, int y, int width, int height, const Colour& colour) {
    for (int row = y; row < y + height; ++row)
        for (int column = x; column < x + width; ++column)
            set(column, row, colour);
}

void Canvas::frame(int x, int y, int width, int height, const Colour& colour) {
    fill(x - 1, y - 1, width + 2, 1, colour);
    fill(x - 1, y + height, width + 2, 1, colour);
    fill(x - 1, y, 1, height, colour);
    fill(x + width, y, 1, height, colour);
}

void Canvas::stroke(const Line& line, double width, const Colour& colour) {
    if (line.empty())
        return;
    Point low = line.front(), high = line.front();
    for (const Point& point : line)
        for (std::size_t axis = 0; axis < 2; ++axis) {
            low[axis] = std::min(low[axis], point[axis]);
            high[axis] = std::max(high[axis], point[axis]);
        }
    const double reach = width / 2 + 1;
    for (int y = static_cast<int>(low[1] - reach); y <= static_cast<int>(high[1] + reach); ++y)
        for (int x = static_cast<int>(low[0] - reach); x <= static_cast<int>(high[0] + reach); ++x) {
            if (x < 0 || y < 0 || x >= columns || y >= rows)
                continue;
            const Point centre = {x + 0.5, y + 0.5};
            double nearest = distance(centre, line.front(), line.front());
            for (std::size_t i = 1; i < line.size(); ++i)
                nearest = std::min(nearest, distance(centre, line[i - 1], line[i]));
            const double cover = std::clamp(width / 2 + 0.5 - nearest, 0.0, 1.0);
            if (cover == 0)
                continue;
            const unsigned char* pixel =
                &pixels[(static_cast<std::size_t>(y) * static_cast<std::size_t>(columns) +
                         static_cast<std::size_t>(x)) *
                        4];
            const Colour below = {double(pixel[0]), double(pixel[1]), double(pixel[2])};
            set(x, y, mixed(below, colour, cover));
        }
}

void Canvas::write(double x, double y, double size, std::string_view text, const Colour& colour) {
    const double scale = size / capitals;
    x += penWidth * scale / 2; // lines have their middle on the grid
    while (!text.empty()) {
        const Glyph glyph = nextGlyph(text);
        for (Line& line : linesOf(glyph.strokes)) {
            for (Point& point : line)
                point = {x + point[0] * scale, y - point[1] * scale};
            stroke(line, penWidth * scale, colour);
        }
        x += (glyph.width + betweenGlyphs) * scale;
    }
}

double Canvas::textWidth(double size, std::string_view text) {
    double width = 0;
    while (!text.empty())
        width += nextGlyph(text).width + betweenGlyphs;
    return width * size / capitals;
}

} // namespace Tilewright::Io
