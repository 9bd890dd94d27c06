/// ReopenedFile: a regular file that is opened anew for each read, so that a cloud of thousands of files
/// needs no more descriptors than it has threads.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include <io/system/ByteSource.h>
#include <io/system/FileState.h>

namespace Tilewright::Io {

class ReopenedFile : public ByteSource {
public:
    /// As InputFile.
    explicit ReopenedFile(const std::filesystem::path& path);

    const std::string& name() const noexcept override { return label; }
    /// When the object was made.
    std::uint64_t size() const noexcept override { return state.size; }

    /// Throws InputError too if another file has taken the place of this one.
    std::size_t read(std::uint64_t offset, std::span<std::byte> room) const override;

private:
    std::string label;
    FileState state;
};

} // namespace Tilewright::Io
