#include <io/preview/Preview.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include <io/gdal/CoordinateSystem.h>
#include <io/outputs/HiddenFolder.h>
#include <io/preview/Canvas.h>
#include <io/preview/PictureFile.h>
#include <io/preview/PointClasses.h>
#include <io/preview/ReducedRaster.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

constexpr int longestMap = 1600;
constexpr int shortestMap = 600;

constexpr Colour ink = {52, 52, 56};
constexpr Colour paper = {255, 255, 255};
constexpr Colour line = {176, 176, 180};
constexpr Colour noData = {234, 234, 236};
constexpr Colour shadow = {30, 34, 68}; // bluish, as shadows are outdoors
constexpr Colour light = {255, 251, 238};

struct Stop {
    double at;
    Colour colour;
};

using Ramp = std::vector<Stop>;

/// Valleys to peaks.
const Ramp landscape = {{0.00, {64, 108, 104}},  {0.10, {104, 145, 104}}, {0.28, {163, 181, 117}},
                        {0.45, {216, 206, 148}}, {0.62, {205, 169, 116}}, {0.80, {166, 122, 92}},
                        {0.92, {190, 165, 150}}, {1.00, {243, 239, 234}}};

/// Lightness grows evenly, so that equal steps look equal.
const Ramp evenSteps = {{0.000, {68, 1, 84}},    {0.125, {71, 44, 122}},  {0.250, {59, 81, 139}},
                        {0.375, {44, 113, 142}}, {0.500, {33, 144, 141}}, {0.625, {39, 173, 129}},
                        {0.750, {92, 200, 99}},  {0.875, {170, 220, 50}}, {1.000, {253, 231, 37}}};

Colour colourAt(const Ramp& ramp, double at) {
    const auto above =
        std::find_if(ramp.begin(), ramp.end(), [&](const Stop& stop) { return stop.at >= at; });
    if (above == ramp.begin())
        return ramp.front().colour;
    if (above == ramp.end())
        return ramp.back().colour;
    const Stop& below = *(above - 1);
    return mixed(below.colour, above->colour, (at - below.at) / (above->at - below.at));
}

struct Range {
    double low = 0;
    double high = 1;
    /// Whether there are values beyond.
    bool isCutBelow = false;
    bool isCutAbove = false;
    double shareOf(double value) const { return (value - low) / (high - low); }
};

std::vector<float> numbersOf(const std::vector<float>& plane) {
    std::vector<float> numbers;
    std::copy_if(plane.begin(), plane.end(), std::back_inserter(numbers),
                 [](float v) { return !std::isnan(v); });
    return numbers;
}

/// The value that this share of the others is below; there has to be one.
double quantile(std::vector<float>& numbers, double share) {
    const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(numbers.size() - 1));
    std::nth_element(numbers.begin(), numbers.begin() + place, numbers.end());
    return numbers[static_cast<std::size_t>(place)];
}

/// Without the outermost values: one bird would take the colours from all else.
std::optional<Range> rangeOf(const std::vector<float>& plane, bool isWhole) {
    std::vector<float> numbers = numbersOf(plane);
    if (numbers.empty())
        return std::nullopt;
    const auto [first, last] = std::minmax_element(numbers.begin(), numbers.end());
    const double least = *first, greatest = *last;
    Range range = {quantile(numbers, 0.002), quantile(numbers, 0.998)};
    if (!(range.low < range.high))
        range = {least, greatest};
    if (isWhole)
        range = {std::floor(range.low), std::ceil(range.high)};
    if (!(range.low < range.high))
        range = isWhole ? Range{range.low, range.low + 1} : Range{range.low - 0.5, range.high + 0.5};
    range.isCutBelow = range.low > least;
    range.isCutAbove = range.high < greatest;
    return range;
}

/// Rises to the east and to the south, per pixel, as plane fits of the 3 x 3 pixels around each; what is
/// missing counts as level.
struct Slopes {
    std::vector<float> east;
    std::vector<float> south;
};

