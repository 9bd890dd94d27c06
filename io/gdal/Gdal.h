/// Gdal: what all code that calls GDAL shares. Not installed, so that GDAL stays out of the public headers.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <cpl_error.h>
#include <gdal_priv.h>

namespace Tilewright::Io {

/// The unit of a band that counts or classifies, in files where each band needs one.
inline constexpr const char* noUnit = "1";

/// Sets an option for this thread, and back at the end.
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

/// Takes what GDAL reports on this thread, so that it prints nothing, for the span of a scope. The texts are
/// one line each.
class GdalMessages {
public:
    GdalMessages();
    ~GdalMessages();
    GdalMessages(const GdalMessages&) = delete;
    GdalMessages& operator=(const GdalMessages&) = delete;

    bool failed() const { return failure.has_value(); }
    /// The first failure, as those that follow are mostly its consequences; else the first warning.
    std::string text() const;

private:
    static void CPL_STDCALL collect(CPLErr level, CPLErrorNum number, const char* text);

    std::optional<std::string> failure;
    std::optional<std::string> warning;
};

/// The driver of that name in any case, null if there is none. Loads all drivers only if it has to.
GDALDriver* findDriver(const std::string& name);

/// One that is known to exist. Throws std::runtime_error if GDAL was built without it.
GDALDriver& driverFor(const std::string& name);

void registerAllDrivers();

/// Null if the file is no raster.
GDALDatasetUniquePtr openRaster(const std::filesystem::path& path);

/// Lets GDAL's cache hold two rows of blocks of all bands: what goes over a raster line by line would
/// otherwise read each block as often as it has lines.
void makeRoomForBlocks(GDALDataset& dataset);

} // namespace Tilewright::Io
