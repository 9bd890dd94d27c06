/// MappedFile: a whole file as read-only memory.
///
/// Point files are larger than memory more often than not. A map lets the system page them in as they are
/// walked, and pages that have been walked can be given back, so that memory use follows the reader's stride
/// and not the file.
///
/// 1. The file is a regular file and not empty.
/// 2. `bytes()` stays at its address until the map is destroyed, also when the map is moved.
/// 3. All of `bytes()` can be read at any time. Where another program has shortened the file meanwhile, or
/// the device fails, they are zeros, and checkWhole() says so. For that the first map installs a handler for
/// SIGBUS, which passes on what concerns no map.
///
/// All const operations may run on several threads at once.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

#include <sys/types.h>

#include <tilewright/export.h>

namespace Tilewright::Io {

class TILEWRIGHT_API MappedFile {
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

    /// Throws InputError if bytes that have been read were not those of the file. To be called after a read
    /// and before what was read is used.
    void checkWhole() const;

    /// Gives the pages that hold these bytes back to the system. They stay readable: the next touch fetches
    /// them again. What lies beyond the file is ignored.
    void release(std::uint64_t offset, std::uint64_t length) const noexcept;

private:
    void swap(MappedFile& other) noexcept;
    void advise(std::uint64_t offset, std::uint64_t length, int advice) const noexcept;

    std::filesystem::path path;
    dev_t device = 0;
    ino_t inode = 0;
    std::span<const std::byte> content;
    /// Set when bytes of this map turned out to be lost.
    const std::atomic<bool>* isDamaged = nullptr;
};

} // namespace Tilewright::Io
