/// Gdal: shared by all code that calls GDAL. Not installed, so that GDAL stays out of the public headers.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <cpl_error.h>
#include <gdal_priv.h>

namespace Tilewright::Io {

/// The unit of a band that counts or classifies, in files where each band needs one.
inline constexpr const char* noUnit = "1";

/// Sets an option for this thread, and restores it at the end.
class ThreadOption {
public:
    ThreadOption(const char* key, const char* value);
    ~ThreadOption();
    ThreadOption(const ThreadOption&) = delete;
    ThreadOption& operator=(const ThreadOption&) = delete;

private:
    const char* key;
    std::optional<std::string> before;
};

/// Collects what GDAL reports on this thread during a scope, so that GDAL prints nothing. Each text is one
/// line.
class GdalMessages {
public:
    GdalMessages();
    ~GdalMessages();
    GdalMessages(const GdalMessages&) = delete;
    GdalMessages& operator=(const GdalMessages&) = delete;

    bool failed() const { return failure.has_value(); }
    /// The first failure, since later ones are mostly its consequences; otherwise the first warning.
    std::string text() const;

private:
    static void CPL_STDCALL collect(CPLErr level, CPLErrorNum number, const char* text);

    std::optional<std::string> failure;
    std::optional<std::string> warning;
};

/// The driver of that name in any case of letters, null if there is none. Loads all drivers only if
/// necessary.
GDALDriver* findDriver(const std::string& name);

/// The driver that a raster needs, null for other files. Loads all drivers only if necessary.
GDALDriver* findDriverOf(const std::filesystem::path& raster);

/// A driver that should exist. Throws std::runtime_error if GDAL was built without it.
GDALDriver& driverFor(const std::string& name);

void registerAllDrivers();

/// A coordinate system as WKT2 in one line; empty for null, and for one that has no such text.
std::string wktOf(const OGRSpatialReference* system);

/// Null if the file is not a raster.
GDALDatasetUniquePtr openRaster(const std::filesystem::path& path);

/// Room in GDAL's cache for two rows of blocks of all bands. Otherwise code that walks a raster line by line
/// would read each block once per line.
///
/// Rasters on several threads share the cache. Those that would make it larger than one of them needs alone
/// wait for others to end. So a thread must not ask for a second room.
class BlockRoom {
public:
    explicit BlockRoom(GDALDataset& dataset);
    ~BlockRoom();
    BlockRoom(const BlockRoom&) = delete;
    BlockRoom& operator=(const BlockRoom&) = delete;

private:
    GIntBig bytes;
};

} // namespace Tilewright::Io
