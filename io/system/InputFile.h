/// InputFile: a regular file, open for reading.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include <io/system/ByteSource.h>

namespace Tilewright::Io {

class InputFile : public ByteSource {
public:
    /// Throws InputError for anything but a readable regular file with at least one byte.
    explicit InputFile(const std::filesystem::path& path);
    ~InputFile() override;

    const std::string& name() const noexcept override { return label; }
    /// When it was opened.
    std::uint64_t size() const noexcept override { return length; }
    int descriptor() const noexcept { return number; }

    std::size_t read(std::uint64_t offset, std::span<std::byte> room) const override;

private:
    std::string label;
    int number;
    std::uint64_t length = 0;
};

/// All of a document. Throws InputError as InputFile does, and for more than 1 GiB.
std::string readDocument(const std::filesystem::path& path);

} // namespace Tilewright::Io
