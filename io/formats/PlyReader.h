/// PlyReader: the vertices of a PLY file, ASCII or binary in either byte order.
///
/// Their scalar properties become attributes, float and double as they are, whole numbers in the type that
/// holds all of the property's. List properties and other elements are passed over.
#pragma once

#include <filesystem>
#include <memory>

#include <io/formats/ReadOptions.h>
#include <io/records/PointSource.h>

namespace Tilewright::Io {

/// Throws InputError for whatever is not such a file with all its vertices.
std::unique_ptr<PointSource> readPly(const std::filesystem::path& path, const ReadOptions& options);

} // namespace Tilewright::Io
