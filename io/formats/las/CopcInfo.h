/// CopcInfo: the octree of a COPC file, which is a compressed LAS file with its points sorted into cubes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include <io/system/Bytes.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// A cube of the octree. Each level halves the sides of the cubes of the one above; the root has level 0.
struct CopcKey {
    static constexpr std::int32_t greatestLevel = 30;

    std::int32_t level = 0;
    std::array<std::int32_t, 3> place = {}; ///< x, y, z, each from 0 to 2^level - 1

    bool isValid() const noexcept;
    /// Whether this cube is `other` or lies inside it. Both are valid.
    bool isWithin(const CopcKey& other) const noexcept;

    auto operator<=>(const CopcKey&) const = default;
};

/// In the coordinates of the points. A point may lie a hair outside the box of its cube.
struct CopcBox {
    std::array<double, 3> low, high;
};

/// Once read, all numbers of the octree are finite, its sizes are positive, and the page lies in the file.
struct TILEWRIGHT_API CopcInfo {
    /// The variable length record that holds it, the first of the file.
    static constexpr std::string_view userId = "copc";
    static constexpr std::uint16_t recordId = 1;

    CopcBox box(const CopcKey& key) const;
    /// The distance of neighbouring points in a cube of `level`.
    double spacingAt(std::int32_t level) const;

    std::array<double, 3> centre = {};
    double halfSize = 0;
    double spacing = 0; ///< of the root's points
    ByteRange rootPage;
    double leastGpsTime = 0, greatestGpsTime = 0; ///< as the writer put them down
};

/// Whether a file is COPC, by its first 589 bytes or more.
TILEWRIGHT_API bool isCopc(std::span<const std::byte> file);

/// Reads and checks the contents of the record. Throws CodingError if they are not such contents.
TILEWRIGHT_API CopcInfo readCopcInfo(std::span<const std::byte> contents, std::uint64_t fileSize);

} // namespace Tilewright::Io
