/// ReadOptions: what the readers share while a cloud is opened.
#pragma once

#include <filesystem>
#include <memory>

#include <io/records/PointSource.h>
#include <io/system/ScratchSpace.h>
#include <io/system/StepReport.h>

namespace Tilewright::Io {

struct CloudOptions;

struct ReadOptions {
    std::shared_ptr<ScratchSpace> scratch;
    /// Whether pages of mapped files may stay in memory.
    bool keepPages = false;
    /// Whether files may be mapped, of which a process can have some ten thousand.
    bool mapsFiles = true;
    /// Asked whether to go on; may be empty.
    StepReport report = {};
};

ReadOptions readOptionsOf(const CloudOptions& options);

/// openPointFile() for one of several files, which share their room for conversions.
std::unique_ptr<PointSource> openPartOfCloud(const std::filesystem::path& path, const ReadOptions& options);

} // namespace Tilewright::Io
