#include <io/parts/PixelFile.h>

#include <algorithm>
#include <array>
#include <string_view>

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

/// Reads a file from front to back, and adds up its digest.
class SealedInput {
public:
    explicit SealedInput(const std::filesystem::path& path) : File(path) {}

    std::uint64_t size() const { return File.size(); }
    bool isAtEnd() const { return Offset == File.size(); }
    std::uint64_t digest() const { return Sum.value(); }

    void take(std::span<std::byte> room) {
        if (File.read(Offset, room) != room.size())
            fail();
        Offset += room.size();
        Sum.add(room);
    }
    template <class T> T take() {
        std::array<std::byte, sizeof(T)> bytes;
        take(bytes);
        return loadLittleEndian<T>(bytes.data());
    }

    [[noreturn]] void fail() const {
        throw InputError(File.name() + ": is damaged; make this part once more");
    }

private:
    InputFile File;
    std::uint64_t Offset = 0;
    Digest Sum;
};

struct Frame {
    std::size_t band;
    PixelType type;
    PixelWindow window;
};

/// A wrong number must not become a wrong place or too much memory.
Frame takeFrame(SealedInput& in, const PixelFileShape& shape) {
    if (in.size() < frameBytes)
        in.fail();
    const auto band = in.take<std::uint32_t>();
    const auto type = in.take<std::uint32_t>();
    PixelWindow window;
    for (std::uint64_t* number : {&window.column, &window.row, &window.columns, &window.rows})
        *number = in.take<std::uint64_t>();
    const auto fits = [](std::uint64_t first, std::uint64_t count, std::uint64_t all) {
        return count <= BlockLattice::blockSide && first <= all && count <= all - first;
    };
    if (band >= shape.types.size() || type != static_cast<std::uint32_t>(shape.types[band]) ||
        !fits(window.column, window.columns, shape.width) || !fits(window.row, window.rows, shape.height))
        in.fail();
    return {band, shape.types[band], window};
}

template <class P> void takePixels(SealedInput& in, const Frame& frame, const PixelVisitor& visitor) {
    std::vector<std::byte> bytes(frame.window.pixels() * sizeof(P));
    in.take(bytes);
    std::vector<P> pixels(frame.window.pixels());
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = loadLittleEndian<P>(bytes.data() + i * sizeof(P));
    visitor(frame.band, frame.window, std::span<const P>(pixels));
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
        [&](const auto& values) {
            for (const auto value : values)
                append(Buffer, value);
        },
        pixels);
    write(Buffer);
}

FileSeal PixelFileWriter::publish() {
    File.publish();
    return {Bytes, Sum.value()};
}

void readPixelFile(const std::filesystem::path& path, const FileSeal& seal, const PixelFileShape& shape,
                   const PixelVisitor& visitor) {
    SealedInput in(path);
    if (in.size() != seal.bytes || in.size() < headBytes)
        in.fail();
    for (const char c : magic)
        if (in.take<char>() != c)
            in.fail();
    if (in.take<std::uint32_t>() != version)
        in.fail();
    while (!in.isAtEnd()) {
        const Frame frame = takeFrame(in, shape);
        withPixelType(frame.type, [&]<class P>(P) { takePixels<P>(in, frame, visitor); });
    }
    if (in.digest() != seal.digest)
        in.fail();
}

bool isIntact(const std::filesystem::path& path, const FileSeal& seal) {
    try {
        SealedInput in(path);
        if (in.size() != seal.bytes)
            return false;
        std::vector<std::byte> buffer(std::size_t(1) << 20);
        for (std::uint64_t left = seal.bytes; left != 0;) {
            const std::size_t n = std::min<std::uint64_t>(left, buffer.size());
            in.take(std::span(buffer).first(n));
            left -= n;
        }
        return in.digest() == seal.digest;
    } catch (const InputError&) {
        return false;
    }
}

} // namespace Tilewright::Io
