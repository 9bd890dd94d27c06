#include <io/runs/MemoryOutputs.h>

#include <filesystem>

#include <io/rasters/PixelTypes.h>
#include <io/runs/NoDataChoice.h>
#include <io/runs/PixelTypeNames.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

void checkNoData(const MemoryOutput& output) {
    const RasterDescription& description = output.description;
    const bool isPixel = !description.nodata || withPixelType(description.type, [&]<class T>(T) {
        return asPixel<T>(*description.nodata).has_value();
    });
    if (!isPixel)
        throw UsageError(output.name + ": the nodata value " + exactNumber(asNumber(*description.nodata)) +
                         " is not a value of " + nameOf(description.type));
}

} // namespace

RasterRequest withoutFiles(RasterRequest request) {
    request.output.clear();
    request.driver.clear();
    request.creationOptions.clear();
    request.preview.clear();
    request.stack = request.overviews = request.dryRun = false;
    if (request.scratch.empty())
        request.scratch = std::filesystem::temp_directory_path().string();
    return request;
}

MemoryOutput outputOf(const PlannedOutput& planned, const RasterDescription& description) {
    MemoryOutput output{planned.path.string(), description, {}};
    checkNoData(output);
    return output;
}

std::unique_ptr<BlockSink> openArrays(const RunPlan& plan, const std::vector<RasterDescription>& descriptions,
                                      const PixelWindow& window, std::vector<MemoryOutput>& outputs) {
    outputs.clear();
    for (std::size_t f = 0; f < descriptions.size(); ++f) {
        MemoryOutput& output = outputs.emplace_back(outputOf(plan.outputs[f], descriptions[f]));
        for (std::size_t b = 0; b < descriptions[f].bands.size(); ++b)
            output.bands.push_back(withPixelType(descriptions[f].type, [&]<class T>(T) {
                return PixelArray(std::vector<T>(window.pixels()));
            }));
    }
    std::vector<MemorySink::Band> bands;
    for (const JobBand& band : plan.job.bands)
        bands.push_back({std::visit([](auto& pixels) { return PixelRoom(std::span(pixels)); },
                                    outputs[band.file].bands[band.number]),
                         descriptions[band.file].nodata});
    return std::make_unique<MemorySink>(window, std::move(bands));
}

} // namespace Tilewright::Io
