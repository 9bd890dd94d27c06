/// FileState: what the system says of a file, as far as a change of its contents shows there.
#pragma once

#include <cstdint>
#include <filesystem>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// A moment, counted from the beginning of 1970.
struct FileTime {
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;

    bool operator==(const FileTime&) const = default;
};

struct TILEWRIGHT_API FileState {
    std::filesystem::path path;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    /// When the contents last changed. Programs can set it.
    FileTime modified = {};
    /// When anything about the file last changed, which no program can set.
    FileTime changed = {};

    bool operator==(const FileState&) const = default;
};

/// Throws InputError for a file that cannot be found.
TILEWRIGHT_API FileState stateOf(const std::filesystem::path& path);

} // namespace Tilewright::Io
