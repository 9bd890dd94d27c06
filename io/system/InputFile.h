/// InputFile: a regular file, open for reading.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace Tilewright::Io {

class InputFile {
public:
    /// Throws InputError for anything but a readable regular file with at least one byte.
    explicit InputFile(const std::filesystem::path& path);
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    const std::string& name() const noexcept { return label; }
    /// When it was opened.
    std::uint64_t size() const noexcept { return length; }
    int descriptor() const noexcept { return number; }

    /// Reads from `offset` on into `room` and gives the number of bytes, less than asked for at the end of
    /// the file alone. Throws InputError if the device fails.
    std::size_t read(std::uint64_t offset, std::span<std::byte> room) const;

private:
    std::string label;
    int number;
    std::uint64_t length = 0;
};

} // namespace Tilewright::Io
