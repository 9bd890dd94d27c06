#pragma once

#include <cstdint>
#include <vector>

namespace Tilewright {
namespace {

/// The points of one raster cell, as ordinals within their fragment, in ascending order. Every point is in at
/// most one cell.
struct MyCell {
    std::vector<std::uint32_t> PointIndices;
};

} // namespace
} // namespace Tilewright
