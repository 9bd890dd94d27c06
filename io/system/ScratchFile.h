/// ScratchFile: room on disk for what doesn't fit into memory.
///
/// The file has no name from its beginning: however the process ends, nothing of it is left behind.
///
/// Different stretches may be written and read on several threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

#include <tilewright/export.h>

namespace Tilewright::Io {

class TILEWRIGHT_API ScratchFile {
public:
    /// Throws OutputError if the folder takes no file.
    explicit ScratchFile(const std::filesystem::path& folder);
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile();

    /// Throws OutputError if not all of it could be written, as on a full disk.
    void write(std::uint64_t offset, std::span<const std::byte> bytes);
    /// Fills `bytes`, which must have been written. Throws InputError if that fails.
    void read(std::uint64_t offset, std::span<std::byte> bytes) const;

private:
    std::filesystem::path folder;
    int descriptor;
};

} // namespace Tilewright::Io
