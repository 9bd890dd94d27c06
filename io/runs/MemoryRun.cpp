#include <io/runs/MemoryRun.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>

#include <io/runs/MemoryFilling.h>
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
    const PixelWindow whole{0, 0, run.plan.geometry.width, run.plan.geometry.height};
    MemoryRaster raster;
    const RasteredBlocks rastered = rasterBlocks(
        run,
        [&](const std::vector<RasterDescription>& descriptions) {
            return openArrays(run.plan, descriptions, whole, raster.outputs);
        },
        progress);
    if (request.fill > 0.0)
        fillOutputs(run.plan, whole, whole, raster.outputs);
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
