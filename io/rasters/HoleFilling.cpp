#include <io/rasters/HoleFilling.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <cpl_string.h>
#include <gdal_alg.h>
#include <gdal_priv.h>

#include <io/gdal/Gdal.h>
#include <io/rasters/GdalFiles.h>

namespace Tilewright::Io {

namespace {

constexpr const char* cannotFill = "its holes cannot be filled";

/// Transfers the rows from `row` on, over the whole width of the raster.
CPLErr transferRows(GDALRasterBand& copy, GDALRWFlag direction, const BandWithHoles& band, std::uint64_t row,
                    std::vector<float>& rows) {
    const int across = copy.GetXSize();
    const int down = static_cast<int>(std::min(band.rowsAtATime, band.height - row));
    return copy.RasterIO(direction, 0, static_cast<int>(row), across, down, rows.data(), across, down,
                         GDT_Float32, 0, 0, nullptr);
}

void copyHoles(const BandWithHoles& band, GDALRasterBand& copy) {
    const GdalMessages messages;
    std::vector<float> rows(band.width * band.rowsAtATime);
    for (std::uint64_t row = 0; row < band.height; row += band.rowsAtATime) {
        band.read(row, rows.data());
        expect(transferRows(copy, GF_Write, band, row, rows), messages, cannotFill);
    }
}

void copyFilled(const BandWithHoles& band, GDALRasterBand& copy) {
    const GdalMessages messages;
    std::vector<float> rows(band.width * band.rowsAtATime);
    for (std::uint64_t row = 0; row < band.height; row += band.rowsAtATime) {
        expect(transferRows(copy, GF_Read, band, row, rows), messages, cannotFill);
        band.takeFilled(row, rows.data());
    }
}

} // namespace

/// GDAL fills in single precision and rewrites every pixel of the band. So it works on a copy, and only the
/// filled holes return from there.
void fillHoles(const BandWithHoles& band, double distance, const std::filesystem::path& folder) {
    const GdalMessages messages;
    const ThreadOption place("CPL_TMPDIR", folder.c_str());
    CPLStringList options;
    options.SetNameValue("BIGTIFF", "IF_SAFER");
    const GDALDatasetUniquePtr copy(
        driverFor("GTiff").Create((folder / "holes.tif").c_str(), static_cast<int>(band.width),
                                  static_cast<int>(band.height), 1, GDT_Float32, options.List()));
    if (!copy)
        throw std::runtime_error(std::string(cannotFill) + " (" + messages.text() + ")");
    GDALRasterBand& holes = *copy->GetRasterBand(1);
    holes.SetNoDataValue(std::numeric_limits<double>::quiet_NaN());
    copyHoles(band, holes);
    expect(GDALFillNodata(&holes, nullptr, distance, 0, 0, nullptr, nullptr, nullptr), messages, cannotFill);
    copyFilled(band, holes);
}

} // namespace Tilewright::Io
