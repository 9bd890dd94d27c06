/// RasterFormat: the format of a raster file, and its name.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// GDAL's name of the driver for an output: `driver` in any case of letters, or if that is empty the format
/// of the extension, or GTiff without an extension. Throws UsageError for a driver that GDAL does not have or
/// that cannot make raster files, for an unknown extension, and for one of clouds unless it is also that of
/// the driver.
TILEWRIGHT_API std::string driverOf(const std::string& driver, const std::filesystem::path& output);

/// All names that driverOf() accepts, sorted.
TILEWRIGHT_API std::vector<std::string> rasterFormats();

/// Throws UsageError if the driver, named as by driverOf(), does not have these options or values. Each
/// option is a KEY=VALUE.
TILEWRIGHT_API void checkCreationOptions(const std::string& driver, const std::vector<std::string>& options);

/// The file of one band of a run: `out` for a single band, otherwise with -NAME before its extension; without
/// an extension it gets .tif. Letters, digits, `_`, `-`, `+`, `.` and all characters beyond ASCII of the name
/// remain, others become `_`, so two names may become equal.
TILEWRIGHT_API std::string bandFileName(const std::string& out, const std::string& bandName,
                                        std::size_t bandCount);

} // namespace Tilewright::Io
