#include <io/preview/Preview.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <set>
#include <vector>

#include <io/gdal/CoordinateSystem.h>
#include <io/outputs/HiddenFolder.h>
#include <io/preview/Canvas.h>
#include <io/preview/ColourRamp.h>
#include <io/preview/PictureFile.h>
#include <io/preview/PointClasses.h>
#include <io/preview/ReducedRaster.h>
#include <io/preview/ReliefShading.h>
#include <io/preview/ValueRange.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

constexpr int longestMap = 1600;
constexpr int shortestMap = 600;

constexpr Colour ink = {52, 52, 56};
constexpr Colour paper = {255, 255, 255};
constexpr Colour line = {176, 176, 180};
constexpr Colour noData = {234, 234, 236};

std::string shortUnit(const std::string& unit) {
    if (unit == "metre" || unit == "meter")
        return "m";
    return unit == "foot" || unit == "US survey foot" ? "ft" : unit;
}

/// A unit of length, and its length in units of the coordinates.
struct LengthUnit {
    std::string name;
    double length;
};

/// The largest unit in which `length`, in units of the coordinates, is at least one.
LengthUnit unitFor(const ReducedRaster& raster, double length) {
    std::vector<LengthUnit> units;
    const std::string unit = linearUnitOf(raster.wkt);
    if (unit == "metre") {
        units = {{"km", 1000}, {"m", 1}};
    } else if (shortUnit(unit) == "ft") {
        units = {{"mi", 5280}, {"ft", 1}};
    } else if (unit.empty() && !raster.wkt.empty()) {
        // Degrees of longitude on a sphere, at the middle of the raster.
        const double metre = 1 / (111195 * std::cos(raster.middleNorth * std::numbers::pi / 180));
        units = {{"km", 1000 * metre}, {"m", metre}};
    } else {
        units = {{unit, 1}};
    }
    const auto found =
        std::find_if(units.begin(), units.end(), [&](const LengthUnit& one) { return length >= one.length; });
    return found == units.end() ? units.back() : *found;
}

/// Breaks text into lines of at most this width, after spaces and punctuation.
std::vector<std::string> wrapped(const std::string& text, double size, double width) {
    std::vector<std::string> lines(1);
    std::string word;
    const auto endWord = [&] {
        if (!lines.back().empty() && Canvas::textWidth(size, lines.back() + word) > width)
            lines.emplace_back();
        lines.back() += word;
        word.clear();
    };
    for (const char c : text) {
        word += c;
        if (c == ' ' || c == ':' || c == '_' || c == '-')
            endWord();
    }
    endWord();
    return lines;
}

/// As multiples of the height of capitals.
constexpr double lineHeight = 1.75;
constexpr double entryHeight = 1.9;

class PreviewPainter {
public:
    PreviewPainter(const ReducedRaster& raster, const PreviewOptions& options);

    Canvas paint() const;

private:
    int scaled(double length) const { return static_cast<int>(std::lround(length * unit)); }
    int mapWidth() const { return raster.width * magnification; }
    int mapHeight() const { return raster.height * magnification; }
    int barHeight() const;
    int legendLeft() const { return margin + mapWidth() + scaled(22); }
    double legendWidth() const;

    std::vector<Colour> colours() const;
    std::vector<Colour> ramped() const;
    std::vector<Colour> classified() const;
    void paintMap(Canvas& canvas) const;
    void paintLegend(Canvas& canvas) const;
    int paintRamp(Canvas& canvas, int top) const;
    double paintEntry(Canvas& canvas, double y, const Colour& colour, const std::string& label) const;
    void paintScaleBar(Canvas& canvas) const;

    const ReducedRaster& raster;
    const ColourRamp& ramp;
    bool relief;
    std::optional<ValueRange> range;
    std::vector<Tick> ticks;
    std::optional<std::set<int>> classes; ///< the classes in the raster, if the band has classes
    std::vector<std::string> title;
    bool hasGaps;

    int magnification; ///< pixels of the picture per pixel of the raster, along each axis
    double unit;       ///< lengths on the margin grow with the picture
    double text;       ///< height of capitals
    int margin;
};

