/// MappedFile: a whole file as read-only memory.
///
/// Point files are larger than memory more often than not. A map lets the system page them in as they are
/// walked, and pages that have been walked can be given back, so that memory use follows the reader's stride
/// and not the file.
///
/// 1. The file is a regular file and not empty.
/// 2. `bytes()` stays at its address until the map is destroyed, also when the map is moved.
///
/// All const operations may run on several threads at once. A file that another program shortens while it is
/// mapped cannot be guarded against: touching the lost part ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

namespace Tilewright::Io {

class MappedFile {
public:
    /// Throws InputError for anything but a readable regular file with at least one byte.
    explicit MappedFile(const std::filesystem::path& path);
    ~MappedFile();

    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&& other) noexcept;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    std::span<const std::byte> bytes() const noexcept { return content; }
    std::uint64_t size() const noexcept { return content.size(); }

    /// Gives the pages that hold these bytes back to the system. They stay readable: the next touch fetches
    /// them again. What lies beyond the file is ignored.
    void release(std::uint64_t offset, std::uint64_t length) const noexcept;

private:
    void advise(std::uint64_t offset, std::uint64_t length, int advice) const noexcept;

    std::span<const std::byte> content;
};

} // namespace Tilewright::Io
