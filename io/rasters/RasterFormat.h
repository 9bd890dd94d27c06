/// RasterFormat: which format a raster is written in, and under which name.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// GDAL's name of the driver for an output: of `driver`, in any case, if that is not empty, else of the
/// format to which the extension belongs, and GTiff for a name without one. Throws UsageError for a driver
/// that GDAL does not know, or that cannot make files of pixels, for an extension of no known format, and for
/// one of clouds unless it is also that of the driver.
TILEWRIGHT_API std::string driverOf(const std::string& driver, const std::filesystem::path& output);

/// The names of all that driverOf() knows, in the order of the letters.
TILEWRIGHT_API std::vector<std::string> rasterFormats();

/// Throws UsageError if the driver, named as driverOf() does, has no such options or they no such values.
/// Each is a KEY=VALUE.
TILEWRIGHT_API void checkCreationOptions(const std::string& driver, const std::vector<std::string>& options);

/// The file of one band of a run: `out` if it is the only one, else with -NAME before its extension; an
/// `out` without extension gets .tif. Only letters, digits, and `_`, `-`, `+`, `.` of the name (and all of
/// UTF-8 beyond ASCII) survive, other characters become `_`; two names may thus come out alike.
TILEWRIGHT_API std::string bandFileName(const std::string& out, const std::string& bandName,
                                        std::size_t bandCount);

} // namespace Tilewright::Io
