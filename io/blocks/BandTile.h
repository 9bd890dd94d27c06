/// BandTile: the pixels of one band in one block, put together from windows.
#pragma once

#include <memory>

#include <io/blocks/BlockSink.h>
#include <io/blocks/JobBand.h>
#include <io/blocks/WindowResult.h>
#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

class BandTile {
public:
    virtual ~BandTile() = default;

    virtual void take(const WindowResult& result) = 0;
    /// Hands the block on as one of band `band`, and adds what there is to know of its values. Gives the
    /// number of cells whose values were cut.
    virtual std::uint64_t write(BlockSink& sink, std::size_t band, std::uint64_t rasterRows,
                                NoDataClash& clash) const = 0;
};

/// The library's cell types.
inline constexpr unsigned char cellWithData = 0;
inline constexpr unsigned char cellWithoutData = 1;

/// What cells without data are in a band of a file with the nodata value `blank`. Companions have a word for
/// them, also among bands that have none.
template <class P> P pixelWithoutData(JobBand::Source source, P blank) {
    using Source = JobBand::Source;
    const bool isZero = source == Source::Alpha || source == Source::Filled;
    return source == Source::CellType ? P(cellWithoutData) : isZero ? P() : blank;
}

/// Pixels without data for the cells of `block`.
std::unique_ptr<BandTile> makeBandTile(const JobBand& band, const RasterDescription& file,
                                       const CellWindow& block);

/// Whether a band has something to write where there are no points at all.
inline bool marksEmptyBlocks(const JobBand& band, const RasterDescription& file) {
    using Source = JobBand::Source;
    const bool isZero = band.source == Source::Alpha || band.source == Source::Filled;
    return band.source == Source::CellType || (isZero && file.nodata.has_value());
}

} // namespace Tilewright::Io
