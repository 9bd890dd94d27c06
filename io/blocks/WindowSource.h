/// WindowSource: where the results of a raster's windows come from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include <io/blocks/WindowResult.h>

namespace Tilewright::Io {

/// A block of the raster: `across` and `down` count from the north-western corner.
struct Block {
    std::uint64_t across;
    std::uint64_t down;
    CellWindow window;
};

/// Several threads may call visit() at once.
class WindowSource {
public:
    using Visit = std::function<void(const WindowResult&)>;

    WindowSource() = default;
    WindowSource(const WindowSource&) = delete;
    WindowSource& operator=(const WindowSource&) = delete;
    virtual ~WindowSource() = default;

    /// A block is made in so many parts, which threads may work on at once.
    virtual std::size_t partsOfBlock() const = 0;

    /// Calls `visit` for windows of a part of the block, one after the other; windows without points are left
    /// out. Throws Interruption once stop() was called.
    virtual void visit(const Block& block, std::size_t part, const Visit& visit) = 0;

    /// Points of all windows of the raster, counted before they were rastered.
    virtual std::uint64_t wantedPoints() const = 0;

    /// Ends the work of other threads. Must not throw.
    virtual void stop() = 0;
};

} // namespace Tilewright::Io
