#include <io/rasters/ExistingRaster.h>

#include <array>
#include <cmath>
#include <string>
#include <system_error>

#include <io/gdal/Gdal.h>
#include <io/gdal/VirtualFile.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

RasterGeometry geometryOf(const std::filesystem::path& raster) {
    const GdalMessages messages;
    const GDALDatasetUniquePtr dataset = openRaster(raster);
    std::error_code ignored;
    if (!dataset && !isVirtualPath(raster) && !std::filesystem::exists(raster, ignored))
        throw MissingFileError(raster.string() + ": there is no such file");
    if (!dataset)
        throw FileError(raster.string() + ": is not a raster" +
                        (messages.text().empty() ? "" : " (" + messages.text() + ")"));
    // West, width of a pixel, rotation; north, rotation, height of a pixel.
    std::array<double, 6> place = {};
    if (dataset->GetGeoTransform(place.data()) != CE_None)
        throw InputError(raster.string() + ": does not say where it is located");
    const auto& [west, width, rise, north, slant, height] = place;
    if (rise != 0.0 || slant != 0.0 || !(width > 0.0) || height == 0.0)
        throw InputError(raster.string() + ": is rotated or mirrored, but cells cannot be");
    RasterGeometry geometry;
    geometry.width = static_cast<std::uint64_t>(dataset->GetRasterXSize());
    geometry.height = static_cast<std::uint64_t>(dataset->GetRasterYSize());
    geometry.west = west;
    geometry.north = height < 0.0 ? north : north + height * static_cast<double>(geometry.height);
    geometry.pixelWidth = width;
    geometry.pixelHeight = std::fabs(height);
    geometry.wkt = wktOf(dataset->GetSpatialRef());
    return geometry;
}

} // namespace Tilewright::Io
