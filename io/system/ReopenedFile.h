/// ReopenedFile: a regular file that is opened when it is read, and closed when others need its descriptor,
/// so that a cloud of thousands of files needs no more than a few dozen of them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include <io/system/ByteSource.h>
#include <io/system/FileState.h>

namespace Tilewright::Io {

class InputFile;

class ReopenedFile : public ByteSource {
public:
    /// Files that stay open at a time, of all objects together.
    static constexpr std::size_t mostOpenFiles = 64;

    /// As InputFile.
    explicit ReopenedFile(const std::filesystem::path& path);
    ~ReopenedFile() override;

    const std::string& name() const noexcept override { return label; }
    /// When the object was made.
    std::uint64_t size() const noexcept override { return state.size; }

    /// Throws InputError too if another file has taken the place of this one by the time that it is opened.
    std::size_t read(std::uint64_t offset, std::span<std::byte> room) const override;

private:
    std::shared_ptr<const InputFile> open() const;

    std::string label;
    FileState state;
};

} // namespace Tilewright::Io