PreviewPainter::PreviewPainter(const ReducedRaster& raster, const PreviewOptions& options)
    : raster(raster), ramp(options.relief ? landscapeRamp : evenRamp), relief(options.relief) {
    const int longest = std::max(raster.width, raster.height);
    magnification = (shortestMap - 1) / longest + 1;
    unit = std::max(1.0, longest * magnification / 850.0);
    text = std::round(9.5 * unit);
    margin = scaled(26);
    hasGaps =
        std::any_of(raster.planes[0].begin(), raster.planes[0].end(), [](float v) { return std::isnan(v); });
    if (raster.isColoured)
        return;
    if (options.classes) {
        classes.emplace();
        for (const float number : numbersOf(raster.planes[0]))
            classes->insert(static_cast<int>(number));
    } else {
        range = rangeOf(raster.planes[0], raster.isWhole);
        if (range)
            ticks = ticksOf(*range, raster.isWhole);
    }
    const std::string name =
        raster.unit.empty() ? raster.name : raster.name + " (" + shortUnit(raster.unit) + ")";
    title = wrapped(options.title.empty() ? name : options.title, text, scaled(150));
}

std::vector<Colour> PreviewPainter::ramped() const {
    const std::vector<float>& plane = raster.planes[0];
    std::vector<Colour> colours(plane.size(), noData);
    if (!range)
        return colours;
    for (std::size_t i = 0; i < plane.size(); ++i)
        if (!std::isnan(plane[i]))
            colours[i] = colourAt(ramp, range->shareOf(plane[i]));
    if (relief)
        shadeRelief(colours, raster, plane);
    return colours;
}

std::vector<Colour> PreviewPainter::classified() const {
    std::vector<Colour> colours;
    for (const float number : raster.planes[0])
        colours.push_back(std::isnan(number) ? noData : colourOfClass(static_cast<int>(number)));
    return colours;
}

std::vector<Colour> PreviewPainter::colours() const {
    if (classes)
        return classified();
    if (!raster.isColoured)
        return ramped();
    std::vector<Colour> colours(raster.planes[0].size(), noData);
    for (std::size_t i = 0; i < colours.size(); ++i)
        if (!std::isnan(raster.planes[0][i]))
            colours[i] = {raster.planes[0][i], raster.planes[1][i], raster.planes[2][i]};
    return colours;
}

void PreviewPainter::paintMap(Canvas& canvas) const {
    const std::vector<Colour> map = colours();
    for (int y = 0; y < raster.height; ++y)
        for (int x = 0; x < raster.width; ++x)
            canvas.fill(margin + x * magnification, margin + y * magnification, magnification, magnification,
                        map[static_cast<std::size_t>(y) * static_cast<std::size_t>(raster.width) +
                            static_cast<std::size_t>(x)]);
    canvas.frame(margin, margin, mapWidth(), mapHeight(), line);
}

int PreviewPainter::barHeight() const { return std::clamp(mapHeight() / 2, scaled(110), scaled(260)); }

double PreviewPainter::legendWidth() const {
    double width = hasGaps ? scaled(24) + Canvas::textWidth(text, "no data") : 0;
    for (const std::string& one : title)
        width = std::max(width, Canvas::textWidth(text, one));
    for (const Tick& tick : ticks)
        width = std::max(width, scaled(28) + Canvas::textWidth(text, tick.text));
    if (classes)
        for (const int number : *classes)
            width = std::max(width, scaled(28) + Canvas::textWidth(text, nameOfClass(number)));
    return width;
}

/// Returns the row below the ramp.
int PreviewPainter::paintRamp(Canvas& canvas, int top) const {
    const int left = legendLeft(), height = barHeight(), width = scaled(18);
    for (int row = 0; row < height; ++row)
        canvas.fill(left, top + row, width, 1, colourAt(ramp, 1 - (row + 0.5) / height));
    canvas.frame(left, top, width, height, line);
    for (const Tick& tick : ticks) {
        const double at = top + height * (1 - range->shareOf(tick.value));
        canvas.fill(left + width + 1, static_cast<int>(at - unit / 2), scaled(4), scaled(1), line);
        canvas.write(left + scaled(28), at + text / 2, text, tick.text, ink);
    }
    return top + height;
}

/// Paints a colour and its meaning. Returns the base line of the next entry.
double PreviewPainter::paintEntry(Canvas& canvas, double y, const Colour& colour,
                                  const std::string& label) const {
    const int side = static_cast<int>(text) + 2;
    canvas.fill(legendLeft(), static_cast<int>(y) - side + 1, scaled(18), side, colour);
    canvas.frame(legendLeft(), static_cast<int>(y) - side + 1, scaled(18), side, line);
    canvas.write(legendLeft() + scaled(28), y, text, label, ink);
    return y + entryHeight * text;
}

