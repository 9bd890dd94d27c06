#include <io/blocks/BlockSink.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <io/rasters/PixelTypes.h>
#include <io/rasters/RasterWriter.h>

namespace Tilewright::Io {

namespace {

template <class T> T blankOf(const std::optional<NoData>& nodata) {
    const std::optional<T> blank = nodata ? asPixel<T>(*nodata) : T();
    if (!blank)
        throw std::invalid_argument("MemorySink: the nodata value is none of the pixel type");
    return *blank;
}

} // namespace

PixelWindow pixelsOf(const BlockRectangle& blocks, const RasterGeometry& raster) {
    constexpr std::uint64_t side = BlockLattice::blockSide;
    return {blocks.west * side, blocks.north * side,
            std::min(blocks.east * side, raster.width) - blocks.west * side,
            std::min(blocks.south * side, raster.height) - blocks.north * side};
}

std::size_t BlockSink::queueOf(std::size_t) const { return 0; }

void FileSink::take(std::size_t band, const PixelWindow& window, const PixelSpan& pixels) {
    const JobBand& to = Bands[band];
    std::visit(
        [&]<class T>(std::span<const T> values) {
            Writers[to.file].write<T>(to.number, window.column, window.row, window.columns, window.rows,
                                      values);
        },
        pixels);
}

MemorySink::MemorySink(const PixelWindow& part, std::vector<Band> bands)
    : Part(part), Bands(std::move(bands)) {
    for (const Band& band : Bands)
        std::visit(
            [&]<class T>(std::span<T> room) {
                if (room.size() != Part.pixels())
                    throw std::invalid_argument("MemorySink: an array has another size than the part");
                std::ranges::fill(room, blankOf<T>(band.nodata));
            },
            band.room);
}

void MemorySink::take(std::size_t band, const PixelWindow& window, const PixelSpan& pixels) {
    const std::uint64_t west = std::max(window.column, Part.column);
    const std::uint64_t east = std::min(window.column + window.columns, Part.column + Part.columns);
    const std::uint64_t north = std::max(window.row, Part.row);
    const std::uint64_t south = std::min(window.row + window.rows, Part.row + Part.rows);
    if (west >= east)
        return;
    std::visit(
        [&]<class T>(std::span<const T> values) {
            const auto* const room = std::get_if<std::span<T>>(&Bands[band].room);
            if (!room)
                throw std::invalid_argument("MemorySink: pixels of another type than the array");
            for (std::uint64_t row = north; row < south; ++row)
                std::ranges::copy(
                    values.subspan((row - window.row) * window.columns + west - window.column, east - west),
                    room->begin() +
                        static_cast<std::ptrdiff_t>((row - Part.row) * Part.columns + west - Part.column));
        },
        pixels);
}

} // namespace Tilewright::Io
