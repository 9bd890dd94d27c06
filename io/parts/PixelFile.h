/// PixelFile: the pixels of a part of a raster as a file, block after block as they were made.
///
/// All numbers are little-endian, and nothing lies between them:
///
/// - 8 bytes: the text `TWPIXELS`;
/// - 4: version of the format, 2;
/// - for each band of each block that has data: band (4), pixel type (4), column and row of the
///   north-western pixel, columns and rows (8 each), and the pixels row by row.
///
/// The blocks are in ascending order, row by row of the raster, and of a block its bands in theirs. So files
/// of parts that lie beside each other can be read together, row of blocks by row of blocks.
///
/// There is no trailer: the length of the file and its digest are in the receipt of the part.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <io/blocks/BlockSink.h>
#include <io/outputs/NewFile.h>
#include <io/system/Digest.h>
#include <io/system/ReopenedFile.h>

namespace Tilewright::Io {

/// What shows that a file is still as it was written.
struct FileSeal {
    std::uint64_t bytes = 0;
    std::uint64_t digest = 0;

    bool operator==(const FileSeal&) const = default;
};

/// Writes what it takes.
class PixelFileWriter : public BlockSink {
public:
    /// Throws OutputError as NewFile does, as do all other functions.
    explicit PixelFileWriter(const std::filesystem::path& path);

    void take(std::size_t band, const PixelWindow& window, const PixelSpan& pixels) override;
    /// Gives the file its name.
    FileSeal publish();

private:
    void write(std::span<const std::byte> bytes);

    NewFile File;
    Digest Sum;
    std::uint64_t Bytes = 0;
    std::vector<std::byte> Buffer;
};

/// Which pixels a file may have.
struct PixelFileShape {
    /// All are in it.
    PixelWindow place;
    /// Of each band.
    std::vector<PixelType> types;
};

using PixelVisitor =
    std::function<void(std::size_t band, const PixelWindow& window, const PixelSpan& pixels)>;

/// Reads a file from front to back. Keeps hardly any memory, and a descriptor only now and then, so that
/// thousands of files can be read at a time.
class PixelFileReader {
public:
    /// All functions throw InputError for a file that is not the one of the seal, which may show after its
    /// pixels were handed out, and for pixels that are not of that shape.
    PixelFileReader(const std::filesystem::path& path, const FileSeal& seal, PixelFileShape shape);

    /// Hands out the pixels that come next, up to the blocks that begin at this row of pixels or south of it.
    void readTo(std::uint64_t row, const PixelVisitor& visitor);
    /// To be called once all pixels were handed out.
    void finish() const;

private:
    /// What comes next.
    struct Frame {
        std::size_t band;
        PixelType type;
        PixelWindow window;
    };

    bool isAtEnd() const { return Offset == File->size(); }
    void take(std::span<std::byte> room);
    Frame takeFrame();
    template <class P> void takePixels(const PixelVisitor& visitor);
    [[noreturn]] void fail() const;

    std::unique_ptr<ReopenedFile> File;
    FileSeal Seal;
    PixelFileShape Shape;
    std::uint64_t Offset = 0;
    Digest Sum;
    std::optional<Frame> Next;
};

/// Whether the file is there and the one of the seal.
bool isIntact(const std::filesystem::path& path, const FileSeal& seal);

} // namespace Tilewright::Io
