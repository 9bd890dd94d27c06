/// IndexFile: the index of a cloud as a file, so that the cloud need not be measured again.
///
/// All numbers are little-endian, floating ones with 64 bits, and nothing lies between them:
///
/// - 8 bytes: the text `TWCINDEX`;
/// - 4: version of the format, 1;
/// - 4: number of ranges;
/// - 8: number of stretches;
/// - 8: points that are in no stretch;
/// - 48: bounds of all points: low x, y, z, high x, y, z;
/// - 24 for each range: least, greatest, and 8 bytes of flags: 1 has NaN, 2 multiples of 257, 4 of 256;
/// - 52 for each stretch: source (4), first (8), count (8), low x, y, high x, y;
/// - 8: digest of all bytes before it, FNV-1a with 64 bits.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>

#include <io/clouds/CloudIndex.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Replaces an older file. Throws OutputError if that fails; then the older one stays.
TILEWRIGHT_API void writeIndex(const std::filesystem::path& path, const CloudIndex& index);

/// Which stretches to keep.
using StretchTest = std::function<bool(const Stretch&)>;

/// Reads an index of a cloud whose sources have so many points each, with the stretches that pass `wanted`,
/// or all if that is empty. Others take no memory. Throws InputError for what is no index, or not one of that
/// cloud, and for a damaged one.
TILEWRIGHT_API CloudIndex readIndex(const std::filesystem::path& path,
                                    std::span<const std::uint64_t> pointsOfSources,
                                    const StretchTest& wanted = {});

} // namespace Tilewright::Io
