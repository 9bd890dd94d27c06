#include <io/gdal/Gdal.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

#include <cpl_conv.h>
#include <cpl_string.h>
#include <gdal_frmts.h>
#include <ogr_spatialref.h>

#include <io/gdal/CoordinateSystem.h>

namespace Tilewright::Io {

namespace {

/// Blocks bypass GDAL's cache when they are written. What uses it, such as overviews, needs a few rows of
/// blocks and not the default of a twentieth of the machine's memory.
constexpr GIntBig cacheSize = 32 << 20;

std::mutex cacheLock;
std::condition_variable cacheChange;
/// Bytes of the rooms that there are.
GIntBig cacheInUse = 0;

std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

/// Loading all drivers takes longer than writing a small raster.
void registerUsualDrivers() {
    static std::once_flag registered;
    std::call_once(registered, [] {
        GDALRegister_GTiff();
        GDALRegister_MEM();
        GDALRegister_PNG();
        if (!CPLGetConfigOption("GDAL_CACHEMAX", nullptr))
            GDALSetCacheMax64(cacheSize);
    });
}

} // namespace

ThreadOption::ThreadOption(const char* key, const char* value) : key(key) {
    if (const char* text = CPLGetThreadLocalConfigOption(key, nullptr))
        before = text;
    CPLSetThreadLocalConfigOption(key, value);
}

ThreadOption::~ThreadOption() { CPLSetThreadLocalConfigOption(key, before ? before->c_str() : nullptr); }

GdalMessages::GdalMessages() { CPLPushErrorHandlerEx(&GdalMessages::collect, this); }

GdalMessages::~GdalMessages() {
    CPLPopErrorHandler();
    CPLErrorReset();
}

std::string GdalMessages::text() const { return failure.value_or(warning.value_or("no reason given")); }

void GdalMessages::collect(CPLErr level, CPLErrorNum, const char* text) {
    auto* messages = static_cast<GdalMessages*>(CPLGetErrorHandlerUserData());
    if (level >= CE_Failure && !messages->failure)
        messages->failure = oneLine(text);
    else if (level == CE_Warning && !messages->warning)
        messages->warning = oneLine(text);
}

GDALDriver* findDriver(const std::string& name) {
    registerUsualDrivers();
    GDALDriver* const usual = GetGDALDriverManager()->GetDriverByName(name.c_str());
    if (usual)
        return usual;
    registerAllDrivers();
    return GetGDALDriverManager()->GetDriverByName(name.c_str());
}

GDALDriver* findDriverOf(const std::filesystem::path& raster) {
    const GdalMessages unheard;
    const auto identify = [&] {
        return GDALDriver::FromHandle(GDALIdentifyDriverEx(raster.c_str(), GDAL_OF_RASTER, nullptr, nullptr));
    };
    registerUsualDrivers();
    GDALDriver* const usual = identify();
    if (usual)
        return usual;
    registerAllDrivers();
    return identify();
}

GDALDriver& driverFor(const std::string& name) {
    GDALDriver* const driver = findDriver(name);
    if (!driver)
        throw std::runtime_error("this build of GDAL has no " + name);
    return *driver;
}

void registerAllDrivers() {
    registerUsualDrivers();
    static std::once_flag registered;
    std::call_once(registered, [] {
        const GdalMessages complaintsAboutPlugins;
        GDALAllRegister();
    });
}

GDALDatasetUniquePtr openRaster(const std::filesystem::path& path) {
    registerUsualDrivers();
    GDALDatasetUniquePtr dataset(GDALDataset::Open(path.c_str(), GDAL_OF_RASTER));
    if (!dataset) {
        registerAllDrivers();
        dataset.reset(GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR));
    }
    return dataset;
}

std::string wktOf(const OGRSpatialReference* system) {
    constexpr std::array<const char*, 2> options = {"FORMAT=WKT2_2019", nullptr};
    char* text = nullptr;
    if (system && system->exportToWkt(&text, options.data()) != OGRERR_NONE)
        text = nullptr;
    std::string wkt = text ? coordinateSystemFromWkt(text) : std::string();
    CPLFree(text);
    return wkt;
}

BlockRoom::BlockRoom(GDALDataset& dataset) {
    GDALRasterBand& band = *dataset.GetRasterBand(1);
    int across, down;
    band.GetBlockSize(&across, &down);
    bytes = 2 * GIntBig(dataset.GetRasterXSize() + across) * down * dataset.GetRasterCount() *
            GDALGetDataTypeSizeBytes(band.GetRasterDataType());
    std::unique_lock lock(cacheLock);
    cacheChange.wait(lock, [&] { return cacheInUse == 0 || cacheInUse + bytes <= GDALGetCacheMax64(); });
    cacheInUse += bytes;
    if (GDALGetCacheMax64() < bytes)
        GDALSetCacheMax64(bytes);
}

BlockRoom::~BlockRoom() {
    {
        const std::lock_guard guard(cacheLock);
        cacheInUse -= bytes;
    }
    cacheChange.notify_all();
}

} // namespace Tilewright::Io
