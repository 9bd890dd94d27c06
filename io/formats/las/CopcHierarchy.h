/// CopcHierarchy: which chunk of a COPC file holds the points of which cube.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include <io/formats/las/CopcInfo.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// A cube with points of its own.
struct CopcNode {
    CopcKey key;
    ByteRange chunk; ///< in the file
    std::uint64_t pointCount = 0;
};

/// How to walk through the pages of a hierarchy, which may lie anywhere in the file.
struct CopcWalk {
    /// The bytes of a page, which stay until the next call. It lies inside the file.
    std::function<std::span<const std::byte>(ByteRange)> readPage;
    /// Whether a cube, or any inside it, matters. Pages of others are not read. Empty: all do.
    std::function<bool(const CopcKey&)> matters;
    /// All chunks lie here: after the pointer to the chunk table, before the table or the end of the file.
    ByteRange chunks;
    std::uint64_t fileSize = 0;
    std::uint64_t leastChunkBytes = 0; ///< CompressionRecord::leastChunkBytes(1)
};

/// The nodes that matter, in the order of their chunks. Throws CodingError for a hierarchy that contradicts
/// itself or the file; then no chunk outside of `walk.chunks`, no two nodes with a common byte, and no
/// endless walk come out of any bytes.
TILEWRIGHT_API std::vector<CopcNode> readCopcNodes(const CopcInfo& info, const CopcWalk& walk);

} // namespace Tilewright::Io
