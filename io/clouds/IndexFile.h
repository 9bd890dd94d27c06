/// IndexFile: where the points of a file lie, as a file of its own, so that they need not be measured again.
///
/// All numbers are little-endian, floating ones with 64 bits, and nothing lies between them:
///
/// - 8 bytes: the text `TWCINDEX`;
/// - 4: version of the format, 3;
/// - 4: number of attributes that were measured;
/// - 8: number of stretches;
/// - 8: points that are in no stretch;
/// - 32: of the file its bytes, the time at which it was changed last, in seconds since the beginning of 1970
///   and nanoseconds, and its points;
/// - 32: the window outside of which nothing is of interest: low x, y, high x, y; infinite for none;
/// - 48: bounds of all points: low x, y, z, high x, y, z;
/// - for each attribute: least, greatest, 8 bytes of flags (1 has NaN, 2 multiples of 257, 4 of 256), the
/// bytes
///   of its name (4), and the name;
/// - 48 for each stretch: first (8), count (8), low x, y, high x, y;
/// - 8: digest of all bytes before it (io/system/Digest.h).
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <io/clouds/CloudIndex.h>
#include <io/system/FileState.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

struct FileIndex {
    /// The file as it was when its points were measured.
    std::uint64_t bytes = 0;
    FileTime modified = {};
    std::uint64_t points = 0;
    IndexWindow window;
    /// Attributes that were measured, as many as there are ranges.
    std::vector<std::string> fields;
    /// All stretches are of source 0.
    CloudIndex index;
};

/// Replaces an older file. Throws OutputError if that fails; then the older one stays.
TILEWRIGHT_API void writeIndex(const std::filesystem::path& path, const FileIndex& index);

/// Which stretches to keep.
using StretchTest = std::function<bool(const Stretch&)>;

/// Reads an index with the stretches that pass `wanted`, or all if that is empty. Others take no memory.
/// Throws InputError for what is no index, one that contradicts itself, and a damaged one.
TILEWRIGHT_API FileIndex readIndex(const std::filesystem::path& path, const StretchTest& wanted = {});

} // namespace Tilewright::Io