void PreviewPainter::paintLegend(Canvas& canvas) const {
    double y = margin + text;
    for (const std::string& one : title) {
        canvas.write(legendLeft(), y, text, one, ink);
        y += lineHeight * text;
    }
    if (range)
        y = paintRamp(canvas, static_cast<int>(y)) + 1.6 * text;
    y += text;
    if (classes)
        for (const int number : *classes)
            y = paintEntry(canvas, y, colourOfClass(number), nameOfClass(number));
    if (hasGaps)
        paintEntry(canvas, y, noData, "no data");
}

void PreviewPainter::paintScaleBar(Canvas& canvas) const {
    const double perPixel = raster.pixelWidth / magnification;
    const double about =
        std::max(mapWidth() * 0.3, std::min(mapWidth() * 0.9, double(scaled(120)))) * perPixel;
    const LengthUnit in = unitFor(raster, about);
    const double length = roundLength(about / in.length);
    const double pixels = length * in.length / perPixel;
    const int top = margin + mapHeight() + scaled(14), height = scaled(5);
    for (int half = 0; half < 2; ++half) {
        const int from = margin + static_cast<int>(std::lround(pixels * half / 2));
        const int to = margin + static_cast<int>(std::lround(pixels * (half + 1) / 2));
        canvas.fill(from, top, to - from, height, half == 0 ? ink : paper);
    }
    canvas.frame(margin, top, static_cast<int>(std::lround(pixels)), height, ink);
    const double base = top + height + 1.8 * text;
    const std::string end = shortNumber(length), middle = shortNumber(length / 2);
    if (pixels < 1.5 * Canvas::textWidth(text, "0" + middle + end)) {
        canvas.write(margin, base, text, end + " " + in.name, ink);
        return;
    }
    const auto centred = [&](double at, const std::string& label) {
        canvas.write(margin + at - Canvas::textWidth(text, label) / 2, base, text, label, ink);
    };
    canvas.write(margin, base, text, "0", ink);
    centred(pixels / 2, middle);
    centred(pixels, end);
    canvas.write(margin + pixels + Canvas::textWidth(text, end) / 2 + text / 3, base, text, in.name, ink);
}

Canvas PreviewPainter::paint() const {
    const bool hasLegend = !raster.isColoured;
    const int legend = hasLegend ? scaled(22) + static_cast<int>(legendWidth()) : 0;
    const int belowMap = scaled(14) + scaled(5) + static_cast<int>(1.8 * text);
    const double entries = classes ? entryHeight * static_cast<double>(classes->size()) : 0;
    const int legendHeight = static_cast<int>(text * (lineHeight * double(title.size()) + 4 + entries)) +
                             (range ? barHeight() : 0);
    const int height = std::max(mapHeight() + belowMap, hasLegend ? legendHeight : 0);
    Canvas canvas(mapWidth() + legend + 2 * margin, height + 2 * margin);
    paintMap(canvas);
    if (hasLegend)
        paintLegend(canvas);
    paintScaleBar(canvas);
    return canvas;
}

} // namespace

bool isPreviewName(const std::filesystem::path& picture) { return isPictureName(picture); }

PendingPreview::PendingPreview(const std::filesystem::path& raster, const PreviewOptions& options,
                               const std::filesystem::path& picture, const OutputGuard& guard) {
    if (!isPreviewName(picture))
        throw UsageError("the preview '" + picture.string() + "' must end in .png, .jpg or .jpeg");
    ReducedRaster reduced = readReduced(raster, options.band, longestMap,
                                        options.classes ? Reduction::MostFrequent : Reduction::Average);
    if (!options.classes)
        for (std::vector<float>& plane : reduced.planes)
            closeSpecks(plane, reduced.width, reduced.height);
    hidden = std::make_unique<HiddenFolder>(picture, guard);
    savePicture(PreviewPainter(reduced, options).paint(), hidden->file(), picture);
}

PendingPreview::PendingPreview(PendingPreview&&) noexcept = default;
PendingPreview& PendingPreview::operator=(PendingPreview&&) noexcept = default;
PendingPreview::~PendingPreview() = default;

void PendingPreview::publish() { hidden->publish(); }

void makePreview(const std::filesystem::path& raster, const PreviewOptions& options,
                 const std::filesystem::path& picture) {
    PendingPreview(raster, options, picture, OutputGuard()).publish();
}

} // namespace Tilewright::Io
