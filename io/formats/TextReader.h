/// TextReader: points in a text, one a line, as x y z with or without further columns.
///
/// Values are separated by commas, semicolons, tabs or blanks; their decimal separator is a point. The first
/// line may name the columns, also after a comment mark (# or //), or give the number of points. Lines that
/// are empty or a comment are passed over.
///
/// Columns without a name are Intensity, if there are four columns, or Column4 and so on. A column that holds
/// no number at all is left out. The others get the type that holds all their values.
#pragma once

#include <filesystem>
#include <memory>

#include <io/formats/ReadOptions.h>
#include <io/records/PointSource.h>

namespace Tilewright::Io {

/// Throws InputError, with the number of the line, for a line with other values than numbers, and one with
/// more or fewer of them than the first.
std::unique_ptr<PointSource> readText(const std::filesystem::path& path, const ReadOptions& options);

} // namespace Tilewright::Io
