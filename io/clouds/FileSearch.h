/// FileSearch: which files are meant by names, folders and patterns.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// The files that the words of a command line stand for: files as they are, all point files of a folder and
/// of those below it, in ascending order of their paths, and what matches a pattern with * or ?, ascending
/// too. Names in GDAL's virtual file systems are taken as they are. Throws InputError for a word that stands
/// for no file.
TILEWRIGHT_API std::vector<std::filesystem::path> findPointFiles(const std::vector<std::string>& words);

} // namespace Tilewright::Io
