#include <fuzz/FileInput.h>
#include <io/formats/las/LazFile.h>
#include <io/system/InputFile.h>

namespace {

using namespace Tilewright;

/// A few bytes may stand for any number of points.
constexpr std::uint64_t mostPoints = 2000;

void checkPieces(const Io::LazFile& file) {
    std::uint64_t points = 0;
    for (const Io::SourcePiece& piece : file.pieces()) {
        Fuzz::require(piece.first == points && piece.count != 0, "pieces follow each other");
        points += piece.count;
    }
    Fuzz::require(points == file.pointCount(), "pieces cover all points");
}

std::unique_ptr<Io::PointSource> open(const std::filesystem::path& path) {
    auto file = std::make_unique<Io::LazFile>(std::make_unique<Io::InputFile>(path));
    checkPieces(*file);
    file->notes();
    if (file->pointCount() <= mostPoints)
        return file;
    file->bounds(0, mostPoints);
    throw Io::InputError("too many points to read them all");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return Fuzz::tryReader(data, size, open);
}
