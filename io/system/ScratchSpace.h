/// ScratchSpace: room for what has to be kept while the program runs, shared by all who need some. The first
/// of it is in memory, the rest in one scratch file: a cloud may come in thousands of files, and neither
/// memory nor open files may grow with their number.
///
/// All operations may run on several threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include <io/system/ScratchFile.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Bytes that are kept: in memory, or else at a place of the scratch file.
struct ScratchStretch {
    const std::byte* memory;
    std::uint64_t offset;
};

class TILEWRIGHT_API ScratchSpace {
public:
    /// The scratch file is made when memory is not enough, in this folder.
    explicit ScratchSpace(std::filesystem::path folder);

    const std::filesystem::path& folder() const noexcept { return path; }

    /// Keeps a copy of `bytes` as long as the space lives. Throws OutputError as ScratchFile does.
    ScratchStretch keep(std::span<const std::byte> bytes);

    /// Gives the bytes of a stretch from its byte `first` on, as many as `room` has. They lie there, or in
    /// memory where they are kept. Throws InputError if the scratch file can't be read.
    const std::byte* read(const ScratchStretch& stretch, std::uint64_t first,
                          std::span<std::byte> room) const;

private:
    std::filesystem::path path;
    std::mutex mutex;
    std::vector<std::unique_ptr<std::byte[]>> inMemory;
    std::size_t usedMemory = 0;
    std::optional<ScratchFile> file;
    std::uint64_t usedFile = 0;
};

} // namespace Tilewright::Io