Slopes slopesOf(const ReducedRaster& raster, const std::vector<float>& plane) {
    Slopes slopes;
    slopes.east.assign(plane.size(), std::numeric_limits<float>::quiet_NaN());
    slopes.south = slopes.east;
    const auto place = [&](int x, int y) {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(raster.width) +
               static_cast<std::size_t>(x);
    };
    for (int y = 0; y < raster.height; ++y)
        for (int x = 0; x < raster.width; ++x) {
            const float centre = plane[place(x, y)];
            if (std::isnan(centre))
                continue;
            const auto at = [&](int dx, int dy) {
                const int column = std::clamp(x + dx, 0, raster.width - 1);
                const int row = std::clamp(y + dy, 0, raster.height - 1);
                const float value = plane[place(column, row)];
                return std::isnan(value) ? centre : value;
            };
            const float east = at(1, -1) + 2 * at(1, 0) + at(1, 1) - at(-1, -1) - 2 * at(-1, 0) - at(-1, 1);
            const float south = at(-1, 1) + 2 * at(0, 1) + at(1, 1) - at(-1, -1) - 2 * at(0, -1) - at(1, -1);
            slopes.east[place(x, y)] = east / static_cast<float>(8 * raster.pixelWidth);
            slopes.south[place(x, y)] = south / static_cast<float>(8 * raster.pixelHeight);
        }
    return slopes;
}

/// So much that the steeper tenth of the raster leans by 45 degrees or more.
double exaggerationFor(const Slopes& slopes) {
    std::vector<float> steepness;
    for (std::size_t i = 0; i < slopes.east.size(); ++i)
        if (!std::isnan(slopes.east[i]))
            steepness.push_back(std::hypot(slopes.east[i], slopes.south[i]));
    const double steep = steepness.empty() ? 0 : quantile(steepness, 0.9);
    return steep > 0 ? 1 / steep : 0;
}

/// How much more light a slope gets than level ground: -1 to 1, 0 for level ground.
double brightness(double east, double south) {
    struct Light {
        double azimuth; ///< in degrees from north over east
        double share;
    };
    // The main light alone would leave ridges that run along it flat.
    constexpr std::array<Light, 3> lights = {{{315, 0.6}, {255, 0.2}, {15, 0.2}}};
    constexpr double altitude = std::numbers::pi / 4;
    const double upright = 1 / std::sqrt(1 + east * east + south * south);
    double sum = 0;
    for (const auto& [azimuth, share] : lights) {
        const double angle = azimuth * std::numbers::pi / 180;
        const double towards = -east * std::sin(angle) + south * std::cos(angle);
        const double incidence = (std::sin(altitude) + std::cos(altitude) * towards) * upright;
        sum += share * std::max(incidence, 0.0);
    }
    return sum - std::sin(altitude);
}

Colour shaded(const Colour& colour, double brightness) {
    if (brightness < 0)
        return mixed(colour, shadow, std::min(-brightness, 0.65));
    return mixed(colour, light, std::min(brightness * 1.9, 0.6));
}

/// One, two or five times a power of ten, at most `about`.
double roundLength(double about) {
    const double power = std::pow(10, std::floor(std::log10(about)));
    return power * (about >= 5 * power ? 5 : about >= 2 * power ? 2 : 1);
}

std::string textOf(double number) {
    std::array<char, 32> text;
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, 7).ptr;
    return {text.data(), end};
}

std::string shortUnit(const std::string& unit) {
    if (unit == "metre" || unit == "meter")
        return "m";
    return unit == "foot" || unit == "US survey foot" ? "ft" : unit;
}

/// A unit in which lengths are given, and how many units of the coordinates it has.
struct LengthUnit {
    std::string name;
    double length;
};

