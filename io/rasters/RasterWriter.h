/// RasterWriter: writes a raster file window by window. The file appears complete or not at all.
///
/// Writes a hidden tiled GeoTIFF beside the output. Everything else (another format, overviews, filled holes)
/// is made from that file when it is closed.
///
/// 1. All files are made in a hidden folder in the folder of the output. The output appears by one rename,
/// complete,
///    or not at all; until then an existing file of this name remains. The guard decides what may be
///    replaced, before anything is made and again at the end.
/// 2. A writer that ends before publish() removes its hidden folder.
/// 3. A GeoTIFF is one file, unless a creation option asks for more. Other formats may have files beside the
/// main
///    one. Side files (.aux.xml, .ovr, .msk, .prj) that describe an older output of that name are removed.
/// 4. A GeoTIFF is sparse: a block that receives only the nodata value (zero if there is none) takes no space
/// and
///    reads back as that value. It becomes a BigTIFF if it could outgrow 4 GB.
/// 5. The order of the bytes in the file depends on the order of the windows alone.
/// 6. Copies that a driver makes are read back and compared, because not every driver notices a full disk.
/// 7. GDAL prints nothing. Its messages become the one line of an OutputError that starts with the path.
///
/// For several files that belong together, close() all of them before the first publish(), or call
/// finishAll(): then a full disk leaves none of them behind.
///
/// Only one thread may use a writer at a time; different writers may work on different threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <io/outputs/OutputGuard.h>
#include <io/rasters/RasterDescription.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

class HiddenFolder;

class TILEWRIGHT_API RasterWriter {
public:
    /// Creates the hidden file. Throws UsageError for a driver or a creation option that GDAL does not have,
    /// and OutputError if the folder is not writable, if an axis has no pixel or more than 2^31-1, if the
    /// pixel size is not positive, if the nodata value is not a value of the pixel type, if GDAL does not
    /// understand the coordinate system, if the format cannot hold such a raster, or if the guard protects a
    /// file that would have to be replaced. Without a guard older rasters are replaced.
    RasterWriter(const std::filesystem::path& path, const RasterDescription& description,
                 const OutputGuard& guard);
    RasterWriter(const std::filesystem::path& path, const RasterDescription& description);
    RasterWriter(RasterWriter&&) noexcept;
    RasterWriter& operator=(RasterWriter&&) noexcept;
    ~RasterWriter();

    /// Writes `columns` x `rows` pixels of band `band`, counted from 0, with their upper left corner at
    /// (column, row). Row 0 is the northernmost; `values` holds the rows from north to south, each from west
    /// to east. Throws std::invalid_argument if T is not the pixel type, there is no such band, the window
    /// leaves the raster, or the span has another length. Throws OutputError if the file cannot grow; after
    /// that the writer is unusable.
    ///
    /// Windows of whole blocks are fastest. A block that comes in several windows waits in memory until it is
    /// complete, and one of colours until all bands have come, up to 64 MB in total.
    template <PixelValue T>
    void write(std::size_t band, std::uint64_t column, std::uint64_t row, std::uint64_t columns,
               std::uint64_t rows, std::span<const T> values);

    /// Adds a key and text to the metadata of the file. Must come before close().
    void addMetadata(const std::string& key, const std::string& text);

    /// Pixels of `band` that are filled on closing become 1 in band `marked` of `other`, which is open as
    /// long as this writer, or is this writer. Must come before close().
    void markFilled(std::size_t band, RasterWriter& other, std::size_t marked);

    /// Finishes the hidden file with its statistics and overviews. Throws OutputError if any of it did not
    /// reach the disk. May be repeated.
    void close();
    /// The statistics of a band of the closed file.
    BandStatistics statistics(std::size_t band) const;
    /// The hidden name of the closed file, which GDAL can read until publish().
    const std::filesystem::path& hiddenPath() const;

    /// Gives the closed file its name and replaces an older one if the guard allows it. Throws OutputError if
    /// it does not, or if the system refuses; then everything is as before. Throws std::logic_error before
    /// close(). Repeating it does nothing.
    void publish();

    const std::filesystem::path& path() const;
    /// The final places of all files that publish() moves, path() included.
    const std::vector<std::filesystem::path>& places() const;

private:
    friend void finishAll(std::span<RasterWriter> writers, HiddenFolder* other, unsigned threads);

    class Output;
    std::unique_ptr<Output> output;
};

/// Finishes files that belong together: publishes them only after all are closed without an error, and takes
/// published ones back if a later one fails.
TILEWRIGHT_API void finishAll(std::span<RasterWriter> writers);

/// The same on several threads, and with a file of another kind, which comes last and may be null. Not for
/// clients.
void finishAll(std::span<RasterWriter> writers, HiddenFolder* other, unsigned threads);

} // namespace Tilewright::Io
