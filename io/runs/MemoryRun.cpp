#include <io/runs/MemoryRun.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>

#include <io/outputs/HiddenFolder.h>
#include <io/rasters/HoleFilling.h>
#include <io/rasters/PixelTypes.h>
#include <io/runs/MemoryOutputs.h>
#include <io/runs/Rastering.h>
#include <io/runs/Resources.h>
#include <io/runs/RunReport.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// Bytes that programs can have without swapping.
std::uint64_t availableMemory() {
    std::ifstream file("/proc/meminfo");
    std::string name, unit;
    std::uint64_t kilobytes = 0;
    while (file >> name >> kilobytes && std::getline(file, unit))
        if (name == "MemAvailable:")
            return kilobytes << 10U;
    return std::numeric_limits<std::uint64_t>::max();
}

void checkRoom(const RasterReport& planned) {
    const std::uint64_t available = availableMemory();
    if (planned.outputBytes > available)
        throw MemoryError("a raster of " + std::to_string(planned.columns) + " x " +
                          std::to_string(planned.rows) + " cells takes " +
                          readableBytes(planned.outputBytes) + ", and " + readableBytes(available) +
                          " of memory are free");
}

/// Fills the holes of one band, as they are filled in files. Holes are where `isHole` says so of a pixel.
/// Gives which pixels were filled.
template <class T, class IsHole>
std::vector<char> fillBand(const RasterDescription& raster, Filling filling, std::vector<T>& pixels,
                           const IsHole& isHole, const fs::path& folder) {
    constexpr double hole = std::numeric_limits<double>::quiet_NaN();
    std::vector<char> isFilled(pixels.size());
    const std::uint64_t width = raster.geometry.width, height = raster.geometry.height;
    const auto rowsAtATime = static_cast<std::uint64_t>(raster.blockSize);
    const auto endOf = [=](std::uint64_t row) { return std::min(row + rowsAtATime, height) * width; };
    const BandWithHoles band = {width, height, rowsAtATime,
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
                                }};
    const double diagonal = std::hypot(static_cast<double>(width), static_cast<double>(height));
    fillHoles(band, filling, std::min(raster.fillDistance, diagonal), folder);
    return isFilled;
}

/// NaN is the same as NaN.
template <class T> bool isSame(T a, T b) { return a == b || (a != a && b != b); }

/// Bands with a nodata value have holes of their own; the holes of colours are where alpha is 0.
template <class T>
std::vector<char> fillOutput(MemoryOutput& output, std::size_t number, std::vector<T>& pixels,
                             const fs::path& folder) {
    const RasterDescription& raster = output.description;
    const Filling filling = raster.bands[number].isCategory ? Filling::Nearest : raster.filling;
    if (raster.nodata) {
        const T blank = *asPixel<T>(*raster.nodata);
        return fillBand(
            raster, filling, pixels, [&](std::uint64_t i) { return isSame(pixels[i], blank); }, folder);
    }
    if (raster.bands.back().colour != BandColour::Alpha || raster.bands.size() == 1)
        return std::vector<char>(pixels.size());
    const auto& alpha = std::get<std::vector<T>>(output.bands.back());
    return fillBand(
        raster, filling, pixels, [&](std::uint64_t i) { return alpha[i] == T(); }, folder);
}

/// Marks in the bands of what was filled where the first other band was.
void fillOutputs(const RunPlan& plan, std::vector<MemoryOutput>& outputs, const fs::path& scratch) {
    const LockedFolder folder(scratch / ".tilewright-fill-");
    const auto isMark = [](const JobBand& band) { return band.source == JobBand::Source::Filled; };
    const auto first = std::ranges::find_if_not(plan.job.bands, isMark);
    std::vector<char> marks;
    for (std::size_t f = 0; f < outputs.size(); ++f)
        for (std::size_t b = 0; b < outputs[f].bands.size(); ++b) {
            std::vector<char> isFilled =
                std::visit([&](auto& pixels) { return fillOutput(outputs[f], b, pixels, folder.path()); },
                           outputs[f].bands[b]);
            if (first != plan.job.bands.end() && first->file == f && first->number == b)
                marks = std::move(isFilled);
        }
    for (const JobBand& band : plan.job.bands)
        if (isMark(band) && !marks.empty())
            std::visit([&](auto& pixels) { pixels.assign(marks.begin(), marks.end()); },
                       outputs[band.file].bands[band.number]);
}

RasterReport reportOn(const PlannedRun& run, const RasteredBlocks& rastered) {
    RasterReport report = reportOnBlocks(run.plan, rastered);
    for (std::size_t b = 0; b < run.plan.job.bands.size(); ++b)
        describeFile(rastered.descriptions[run.plan.job.bands[b].file], report.bands[b]);
    return report;
}

MemoryRaster makeRaster(const std::shared_ptr<const PointCloud>& cloud, const RasterRequest& request,
                        const RunProgress& progress) {
    const PlannedRun run = planRunBetween({cloud, true}, request, progress);
    checkRoom(describeRun(run.plan));
    MemoryRaster raster;
    const RasteredBlocks rastered = rasterBlocks(
        run,
        [&](const std::vector<RasterDescription>& descriptions) {
            const PixelWindow whole{0, 0, run.plan.geometry.width, run.plan.geometry.height};
            return openArrays(run.plan, descriptions, whole, raster.outputs);
        },
        progress);
    if (request.fill > 0.0)
        fillOutputs(run.plan, raster.outputs, request.scratch);
    raster.report = reportOn(run, rastered);
    return raster;
}

} // namespace

MemoryRaster rasterInMemory(const std::shared_ptr<const PointCloud>& cloud, RasterRequest request,
                            const RunProgress& progress) {
    const auto start = std::chrono::steady_clock::now();
    try {
        MemoryRaster raster = makeRaster(cloud, withoutFiles(std::move(request)), progress);
        raster.report.seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        return raster;
    } catch (const std::bad_alloc&) {
        throw MemoryError("the raster does not fit into the memory");
    }
}

} // namespace Tilewright::Io
