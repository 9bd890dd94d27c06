/// BlockSink: where the pixels of a raster go as they are finished.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include <io/blocks/BlockLattice.h>
#include <io/blocks/JobBand.h>
#include <io/rasters/RasterDescription.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

class RasterWriter;

/// A rectangle of pixels. Columns count from the west and rows from the north, both from 0.
struct PixelWindow {
    std::uint64_t column = 0;
    std::uint64_t row = 0;
    std::uint64_t columns = 0;
    std::uint64_t rows = 0;

    std::uint64_t pixels() const { return columns * rows; }
};

/// The pixels of blocks of the raster.
TILEWRIGHT_API PixelWindow pixelsOf(const BlockRectangle& blocks, const RasterGeometry& raster);

/// Pixels of one type, row by row from north to south. The alternatives are in the order of PixelType.
using PixelSpan =
    std::variant<std::span<const float>, std::span<const double>, std::span<const unsigned char>,
                 std::span<const unsigned short>, std::span<const unsigned int>,
                 std::span<const unsigned long long>, std::span<const int>>;

/// Room for such pixels.
using PixelRoom =
    std::variant<std::span<float>, std::span<double>, std::span<unsigned char>, std::span<unsigned short>,
                 std::span<unsigned int>, std::span<unsigned long long>, std::span<int>>;

template <class Variant> PixelType typeOf(const Variant& pixels) {
    return static_cast<PixelType>(pixels.index());
}

/// Takes the bands of each queue block after block in ascending order, and of a block its bands in theirs;
/// from several threads, but never from two at once. Bands of different queues may come at once.
class TILEWRIGHT_API BlockSink {
public:
    BlockSink() = default;
    BlockSink(const BlockSink&) = delete;
    BlockSink& operator=(const BlockSink&) = delete;
    virtual ~BlockSink() = default;

    /// `band` is a number of RasterJob::bands; `pixels` fill the window, a block of the raster, in the type
    /// of the band's file. Blocks in which no cell has data may be left out: their pixels are the nodata
    /// value, or 0 where there is none. What is thrown here ends the job.
    virtual void take(std::size_t band, const PixelWindow& window, const PixelSpan& pixels) = 0;
    /// The queue of a band; they count from 0 without gaps. One for all, unless the sink can do better.
    virtual std::size_t queueOf(std::size_t band) const;
};

/// Writes each band into the file that JobBand names. Both arguments must outlive the sink.
class TILEWRIGHT_API FileSink : public BlockSink {
public:
    FileSink(std::vector<RasterWriter>& writers, const std::vector<JobBand>& bands)
        : Writers(writers), Bands(bands) {}

    void take(std::size_t band, const PixelWindow& window, const PixelSpan& pixels) override;
    /// Files don't know of one another.
    std::size_t queueOf(std::size_t band) const override { return Bands[band].file; }

private:
    std::vector<RasterWriter>& Writers;
    const std::vector<JobBand>& Bands;
};

/// Fills arrays of the caller, one per band, with the pixels of a part of the raster.
class TILEWRIGHT_API MemorySink : public BlockSink {
public:
    struct Band {
        /// As many pixels as the part has, row by row from the north-western one.
        PixelRoom room;
        std::optional<NoData> nodata;
    };

    /// Fills the arrays with what pixels without data are. Throws std::invalid_argument for an array of
    /// another size than that of the part, and for a nodata value that is none of its type.
    MemorySink(const PixelWindow& part, std::vector<Band> bands);

    /// Pixels outside the part are dropped. Throws std::invalid_argument for pixels of another type than that
    /// of the array.
    void take(std::size_t band, const PixelWindow& window, const PixelSpan& pixels) override;

private:
    PixelWindow Part;
    std::vector<Band> Bands;
};

} // namespace Tilewright::Io
