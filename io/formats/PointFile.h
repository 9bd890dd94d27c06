/// PointFile: opens a single file of points, whatever its format.
#pragma once

#include <filesystem>
#include <memory>

#include <io/records/PointSource.h>
#include <io/system/StepReport.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

struct CloudOptions {
    /// Where files that have to be converted first find room.
    std::filesystem::path scratch = ".";
    /// Asked while files are read or converted whether to go on, with the bytes done so far. May be
    /// empty.
    StepReport report;
    /// Whether pages of mapped files may stay in memory: quicker, if there is room for all of them.
    bool keepPages = false;
};

/// Opens a single file of any known kind, identified by its contents, and for texts by its extension; of
/// those in GDAL's virtual file systems, such as /vsicurl/https://..., LAS, LAZ, COPC and vector files.
/// Throws InputError.
TILEWRIGHT_API std::unique_ptr<PointSource> openPointFile(const std::filesystem::path& path,
                                                          const CloudOptions& options);

/// Whether a name has an extension that makes a file of a folder a point file.
TILEWRIGHT_API bool isPointFileName(const std::filesystem::path& path);

} // namespace Tilewright::Io
