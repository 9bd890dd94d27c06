/// ChunkBytes: the bytes of a chunk, in memory or still in their file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>

#include <io/system/ByteSource.h>
#include <io/system/Bytes.h>

namespace Tilewright::Io {

class ChunkBytes {
public:
    ChunkBytes() = default;
    explicit ChunkBytes(std::span<const std::byte> bytes) : range{0, bytes.size()}, loaded(bytes) {}
    /// `range` lies inside `source`, which must stay. The more points are decoded at a time, the larger are
    /// the windows through which they are seen.
    ChunkBytes(const ByteSource& source, ByteRange range, std::size_t pointsAtATime = 512)
        : range(range), source(&source), points(pointsAtATime) {}

    std::uint64_t size() const noexcept { return range.length; }
    bool isInMemory() const noexcept { return source == nullptr; }
    /// Points to decode between two looks at the windows.
    std::size_t pointsAtATime() const noexcept { return points; }

    /// A part of a chunk in memory.
    std::span<const std::byte> slice(ByteRange part) const {
        return loaded.subspan(static_cast<std::size_t>(part.offset), static_cast<std::size_t>(part.length));
    }

    /// Fills `room` with what begins at `offset` of the chunk.
    void read(std::uint64_t offset, std::span<std::byte> room) const {
        if (source != nullptr)
            source->readAll(range.offset + offset, room);
        else
            std::memcpy(room.data(), slice({offset, room.size()}).data(), room.size());
    }

private:
    ByteRange range; ///< in the source
    const ByteSource* source = nullptr;
    std::span<const std::byte> loaded;
    std::size_t points = std::numeric_limits<std::size_t>::max();
};

} // namespace Tilewright::Io
