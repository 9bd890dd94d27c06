#include <io/runs/MemoryFilling.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <variant>

#include <io/outputs/HiddenFolder.h>
#include <io/rasters/HoleFilling.h>
#include <io/rasters/PixelTypes.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// Which pixels there are, and how they are filled.
struct FillingPlace {
    PixelWindow window;
    /// Counted in the window.
    PixelRectangle wanted;
    double distance;
    fs::path folder;
};

/// Of the whole raster, however small the window is. There are no data beyond its diagonal.
double distanceOf(const RunPlan& plan) {
    const double diagonal =
        std::hypot(static_cast<double>(plan.geometry.width), static_cast<double>(plan.geometry.height));
    return std::min(plan.outputs.front().description.fillDistance, diagonal);
}

Filling fillingOf(const RasterDescription& raster, std::size_t band) {
    return raster.bands[band].isCategory ? Filling::Nearest : raster.filling;
}

/// Fills the holes of one band, as they are filled in files. Holes are where `isHole` says so of a pixel.
/// Gives which pixels were filled.
template <class T, class IsHole>
std::vector<char> fillBand(const FillingPlace& at, Filling filling, std::vector<T>& pixels,
                           const IsHole& isHole) {
    constexpr double hole = std::numeric_limits<double>::quiet_NaN();
    std::vector<char> isFilled(pixels.size());
    const std::uint64_t width = at.window.columns, height = at.window.rows;
    constexpr std::uint64_t rowsAtATime = tileOfFilling;
    const auto endOf = [=](std::uint64_t row) { return std::min(row + rowsAtATime, height) * width; };
    const BandWithHoles band = {width,
                                height,
                                rowsAtATime,
                                [&](std::uint64_t row, double* rows) {
                                    for (std::uint64_t i = row * width; i < endOf(row); ++i)
                                        *rows++ = isHole(i) ? hole : static_cast<double>(pixels[i]);
                                },
                                [&](std::uint64_t row, const double* rows) {
                                    for (std::uint64_t i = row * width; i < endOf(row); ++i, ++rows)
                                        if (isHole(i) && !std::isnan(*rows)) {
                                            pixels[i] = rounded<T>(*rows);
                                            isFilled[i] = 1;
                                        }
                                },
                                at.wanted};
    fillHoles(band, filling, at.distance, at.folder);
    return isFilled;
}

/// NaN is the same as NaN.
template <class T> bool isSame(T a, T b) { return a == b || (a != a && b != b); }

/// Bands with a nodata value have holes of their own; the holes of colours are where alpha is 0.
template <class T>
std::vector<char> fillOutput(MemoryOutput& output, std::size_t number, std::vector<T>& pixels,
                             const FillingPlace& at) {
    const RasterDescription& raster = output.description;
    const Filling filling = fillingOf(raster, number);
    if (raster.nodata) {
        const T blank = *asPixel<T>(*raster.nodata);
        return fillBand(at, filling, pixels, [&](std::uint64_t i) { return isSame(pixels[i], blank); });
    }
    if (raster.bands.back().colour != BandColour::Alpha || raster.bands.size() == 1)
        return std::vector<char>(pixels.size());
    const auto& alpha = std::get<std::vector<T>>(output.bands.back());
    return fillBand(at, filling, pixels, [&](std::uint64_t i) { return alpha[i] == T(); });
}

/// The first that is not itself the mark of others.
const JobBand* firstBandOf(const RunPlan& plan) {
    const auto isMark = [](const JobBand& band) { return band.source == JobBand::Source::Filled; };
    const auto first = std::ranges::find_if_not(plan.job.bands, isMark);
    return first == plan.job.bands.end() ? nullptr : &*first;
}

} // namespace

std::uint64_t reachOfFilling(const RunPlan& plan) {
    const double distance = distanceOf(plan);
    if (distance == 0.0)
        return 0;
    std::uint64_t reach = 0;
    for (const PlannedOutput& output : plan.outputs)
        for (std::size_t b = 0; b < output.description.bands.size(); ++b)
            reach = std::max(reach, reachOfFilling(fillingOf(output.description, b), distance));
    return reach;
}

void fillOutputs(const RunPlan& plan, const PixelWindow& window, const PixelWindow& wanted,
                 std::vector<MemoryOutput>& outputs) {
    const LockedFolder folder(plan.reading.scratch / ".tilewright-fill-");
    const FillingPlace at = {
        window,
        {wanted.column - window.column, wanted.row - window.row, wanted.columns, wanted.rows},
        distanceOf(plan),
        folder.path()};
    const JobBand* const first = firstBandOf(plan);
    std::vector<char> marks;
    for (std::size_t f = 0; f < outputs.size(); ++f)
        for (std::size_t b = 0; b < outputs[f].bands.size(); ++b) {
            std::vector<char> isFilled = std::visit(
                [&](auto& pixels) { return fillOutput(outputs[f], b, pixels, at); }, outputs[f].bands[b]);
            if (first && first->file == f && first->number == b)
                marks = std::move(isFilled);
        }
    for (const JobBand& band : plan.job.bands)
        if (band.source == JobBand::Source::Filled && !marks.empty())
            std::visit([&](auto& pixels) { pixels.assign(marks.begin(), marks.end()); },
                       outputs[band.file].bands[band.number]);
}

} // namespace Tilewright::Io
