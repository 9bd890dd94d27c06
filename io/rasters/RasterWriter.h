/// RasterWriter: a raster file, written window by window, that appears complete or not at all.
///
/// The work goes into a hidden tiled GeoTIFF beside the output. What is asked for beyond it, another format,
/// overviews, filled holes, is made of that file when it is closed.
///
/// 1. The files come into being in a hidden folder in the folder of the output. The output appears by one
///    rename, complete, or not at all; until then a file that already has this name stays as it is. What may
///    be replaced the guard decides, before anything is made and again at the end.
/// 2. A writer that goes away before publish() takes its hidden folder along.
/// 3. A GeoTIFF is one file, unless a creation option asks for more; some formats have files beside the main
///    one. Side files (.aux.xml, .ovr, .msk, .prj) that describe an older output of that name are removed.
/// 4. A GeoTIFF is sparse: a block that receives nothing but the nodata value (zero, where there is none)
///    takes no space and reads back as that value. It becomes a BigTIFF where it could outgrow 4 GB.
/// 5. The order of the bytes in the file depends on the order of the windows alone.
/// 6. What a driver made by copying is read back and compared, as not every driver notices a full disk.
/// 7. GDAL prints nothing. What it has to say comes as the one line of an OutputError that starts with the
///    path.
///
/// For several files that belong together, close() all of them before the first publish(), or call
/// finishAll(): then a full disk leaves none of them behind.
///
/// One writer belongs to one thread at a time; different writers may work on different threads.
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
    /// Creates the hidden file. Throws UsageError for a driver or a creation option that GDAL does not know,
    /// and OutputError if the folder cannot be written, if an axis has no pixel or more than 2^31-1, if the
    /// pixel size is not positive, if the nodata value is none of the pixel type, if GDAL does not understand
    /// the coordinate system, if the format does not hold such a raster, or if the guard keeps a file that
    /// would have to be replaced. Without a guard older rasters are replaced.
    RasterWriter(const std::filesystem::path& path, const RasterDescription& description,
                 const OutputGuard& guard);
    RasterWriter(const std::filesystem::path& path, const RasterDescription& description);
    RasterWriter(RasterWriter&&) noexcept;
    RasterWriter& operator=(RasterWriter&&) noexcept;
    ~RasterWriter();

    /// Writes `columns` x `rows` pixels of band `band`, from 0, with their upper left corner at (column,
    /// row). Row 0 is the northernmost; `values` holds the rows from north to south, each from west to east.
    /// T is the pixel type: another type, a band that is none, a window that leaves the raster, or a span of
    /// another length is an std::invalid_argument. Throws OutputError if the file takes no more; the writer
    /// is of no use after that.
    ///
    /// Windows made of whole blocks are the fast ones. A block that comes in several windows waits in memory
    /// until it is complete, up to 64 MB of them; so do those of colours until all bands have come.
    template <PixelValue T>
    void write(std::size_t band, std::uint64_t column, std::uint64_t row, std::uint64_t columns,
               std::uint64_t rows, std::span<const T> values);

    /// One more key and text of the file, before close().
    void addMetadata(const std::string& key, const std::string& text);

    /// Finishes the hidden file, with statistics, overviews and all. Throws OutputError if any of it did not
    /// reach the disk. May be repeated.
    void close();
    /// Of a band of the closed file.
    BandStatistics statistics(std::size_t band) const;
    /// The closed file under its hidden name, to be read by GDAL until publish().
    const std::filesystem::path& hiddenPath() const;

    /// Gives the closed file its name, replacing an older one if it may. Throws OutputError if it may not, or
    /// if the system refuses; then all is as before. Calling it before close() is an std::logic_error;
    /// repeating it does nothing.
    void publish();

    const std::filesystem::path& path() const;
    /// The places of all files that publish() will put somewhere, path() among them.
    const std::vector<std::filesystem::path>& places() const;

private:
    friend void finishAll(std::span<RasterWriter> writers, HiddenFolder* other);

    class Output;
    std::unique_ptr<Output> output;
};

/// Finishes files that belong together: nothing is published before all are closed without an error, and what
/// was published is taken back if a later one can't be.
TILEWRIGHT_API void finishAll(std::span<RasterWriter> writers);

/// The same with a file of another kind, which comes last; it may be null. Not for clients.
void finishAll(std::span<RasterWriter> writers, HiddenFolder* other);

} // namespace Tilewright::Io
