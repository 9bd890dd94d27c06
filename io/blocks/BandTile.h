/// BandTile: the pixels of one band in one block, put together from windows.
#pragma once

#include <memory>
#include <span>
#include <string>

#include <io/blocks/BlockSink.h>
#include <io/blocks/JobBand.h>
#include <io/blocks/WindowLayout.h>
#include <tilewright/arrays/MemArray.h>
#include <tilewright/model/Grid.h>

namespace Tilewright::Io {

/// What the library made of a window.
struct WindowResult {
    CellWindow window;
    Quill::RepresentationPtr fields;
    /// Cells along x of the library's arrays, which have a rim around the window.
    std::uint64_t stride;
    const unsigned char* cellTypes;
    const unsigned short* densities;
    /// Of the window without its rim.
    std::span<const std::uint32_t> counts;

    /// Where a cell of the window lies in the library's arrays.
    std::uint64_t place(std::uint64_t column, std::uint64_t row) const {
        return (row + WindowLayout::rim) * stride + column + WindowLayout::rim;
    }
    /// An array of the library, null for a field that has none.
    Quill::ArrayPtr array(const std::string& field) const;
};

class BandTile {
public:
    virtual ~BandTile() = default;

    virtual void take(const WindowResult& result) = 0;
    /// Hands the block on as one of band `band`, and adds what there is to know of its values. Gives the
    /// number of cells whose values were cut.
    virtual std::uint64_t write(BlockSink& sink, std::size_t band, std::uint64_t rasterRows,
                                NoDataClash& clash) const = 0;
};

/// Pixels without data for the cells of `block`.
std::unique_ptr<BandTile> makeBandTile(const JobBand& band, const RasterDescription& file,
                                       const CellWindow& block);

/// Whether a band has something to write where there are no points at all.
inline bool marksEmptyBlocks(const JobBand& band, const RasterDescription& file) {
    return band.source == JobBand::Source::CellType ||
           (band.source == JobBand::Source::Alpha && file.nodata.has_value());
}

} // namespace Tilewright::Io
