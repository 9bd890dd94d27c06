/// PixelFile: the pixels of a part of a raster as a file, block after block as they were made.
///
/// All numbers are little-endian, and nothing lies between them:
///
/// - 8 bytes: the text `TWPIXELS`;
/// - 4: version of the format, 2;
/// - for each band of each block that has data: band (4), pixel type (4), column and row of the
///   north-western pixel, columns and rows (8 each), and the pixels row by row.
///
/// There is no trailer: the length of the file and its digest are in the receipt of the part.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <vector>

#include <io/blocks/BlockSink.h>
#include <io/outputs/NewFile.h>
#include <io/system/Digest.h>

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
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    /// Of each band.
    std::vector<PixelType> types;
};

using PixelVisitor =
    std::function<void(std::size_t band, const PixelWindow& window, const PixelSpan& pixels)>;

/// Hands out all pixels of a file. Throws InputError for a file that is not the one of the seal, which may
/// show after its pixels were handed out, and for pixels that are not of that shape.
void readPixelFile(const std::filesystem::path& path, const FileSeal& seal, const PixelFileShape& shape,
                   const PixelVisitor& visitor);

/// Whether the file is there and the one of the seal.
bool isIntact(const std::filesystem::path& path, const FileSeal& seal);

} // namespace Tilewright::Io
