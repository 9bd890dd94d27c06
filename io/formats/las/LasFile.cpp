#include <io/formats/las/LasFile.h>

#include <algorithm>
#include <utility>

#include <io/formats/las/LasFields.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

/// Bytes of points that are worked on at a time: they stay in the cache from one attribute to the next.
constexpr std::uint64_t blockBytes = std::uint64_t{1} << 17;

/// Bytes after which pages are given back: enough to make the calls to the system cheap, and little beside
/// what the caller keeps.
constexpr std::uint64_t stretchBytes = std::uint64_t{1} << 22;

std::span<const std::byte> slice(const MappedFile& file, ByteRange range) {
    return file.bytes().subspan(static_cast<std::size_t>(range.offset),
                                static_cast<std::size_t>(range.length));
}

} // namespace

LasFile::LasFile(const std::filesystem::path& path) : LasFile(path, path.string()) {}

LasFile::LasFile(const std::filesystem::path& path, std::string name)
    : label(std::move(name)), file(path),
      head(readLasHeader(file.bytes(), label)), records{head.recordLength,
                                                        scaledCoordinates(head.scale, head.offset),
                                                        lasFields(head.pointFormat, head.recordLength,
                                                                  slice(file, head.extraBytes))} {
    file.checkWhole();
    if (head.isCompressed)
        throw InputError(label + ": is compressed (LAZ)");
}

std::string LasFile::coordinateSystem() const {
    std::string system = coordinateSystemOf(head, MemoryBytes(file.bytes(), label));
    file.checkWhole();
    return system;
}

void LasFile::release(std::uint64_t first, std::uint64_t count) const {
    file.release(head.pointOffset + first * head.recordLength, count * head.recordLength);
}

void LasFile::visitRecords(std::uint64_t first, std::uint64_t count, const RecordVisitor& visitor) const {
    const std::uint64_t recordsAtATime = blockBytes / head.recordLength;
    std::uint64_t position = head.pointOffset + first * head.recordLength;
    std::uint64_t kept = position;
    while (count != 0) {
        const std::uint64_t n = std::min(count, recordsAtATime);
        visitor(file.bytes().data() + position, static_cast<std::size_t>(n));
        position += n * head.recordLength;
        count -= n;
        if (position - kept >= stretchBytes || count == 0) {
            file.checkWhole();
            if (releasesPages)
                file.release(kept, position - kept);
            kept = position;
        }
    }
}

} // namespace Tilewright::Io
