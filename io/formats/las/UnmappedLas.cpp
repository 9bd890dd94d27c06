#include <io/formats/las/UnmappedLas.h>

#include <algorithm>
#include <utility>
#include <vector>

#include <io/formats/las/LasFields.h>

namespace Tilewright::Io {

namespace {

/// Read at a time: far more than a request costs.
constexpr std::uint64_t stretchBytes = std::uint64_t{1} << 20;
/// Handed out at a time, to stay in the processor's cache.
constexpr std::uint64_t pieceBytes = std::uint64_t{1} << 17;

} // namespace

UnmappedLas::UnmappedLas(std::unique_ptr<ByteSource> source)
    : file(std::move(source)),
      head(readLasHeader(*file)), records{head.recordLength, scaledCoordinates(head.scale, head.offset),
                                          lasFields(head.pointFormat, head.recordLength,
                                                    readRecord(*file, head.extraBytes))} {
    if (head.isCompressed)
        throw InputError(name() + ": is compressed (LAZ)");
}

void UnmappedLas::visitRecords(std::uint64_t first, std::uint64_t count, const RecordVisitor& visitor) const {
    const std::uint64_t length = head.recordLength;
    const std::uint64_t recordsInPiece = pieceBytes / length;
    std::vector<std::byte> bytes(static_cast<std::size_t>(std::min(count, stretchBytes / length) * length));
    while (count != 0) {
        const std::uint64_t loaded = std::min<std::uint64_t>(count, bytes.size() / length);
        file->readAll(head.pointOffset + first * length,
                      std::span(bytes).first(static_cast<std::size_t>(loaded * length)));
        for (std::uint64_t begin = 0; begin < loaded; begin += recordsInPiece)
            visitor(bytes.data() + begin * length,
                    static_cast<std::size_t>(std::min(recordsInPiece, loaded - begin)));
        first += loaded;
        count -= loaded;
    }
}

} // namespace Tilewright::Io
