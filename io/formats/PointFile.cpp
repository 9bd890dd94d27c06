#include <io/formats/PointFile.h>

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <utility>

#include <io/formats/PdalReader.h>
#include <io/formats/PlyReader.h>
#include <io/formats/ReadOptions.h>
#include <io/formats/TextReader.h>
#include <io/formats/VectorReader.h>
#include <io/formats/las/LasFile.h>
#include <io/formats/las/LazFile.h>
#include <io/formats/las/UnmappedLas.h>
#include <io/gdal/VirtualFile.h>
#include <io/system/InputFile.h>
#include <io/system/ReopenedFile.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// What makes a file of a folder a point file.
constexpr std::array extensions = {".las", ".laz", ".ply",  ".xyz",     ".txt", ".csv", ".asc", ".pts",
                                   ".tsv", ".shp", ".gpkg", ".geojson", ".fgb", ".e57", ".pcd"};

/// What makes a file a text with points. Texts have no other mark.
constexpr std::array textExtensions = {".xyz", ".txt", ".csv", ".asc", ".pts", ".tsv"};

std::string lowerExtension(const fs::path& path) {
    std::string extension = path.extension().string();
    std::ranges::transform(extension, extension.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return extension;
}

/// As many as identify the kind of a file.
std::string firstBytes(const ByteSource& file) {
    std::string bytes(227, '\0');
    bytes.resize(file.read(0, std::as_writable_bytes(std::span(bytes))));
    return bytes;
}

bool isCompressed(const std::string& head) { return isCompressedLas(std::as_bytes(std::span(head))); }

std::unique_ptr<PointSource> openLas(const fs::path& path, const ReadOptions& options) {
    if (!options.mapsFiles)
        return std::make_unique<UnmappedLas>(std::make_unique<ReopenedFile>(path));
    auto file = std::make_unique<LasFile>(path);
    if (options.keepPages)
        file->keepPages();
    return file;
}

/// What can be read by ranges, or by GDAL itself.
std::unique_ptr<PointSource> openVirtual(const fs::path& path, const ReadOptions& options) {
    auto file = std::make_unique<VirtualFile>(path);
    const std::string head = firstBytes(*file);
    if (head.starts_with("LASF") && isCompressed(head))
        return std::make_unique<LazFile>(std::move(file));
    if (head.starts_with("LASF"))
        return std::make_unique<UnmappedLas>(std::move(file));
    if (auto vector = readVector(path, options))
        return vector;
    throw InputError(
        path.string() +
        ": is of no kind that can be read from there: LAS, LAZ, COPC or a vector file; copy it to "
        "a disk first");
}

} // namespace

ReadOptions readOptionsOf(const CloudOptions& options) {
    return {std::make_shared<ScratchSpace>(options.scratch), options.keepPages, true, options.report};
}

std::unique_ptr<PointSource> openPartOfCloud(const fs::path& path, const ReadOptions& options) {
    if (isVirtualPath(path))
        return openVirtual(path, options);
    const std::string head = firstBytes(InputFile(path));
    const std::string extension = lowerExtension(path);
    if (head.starts_with("LASF") && isCompressed(head))
        return std::make_unique<LazFile>(std::make_unique<ReopenedFile>(path));
    // By its name too, as the reader says best what is wrong with it.
    if (head.starts_with("LASF") || extension == ".las" || extension == ".laz")
        return openLas(path, options);
    if (head.starts_with("ply\n") || head.starts_with("ply\r\n"))
        return readPly(path, options);
    if (std::ranges::find(textExtensions, extension) != textExtensions.end())
        return readText(path, options);
    if (auto vector = readVector(path, options))
        return vector;
    return readWithPdal(path, options);
}

std::unique_ptr<PointSource> openPointFile(const fs::path& path, const CloudOptions& options) {
    return openPartOfCloud(path, readOptionsOf(options));
}

bool isPointFileName(const fs::path& path) {
    return std::ranges::find(extensions, lowerExtension(path)) != extensions.end();
}

} // namespace Tilewright::Io
