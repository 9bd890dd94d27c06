#include <io/parts/PixelFile.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include <io/blocks/BlockLattice.h>
#include <io/rasters/PixelTypes.h>
#include <io/system/Bytes.h>
#include <io/system/Errors.h>
#include <io/system/InputFile.h>

namespace Tilewright::Io {

namespace {

constexpr std::string_view magic = "TWPIXELS";
constexpr std::uint32_t version = 2;
constexpr std::size_t headBytes = 12;
constexpr std::size_t frameBytes = 40;

template <class T> void append(std::vector<std::byte>& bytes, T value) {
    const std::size_t size = bytes.size();
    bytes.resize(size + sizeof(T));
    copyAsLittleEndian<sizeof(T)>(std::as_bytes(std::span(&value, 1)).data(), bytes.data() + size);
}

} // namespace

PixelFileWriter::PixelFileWriter(const std::filesystem::path& path) : File(path) {
    write(std::as_bytes(std::span(magic)));
    append(Buffer, version);
    write(Buffer);
}

void PixelFileWriter::write(std::span<const std::byte> bytes) {
    Sum.add(bytes);
    Bytes += bytes.size();
    File.write(bytes);
}

void PixelFileWriter::take(std::size_t band, const PixelWindow& window, const PixelSpan& pixels) {
    Buffer.clear();
    append(Buffer, static_cast<std::uint32_t>(band));
    append(Buffer, static_cast<std::uint32_t>(typeOf(pixels)));
    for (const std::uint64_t number : {window.column, window.row, window.columns, window.rows})
        append(Buffer, number);
    std::visit(
        [&]<class P>(std::span<const P> values) {
            const std::span<const std::byte> bytes = std::as_bytes(values);
            const std::size_t head = Buffer.size();
            Buffer.resize(head + bytes.size());
            for (std::size_t i = 0; i < bytes.size(); i += sizeof(P))
                copyAsLittleEndian<sizeof(P)>(bytes.data() + i, Buffer.data() + head + i);
        },
        pixels);
    write(Buffer);
}

FileSeal PixelFileWriter::publish() {
    File.publish();
    return {Bytes, Sum.value()};
}

PixelFileReader::PixelFileReader(const std::filesystem::path& path, const FileSeal& seal,
                                 PixelFileShape shape)
    : File(std::make_unique<ReopenedFile>(path)), Seal(seal), Shape(std::move(shape)) {
    std::array<std::byte, headBytes> head;
    if (File->size() != Seal.bytes || File->size() < head.size())
        fail();
    take(head);
    const auto name = std::as_bytes(std::span(magic));
    if (!std::ranges::equal(name, std::span(head).first(name.size())) ||
        loadLittleEndian<std::uint32_t>(head.data() + name.size()) != version)
        fail();
}

void PixelFileReader::readTo(std::uint64_t row, const PixelVisitor& visitor) {
    while (Next || !isAtEnd()) {
        if (!Next)
            Next = takeFrame();
        if (Next->window.row >= row)
            return;
        withPixelType(Next->type, [&]<class P>(P) { takePixels<P>(visitor); });
        Next.reset();
    }
}

void PixelFileReader::finish() const {
    if (!isAtEnd() || Sum.value() != Seal.digest)
        fail();
}

void PixelFileReader::take(std::span<std::byte> room) {
    if (File->read(Offset, room) != room.size())
        fail();
    Offset += room.size();
    Sum.add(room);
}

/// A wrong number must not become a wrong place or too much memory.
PixelFileReader::Frame PixelFileReader::takeFrame() {
    std::array<std::byte, frameBytes> bytes;
    take(bytes);
    const auto band = loadLittleEndian<std::uint32_t>(bytes.data());
    const auto type = loadLittleEndian<std::uint32_t>(bytes.data() + 4);
    const auto number = [&](std::size_t i) {
        return loadLittleEndian<std::uint64_t>(bytes.data() + 8 + 8 * i);
    };
    const PixelWindow window{number(0), number(1), number(2), number(3)};
    const auto fits = [](std::uint64_t first, std::uint64_t count, std::uint64_t low, std::uint64_t all) {
        return count <= BlockLattice::blockSide && first >= low && first - low <= all &&
               count <= all - (first - low);
    };
    const PixelWindow& place = Shape.place;
    if (band >= Shape.types.size() || type != static_cast<std::uint32_t>(Shape.types[band]) ||
        !fits(window.column, window.columns, place.column, place.columns) ||
        !fits(window.row, window.rows, place.row, place.rows))
        fail();
    return {band, Shape.types[band], window};
}

template <class P> void PixelFileReader::takePixels(const PixelVisitor& visitor) {
    std::vector<P> pixels(Next->window.pixels());
    const std::span<std::byte> bytes = std::as_writable_bytes(std::span(pixels));
    take(bytes);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = loadLittleEndian<P>(bytes.data() + i * sizeof(P));
    visitor(Next->band, Next->window, std::span<const P>(pixels));
}

void PixelFileReader::fail() const {
    throw InputError(File->name() + ": is damaged; make this part once more");
}

bool isIntact(const std::filesystem::path& path, const FileSeal& seal) {
    try {
        const InputFile file(path);
        if (file.size() != seal.bytes)
            return false;
        Digest sum;
        std::vector<std::byte> buffer(std::min<std::uint64_t>(seal.bytes, std::uint64_t(1) << 20));
        for (std::uint64_t at = 0; at < seal.bytes;) {
            const std::size_t n = file.read(at, buffer);
            if (n == 0)
                return false;
            sum.add(std::span(buffer).first(n));
            at += n;
        }
        return sum.value() == seal.digest;
    } catch (const InputError&) {
        return false;
    }
}

} // namespace Tilewright::Io
