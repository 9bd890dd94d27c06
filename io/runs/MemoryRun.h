/// MemoryRun: a raster as arrays in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include <io/clouds/PointCloud.h>
#include <io/rasters/RasterDescription.h>
#include <io/runs/RasterRequest.h>
#include <io/runs/RasterRun.h>
#include <io/system/Errors.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// The memory does not hold the raster, which files could.
class TILEWRIGHT_API MemoryError : public Error {
public:
    using Error::Error;
};

/// The alternatives are in the order of PixelType.
using PixelArray = std::variant<std::vector<float>, std::vector<double>, std::vector<unsigned char>,
                                std::vector<unsigned short>, std::vector<unsigned int>,
                                std::vector<unsigned long long>, std::vector<int>>;

/// What would be a file: mostly a single band, of colours several.
struct TILEWRIGHT_API MemoryOutput {
    std::string name;
    /// The nodata value of floating numbers is NaN.
    RasterDescription description;
    /// For each band of the description its pixels, row by row from the north-western one.
    std::vector<PixelArray> bands;
};

struct TILEWRIGHT_API MemoryRaster {
    /// Says nothing of the values of pixels. The paths of its bands are the names of their outputs.
    RasterReport report;
    /// In the order of the bands of the request.
    std::vector<MemoryOutput> outputs;
};

/// Reads and rasters. The output of the request and all that concerns files alone are not looked at; nor are
/// its inputs if `cloud` is not null. Throws as runRaster() does, and MemoryError.
TILEWRIGHT_API MemoryRaster rasterInMemory(const std::shared_ptr<const PointCloud>& cloud,
                                           RasterRequest request, const RunProgress& progress = {});

} // namespace Tilewright::Io
