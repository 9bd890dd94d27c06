/// NewFile: a file that appears complete or not at all.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>

namespace Tilewright::Io {

/// Is written under a hidden name beside its own. Goes away with the object unless it was published.
class NewFile {
public:
    /// Throws OutputError if the folder takes no file.
    explicit NewFile(const std::filesystem::path& path);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile();

    /// Throws OutputError if not all of it could be written, as on a full disk.
    void write(std::span<const std::byte> bytes);
    /// Brings the file to the disk and gives it its name, in the place of an older one. Throws OutputError if
    /// that fails; then the older one is as before.
    void publish();

private:
    [[noreturn]] void fail(int code) const;

    std::filesystem::path Path;
    std::filesystem::path Hidden;
    int Descriptor = -1;
};

} // namespace Tilewright::Io