/// The largest in which `length`, in units of the coordinates, is at least one.
LengthUnit unitFor(const ReducedRaster& raster, double length) {
    std::vector<LengthUnit> units;
    const std::string unit = linearUnitOf(raster.wkt);
    if (unit == "metre") {
        units = {{"km", 1000}, {"m", 1}};
    } else if (shortUnit(unit) == "ft") {
        units = {{"mi", 5280}, {"ft", 1}};
    } else if (unit.empty() && !raster.wkt.empty()) {
        // Degrees: along the middle of the raster, on a sphere.
        const double metre = 1 / (111195 * std::cos(raster.middleNorth * std::numbers::pi / 180));
        units = {{"km", 1000 * metre}, {"m", metre}};
    } else {
        units = {{unit, 1}};
    }
    const auto found =
        std::find_if(units.begin(), units.end(), [&](const LengthUnit& one) { return length >= one.length; });
    return found == units.end() ? units.back() : *found;
}

struct Tick {
    double value;
    std::string text;
};

/// With so many decimals, unless that is a long row of zeros.
std::string textOf(double number, int decimals) {
    if (std::abs(number) >= 1e9 || decimals > 6)
        return textOf(number);
    std::array<char, 32> text;
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed, decimals).ptr;
    return {text.data(), end};
}

/// The end of a range, in place of the ticks that are close to it.
void addEnd(std::vector<Tick>& ticks, const Range& range, const Tick& end) {
    constexpr double roomOfText = 0.12;
    std::erase_if(ticks, [&](const Tick& tick) {
        return std::abs(range.shareOf(tick.value) - range.shareOf(end.value)) < roomOfText;
    });
    ticks.push_back(end);
}

/// At round values within the range. The ends of a range that is cut are among them, moved inwards to a value
/// that can be written in full; and so are those of a range of whole numbers.
std::vector<Tick> ticksOf(Range& range, bool isWhole) {
    constexpr double wanted = 5;
    constexpr double roundedUp = 1.6; // from the middle between 2 and 5 on
    const double round = roundLength((range.high - range.low) / wanted * roundedUp);
    const double step = isWhole ? std::max(round, 1.0) : round;
    const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
    const double finest = std::pow(10, decimals);
    if (range.isCutBelow)
        range.low = std::ceil(range.low * finest) / finest;
    if (range.isCutAbove)
        range.high = std::floor(range.high * finest) / finest;
    std::vector<Tick> ticks;
    for (double i = std::ceil(range.low / step); i * step <= range.high; ++i) {
        const double value = i == 0 ? 0 : i * step; // never -0
        ticks.push_back({value, textOf(value, decimals)});
    }
    if (isWhole || range.isCutBelow)
        addEnd(ticks, range, {range.low, (range.isCutBelow ? "\u2264 " : "") + textOf(range.low, decimals)});
    if (isWhole || range.isCutAbove)
        addEnd(ticks, range,
               {range.high, (range.isCutAbove ? "\u2265 " : "") + textOf(range.high, decimals)});
    return ticks;
}

/// In lines of at most this width, broken after spaces and marks.
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

/// In heights of capitals.
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
    const Ramp& ramp;
    bool relief;
    std::optional<Range> range;
    std::vector<Tick> ticks;
    std::optional<std::set<int>> classes; ///< that there are, if the band is one of classes
    std::vector<std::string> title;
    bool hasGaps;

    int magnification; ///< a raster's pixel has so many of the picture's on a side
    double unit;       ///< lengths on the margin grow with the picture
    double text;       ///< height of capitals
    int margin;
};

PreviewPainter::PreviewPainter(const ReducedRaster& raster, const PreviewOptions& options)
    : raster(raster), ramp(options.relief ? landscape : evenSteps), relief(options.relief) {
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
    if (!relief)
        return colours;
    const Slopes slopes = slopesOf(raster, plane);
    const double exaggeration = exaggerationFor(slopes);
    for (std::size_t i = 0; i < plane.size(); ++i)
        if (!std::isnan(plane[i]))
            colours[i] =
                shaded(colours[i], brightness(exaggeration * slopes.east[i], exaggeration * slopes.south[i]));
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

/// Gives the row below it.
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

/// A colour with what it stands for; gives the base line of the next one.
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
    const std::string end = textOf(length), middle = textOf(length / 2);
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
        throw UsageError("the preview '" + picture.string() + "' is none of .png, .jpg and .jpeg");
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
