/// ByteSource: bytes that can be read at any place, of a file or of a part of memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <utility>

#include <io/system/Errors.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// The const operations may run on several threads at once.
class TILEWRIGHT_API ByteSource {
public:
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;

    /// What to call the source in a message.
    virtual const std::string& name() const noexcept = 0;
    virtual std::uint64_t size() const noexcept = 0;

    /// Reads from `offset` on into `room` and gives the number of bytes, less than asked for at the end
    /// alone. Throws InputError if the bytes can't be had.
    virtual std::size_t read(std::uint64_t offset, std::span<std::byte> room) const = 0;

    /// Fills `room`, which lies inside size(). Throws InputError too if the source has become shorter.
    void readAll(std::uint64_t offset, std::span<std::byte> room) const {
        if (read(offset, room) != room.size())
            throw InputError(name() + ": was cut short while it was read");
    }
};

/// Bytes in memory, which must stay.
class MemoryBytes : public ByteSource {
public:
    MemoryBytes(std::span<const std::byte> bytes, std::string name) : bytes(bytes), label(std::move(name)) {}

    const std::string& name() const noexcept override { return label; }
    std::uint64_t size() const noexcept override { return bytes.size(); }

    std::size_t read(std::uint64_t offset, std::span<std::byte> room) const override {
        const auto begin = static_cast<std::size_t>(std::min<std::uint64_t>(offset, bytes.size()));
        const std::size_t count = std::min(room.size(), bytes.size() - begin);
        if (count != 0)
            std::memcpy(room.data(), bytes.data() + begin, count);
        return count;
    }

private:
    std::span<const std::byte> bytes;
    std::string label;
};

} // namespace Tilewright::Io
