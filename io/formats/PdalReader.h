/// PdalReader: files of kinds that are read nowhere here, by way of the program pdal, if it is installed.
///
/// It writes a LAS file, which is mapped and at once has no name any more: however this process ends from
/// then on, nothing is left behind. Coordinates are stored as 32-bit integers over their range.
#pragma once

#include <filesystem>
#include <memory>

#include <io/formats/ReadOptions.h>
#include <io/records/PointSource.h>

namespace Tilewright::Io {

/// Throws InputError if pdal is not on PATH, which says how to go on, or gives up. It goes by the extension.
std::unique_ptr<PointSource> readWithPdal(const std::filesystem::path& path, const ReadOptions& options);

} // namespace Tilewright::Io
