/// RasterBlocks: writes windows of pixels to a blocked raster file, block by block. Private to the writer.
///
/// If a window covers a block, the block is written at once; blocks that come in parts wait until they are
/// complete. GDAL's own cache could do the latter too, but all files and threads of the process share it, so
/// that the order of the blocks in the file would depend on what else happens.
///
/// 1. The order of the bytes in the file depends on the order of the windows alone.
/// 2. A block that receives only the nodata value (zero if there is none) is not written: it takes no space
/// and
///    reads back as that value. Blocks of alpha beside a nodata value are always written.
/// 3. If the pixels of several bands are stored side by side, a block is complete when all bands have come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include <gdal_priv.h>

#include <io/rasters/HoleFilling.h>
#include <io/rasters/PixelTally.h>
#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

/// All operations throw std::runtime_error with GDAL's reason if the file cannot grow.
class RasterBlocks {
public:
    virtual ~RasterBlocks() = default;

    /// Writes to the empty `dataset`, which has to live longer.
    static std::unique_ptr<RasterBlocks> over(GDALDataset& dataset, const RasterDescription& description);

    /// Writes all incomplete blocks.
    virtual void flush() = 0;
    /// Receives which pixels of a rectangle of a band were filled, row by row.
    using FilledVisitor =
        std::function<void(std::size_t band, const PixelRectangle& place, const std::vector<char>& isFilled)>;
    /// Fills pixels without data up to `distance` pixels from data. Makes its working files in `folder`.
    /// flush() has to be called before.
    virtual void fill(double distance, const std::filesystem::path& folder, const FilledVisitor& visit) = 0;
    /// Writes 1 for the pixels that were filled, else 0.
    virtual void mark(std::size_t band, const PixelRectangle& place, const std::vector<char>& isFilled) = 0;
    /// Covers everything that has been written to the file.
    virtual BandStatistics statistics(std::size_t band) const = 0;
};

template <class T> class RasterBlocksOf : public RasterBlocks {
public:
    RasterBlocksOf(GDALDataset& dataset, const RasterDescription& description);

    /// The window lies in the raster, and the values fill it.
    void write(std::size_t band, std::uint64_t column, std::uint64_t row, std::uint64_t columns,
               std::uint64_t rows, const T* values);
    void flush() override;
    void fill(double distance, const std::filesystem::path& folder, const FilledVisitor& visit) override;
    void mark(std::size_t band, const PixelRectangle& place, const std::vector<char>& isFilled) override;
    BandStatistics statistics(std::size_t band) const override;

private:
    using Planes = std::vector<T>; ///< one or all bands of a block, one after the other

    /// A block that waits for the rest of its pixels.
    struct Unit {
        Planes planes;
        std::uint64_t missing;
    };
    using Rectangle = PixelRectangle;

    std::uint64_t unitOf(std::size_t band, std::uint64_t block) const {
        return bandsPerUnit == 1 ? band * blocks + block : block;
    }
    std::size_t firstBandOf(std::uint64_t unit) const {
        return bandsPerUnit == 1 ? static_cast<std::size_t>(unit / blocks) : 0;
    }
    Rectangle rectangleOf(std::uint64_t block) const;
    bool holds(std::uint64_t unit, std::optional<std::size_t> band) const;
    bool hasHoles(std::size_t band) const;
    bool isAbsent(std::span<const T> planes) const;
    Planes emptyPlanes(std::uint64_t unit) const;

    void read(std::size_t band, std::uint64_t block, T* plane);
    void write(std::size_t band, std::uint64_t block, const T* plane);
    void put(std::uint64_t unit, std::span<const T> planes);
    void putAside(std::size_t band, std::uint64_t block, const Rectangle& part, const T* values,
                  std::uint64_t stride);
    void copyInto(T* plane, std::uint64_t block, const Rectangle& part, const T* values,
                  std::uint64_t stride) const;
    void tally(std::uint64_t unit, std::span<const T> planes);

    void fillBand(std::size_t band, double distance, const std::filesystem::path& folder,
                  const FilledVisitor& visit);
    void readWithHoles(std::size_t band, std::uint64_t block, Planes& plane, std::vector<char>& isHole);
    /// Reads the row of blocks that begins with block `first`, NaN for holes.
    void copyHoles(std::size_t band, std::uint64_t first, double* rows);
    void copyFilled(std::size_t band, std::uint64_t first, const double* rows, const FilledVisitor& visit);

    GDALDataset& dataset;
    std::uint64_t width;
    std::uint64_t height;
    std::uint64_t blockWidth;
    std::uint64_t blockHeight;
    std::uint64_t blocksAcross;
    std::uint64_t blocks;
    std::size_t bands;
    std::size_t bandsPerUnit;
    std::optional<T> nodata;
    /// Pixels of blocks that are not in the file read as this.
    T absent;
    std::optional<std::size_t> alphaBand;
    /// Without a nodata value, alpha says where data are.
    bool alphaIsMask;
    Filling filling;
    std::vector<bool> isCategory; ///< by band

    std::map<std::uint64_t, Unit> waiting;
    std::vector<bool> written;                    ///< by unit
    std::vector<std::vector<PixelTally>> tallies; ///< by band and block
    std::vector<std::uint64_t> filledHoles;       ///< pixels, by band
};

} // namespace Tilewright::Io
