#include <io/runs/RunInput.h>

#include <algorithm>

#include <io/clouds/FileSearch.h>
#include <io/gdal/CoordinateSystem.h>
#include <io/preview/Preview.h>
#include <io/rasters/ExistingRaster.h>
#include <io/rasters/RasterFormat.h>
#include <io/runs/PixelTypeNames.h>
#include <io/runs/Resources.h>
#include <io/runs/RunSteps.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

std::uint64_t bytesOf(const std::vector<fs::path>& files) {
    std::uint64_t bytes = 0;
    std::error_code failed;
    for (const fs::path& file : files)
        if (const auto size = fs::file_size(file, failed); !failed)
            bytes += size;
    return bytes;
}

/// One of the two may say nothing about heights.
bool areCompatible(const std::string& a, const std::string& b) {
    return isSameCoordinateSystem(a, b) ||
           (isSameWithoutHeights(a, b) && (verticalUnitOf(a).empty() || verticalUnitOf(b).empty()));
}

/// The system of a cloud that is to lie on the cells of another raster.
std::string systemLike(const RasterGeometry& like, const RunInput& input, const RasterRequest& request) {
    if (like.wkt.empty() || !request.coordinateSystem.empty())
        return input.system;
    if (!input.system.empty() && !areCompatible(input.system, like.wkt))
        throw InputError(input.cloud->name() + " is in " + systemName(input.system) + ", and " +
                         request.like + " in " + systemName(like.wkt) + "; --srs would override both");
    return input.system.empty() || verticalUnitOf(input.system).empty() ? like.wkt : input.system;
}

void readClip(const RasterRequest& request, RunInput& input) {
    input.otherFiles.push_back(stateOfInput(polygonFileName(request.clip).file));
    const PolygonRings polygons = readPolygons(request.clip, input.system);
    input.notes.insert(input.notes.end(), polygons.notes.begin(), polygons.notes.end());
    input.clip = std::make_shared<const PolygonArea>(polygons.rings);
}

void openFiles(const RasterRequest& request, const RunProgress& progress, RunInput& input) {
    input.files = findPointFiles(request.inputs);
    const std::uint64_t bytes = bytesOf(input.files);
    // Pages of small clouds may stay in memory.
    const bool keepPages = bytes <= memoryToUse(request) / 8 * 5;
    const CloudOptions options{scratchOf(request), reportOf(progress, "reading"), keepPages};
    input.mappedBytes = keepPages ? bytes : 0;
    input.cloud = std::make_shared<const PointCloud>(input.files, options, !input.system.empty());
}

} // namespace

std::uint64_t bytesForGround(std::uint64_t memory) {
    constexpr std::uint64_t always = std::uint64_t(48) << 20;
    return std::max(memory / 4, always);
}

std::shared_ptr<const GroundSurface> openGround(const std::string& raster, const std::string& system,
                                                std::uint64_t mostBytes) {
    auto ground = std::make_shared<const GroundSurface>(raster, mostBytes);
    const std::string& own = ground->geometry().wkt;
    if (own.empty() && !system.empty())
        throw InputError(raster + ": names no coordinate system, and the cloud is in " + systemName(system) +
                         "; gdal_edit.py -a_srs would name the raster's");
    if (system.empty() && !own.empty())
        throw InputError(raster + ": is in " + systemName(own) +
                         ", and the cloud names no system; --srs would say which it is");
    if (!own.empty() && !areCompatible(system, own))
        throw InputError(raster + ": is in " + systemName(own) + ", and the cloud in " + systemName(system) +
                         "; gdalwarp would bring the raster there");
    return ground;
}

OutputStyle styleOf(const RasterRequest& request) {
    OutputStyle style;
    style.driver = driverOf(request.driver, request.output);
    if (!request.preview.empty() && !isPreviewName(request.preview))
        throw UsageError("the preview '" + request.preview + "' is none of .png, .jpg and .jpeg");
    checkCreationOptions(style.driver, request.creationOptions);
    style.type = readPixelType(request.pixelType);
    return style;
}

fs::path scratchOf(const RasterRequest& request) {
    if (!request.scratch.empty())
        return request.scratch;
    const fs::path folder = fs::path(request.output).parent_path();
    return folder.empty() ? fs::path(".") : folder;
}

RunInput openInput(const RasterRequest& request, const std::shared_ptr<const PointCloud>& cloud,
                   const RunProgress& progress) {
    RunInput input;
    if (!request.coordinateSystem.empty())
        input.system = coordinateSystemFromUser(request.coordinateSystem);
    if (cloud)
        input.cloud = cloud;
    else
        openFiles(request, progress, input);
    if (input.system.empty())
        input.system = input.cloud->coordinateSystem();
    if (!request.like.empty()) {
        input.like = geometryOf(request.like);
        input.system = systemLike(*input.like, input, request);
    }
    if (!request.clip.empty())
        readClip(request, input);
    if (!request.ground.empty() && !request.groundClasses.empty())
        throw UsageError("--ground and --ground-classes exclude each other");
    if (!request.ground.empty()) {
        input.otherFiles.push_back(stateOfInput(request.ground));
        input.ground = openGround(request.ground, input.system,
                                  bytesForGround(memoryToUse(request) - input.mappedBytes));
    }
    if (input.cloud->pointCount() == 0 && !request.bounds && !input.like)
        throw InputError(input.cloud->name() + " has no points");
    return input;
}

} // namespace Tilewright::Io
