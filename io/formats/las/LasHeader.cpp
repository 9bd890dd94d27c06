#include <io/formats/las/LasHeader.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <io/formats/las/CompressionRecord.h>
#include <io/gdal/CoordinateSystem.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

constexpr unsigned highestFormat = 10;
constexpr std::size_t formatPosition = 104;
/// Of what is taken to memory. The longest that is of any use is a text of some kilobytes.
constexpr std::uint64_t longestRecord = std::uint64_t{1} << 24;
/// Compressors set one of the two high bits, so that programs that know nothing of them stop there. The lower
/// one was of an attempt that came to nothing.
constexpr unsigned compressionFlags = 0xC0;
constexpr unsigned compressed = 0x80;
constexpr std::array<unsigned, highestFormat + 1> pointSizes = {20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
constexpr std::array<unsigned, 5> headerSizes = {227, 227, 227, 235, 375}; // by minor version

/// Short stretches of a source, most of them close to the one before.
class HeadReader {
public:
    explicit HeadReader(const ByteSource& source) : source(source) {}

    /// `length` bytes inside the source, at most `windowBytes`. They stay until the next call.
    std::span<const std::byte> get(std::uint64_t offset, std::size_t length) {
        if (offset < begin || offset + length > begin + window.size()) {
            window.resize(static_cast<std::size_t>(std::min(windowBytes, source.size() - offset)));
            source.readAll(offset, window);
            begin = offset;
        }
        return std::span(window).subspan(static_cast<std::size_t>(offset - begin), length);
    }

private:
    static constexpr std::uint64_t windowBytes = std::uint64_t{1} << 14;

    const ByteSource& source;
    std::vector<std::byte> window;
    std::uint64_t begin = 0;
};

class Parser {
public:
    explicit Parser(const ByteSource& source)
        : fileSize(source.size()), reader(source), name(source.name()), pointsEnd(source.size()) {}

    LasHeader parse() {
        readVersion();
        readPointLayout();
        readCoordinateSpace();
        readVariableLengthRecords();
        if (header.versionMinor >= 4) {
            readExtendedRecords();
        }
        checkCompression();
        if (!header.isCompressed) {
            checkPoints();
        }
        return header;
    }

private:
    [[noreturn]] void fail(const std::string& what) const { throw InputError(name + ": " + what); }

    template <class T> T at(std::uint64_t offset) {
        return loadLittleEndian<T>(reader.get(offset, sizeof(T)).data());
    }

    std::string textAt(std::uint64_t offset, std::size_t length) {
        return loadText(reader.get(offset, length));
    }

    void readVersion() {
        if (fileSize < 4 || textAt(0, 4) != "LASF") {
            fail("is not a LAS file: it does not begin with LASF");
        }
        if (fileSize < headerSizes[0]) {
            fail("is cut off inside its header: " + std::to_string(fileSize) + " of at least " +
                 std::to_string(headerSizes[0]) + " bytes are there; copy or export it again");
        }
        header.globalEncoding = at<std::uint16_t>(6);
        header.versionMajor = at<std::uint8_t>(24);
        header.versionMinor = at<std::uint8_t>(25);
        if (header.versionMajor != 1 || header.versionMinor >= headerSizes.size()) {
            fail("is LAS " + std::to_string(header.versionMajor) + "." + std::to_string(header.versionMinor) +
                 "; versions 1.0 to 1.4 can be read");
        }
        const unsigned needed = headerSizes[header.versionMinor];
        headerSize = at<std::uint16_t>(94);
        if (headerSize < needed) {
            fail("has a header of " + std::to_string(headerSize) + " bytes, but LAS 1." +
                 std::to_string(header.versionMinor) + " takes " + std::to_string(needed));
        }
        if (headerSize > fileSize) {
            fail("is cut off inside its header: " + std::to_string(fileSize) + " of " +
                 std::to_string(headerSize) + " bytes are there; copy or export it again");
        }
    }

    void readPointLayout() {
        const unsigned flags = at<std::uint8_t>(formatPosition) & compressionFlags;
        const unsigned format = at<std::uint8_t>(formatPosition) & ~compressionFlags;
        if (flags != 0 && flags != compressed) {
            fail("is compressed (LAZ) in a way that was given up long ago; write it again from its source");
        }
        header.isCompressed = flags != 0;
        if (format > highestFormat) {
            fail("has points of format " + std::to_string(format) + "; formats 0 to 10 can be read");
        }
        header.pointFormat = format;
        header.recordLength = at<std::uint16_t>(105);
        if (header.recordLength < lasPointSize(format)) {
            fail("has point records of " + std::to_string(header.recordLength) + " bytes, but format " +
                 std::to_string(format) + " takes at least " + std::to_string(lasPointSize(format)));
        }
        header.pointOffset = at<std::uint32_t>(96);
        if (header.pointOffset < headerSize) {
            fail("has its points at byte " + std::to_string(header.pointOffset) +
                 ", which is inside its header of " + std::to_string(headerSize) + " bytes");
        }
        if (header.pointOffset > fileSize) {
            fail("has its points at byte " + std::to_string(header.pointOffset) + ", but ends at byte " +
                 std::to_string(fileSize) + "; copy or export it again");
        }
        header.pointCount = at<std::uint32_t>(107);
        if (header.versionMinor >= 4) {
            // The 32-bit count only serves older programs and is often zero or stale. Some writers, though,
            // know no other.
            const auto count = at<std::uint64_t>(247);
            header.pointCount = count != 0 ? count : header.pointCount;
        }
    }

    void readCoordinateSpace() {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double scale = at<double>(131 + 8 * axis);
            const double offset = at<double>(155 + 8 * axis);
            const std::string letter(1, "xyz"[axis]);
            if (!std::isfinite(scale) || scale == 0) {
                fail("gives no coordinates: its " + letter + " scale is zero or not finite");
            }
            if (!std::isfinite(offset)) {
                fail("gives no coordinates: its " + letter + " offset is not finite");
            }
            if (!std::isfinite(std::abs(scale) * 0x1p31 + std::abs(offset))) {
                fail("gives no coordinates: its " + letter +
                     " scale or offset is so large that they overflow");
            }
            header.scale[axis] = scale;
            header.offset[axis] = offset;
            header.claimedHigh[axis] = at<double>(179 + 16 * axis);
            header.claimedLow[axis] = at<double>(187 + 16 * axis);
        }
    }

    void readVariableLengthRecords() {
        constexpr std::uint64_t prefix = 54;
        const auto count = at<std::uint32_t>(100);
        std::uint64_t position = headerSize;
        for (std::uint64_t record = 0; record < count; ++record) {
            const std::uint64_t room = header.pointOffset - position;
            if (room < prefix || room - prefix < at<std::uint16_t>(position + 20)) {
                fail("is damaged: its variable length record " + std::to_string(record + 1) + " of " +
                     std::to_string(count) + " runs into the points");
            }
            const std::uint64_t length = at<std::uint16_t>(position + 20);
            note(position, {position + prefix, length});
            position += prefix + length;
        }
    }

    void readExtendedRecords() {
        constexpr std::uint64_t prefix = 60;
        const auto count = at<std::uint32_t>(243);
        std::uint64_t position = at<std::uint64_t>(235);
        if (count != 0 && position >= header.pointOffset) {
            pointsEnd = std::min(pointsEnd, position);
        }
        for (std::uint64_t record = 0; record < count; ++record) {
            const std::uint64_t room = position < fileSize ? fileSize - position : 0;
            if (room < prefix || room - prefix < at<std::uint64_t>(position + 20)) {
                fail("is damaged or cut off: its extended record " + std::to_string(record + 1) + " of " +
                     std::to_string(count) + " runs past the end; copy or export it again");
            }
            const auto length = at<std::uint64_t>(position + 20);
            note(position, {position + prefix, length});
            position += prefix + length;
        }
    }

    /// Keeps where the contents of a record lie if it is the first of a kind that matters. Nothing else is
    /// kept, so that a file with millions of records takes no memory.
    void note(std::uint64_t position, ByteRange contents) {
        const std::string user = textAt(position + 2, 16);
        const auto number = at<std::uint16_t>(position + 18);
        if (user == CompressionRecord::userId && number == CompressionRecord::recordId) {
            header.compression = contents;
            ++compressionRecords;
        }
        ByteRange* place = nullptr;
        if (user == "LASF_Projection") {
            place = number == 2112    ? &header.wkt
                    : number == 34735 ? &header.geoKeyDirectory
                    : number == 34736 ? &header.geoKeyNumbers
                    : number == 34737 ? &header.geoKeyTexts
                                      : nullptr;
        } else if (user == "LASF_Spec" && number == 4) {
            place = &header.extraBytes;
        }
        if (place != nullptr && place->length == 0) {
            *place = contents;
        }
    }

    void checkCompression() {
        const std::string word = "is compressed (LAZ), but ";
        if (header.isCompressed && compressionRecords == 0) {
            fail(word + "no record says how; copy or export it again");
        }
        if (compressionRecords > 1) {
            fail(word + std::to_string(compressionRecords) + " records say how; export it again");
        }
        // Compressor 0 leaves the points as they are.
        const bool isPlain =
            header.compression.length >= 2 && at<std::uint16_t>(header.compression.offset) == 0;
        if (!header.isCompressed && compressionRecords != 0 && !isPlain) {
            fail(word + "its point format says that it is not; copy or export it again");
        }
    }

    void checkPoints() const {
        const std::uint64_t fitting = (pointsEnd - header.pointOffset) / header.recordLength;
        if (header.pointCount > fitting) {
            fail("is cut off: its header promises " + std::to_string(header.pointCount) +
                 " points, but only " + std::to_string(fitting) + " are there; copy or export it again");
        }
    }

    std::uint64_t fileSize;
    HeadReader reader;
    const std::string& name;
    LasHeader header;
    std::uint64_t headerSize = 0;
    std::uint64_t compressionRecords = 0;
    std::uint64_t pointsEnd; ///< where extended records begin, or the file ends
};

/// The nearest coordinate that a scaled integer gives, by the same two roundings as that of a point.
std::optional<double> representable(double coordinate, double scale, double offset) {
    using Limits = std::numeric_limits<std::int32_t>;
    const double integer = std::nearbyint((coordinate - offset) / scale);
    // False for what is no number, too.
    if (!(integer >= Limits::min() && integer <= Limits::max()))
        return std::nullopt;
    return integer * scale + offset;
}

} // namespace

LasHeader readLasHeader(const ByteSource& file) { return Parser(file).parse(); }

LasHeader readLasHeader(std::span<const std::byte> file, const std::string& name) {
    return readLasHeader(MemoryBytes(file, name));
}

std::vector<std::byte> readRecord(const ByteSource& file, ByteRange contents) {
    std::vector<std::byte> bytes;
    if (contents.length <= longestRecord) {
        bytes.resize(static_cast<std::size_t>(contents.length));
        file.readAll(contents.offset, bytes);
    }
    return bytes;
}

std::string coordinateSystemOf(const LasHeader& header, const ByteSource& file) {
    const auto fromWkt = [&] {
        const std::vector<std::byte> text = readRecord(file, header.wkt);
        return coordinateSystemFromWkt({reinterpret_cast<const char*>(text.data()), text.size()});
    };
    const auto fromKeys = [&] {
        const std::vector<std::byte> directory = readRecord(file, header.geoKeyDirectory);
        const std::vector<std::byte> numbers = readRecord(file, header.geoKeyNumbers);
        const std::vector<std::byte> texts = readRecord(file, header.geoKeyTexts);
        return coordinateSystemFromGeoKeys({directory, numbers, texts});
    };
    const std::string system = header.prefersWkt() ? fromWkt() : fromKeys();
    if (!system.empty())
        return system;
    return header.prefersWkt() ? fromKeys() : fromWkt();
}

std::optional<PointBounds> statedBoundsOf(const LasHeader& header) {
    if (header.pointCount == 0)
        return std::nullopt;
    PointBounds box;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto low = representable(header.claimedLow[axis], header.scale[axis], header.offset[axis]);
        const auto high = representable(header.claimedHigh[axis], header.scale[axis], header.offset[axis]);
        if (!low || !high || *low > *high)
            return std::nullopt;
        box.low[axis] = *low;
        box.high[axis] = *high;
    }
    return box;
}

bool isCompressedLas(std::span<const std::byte> file) {
    return file.size() > formatPosition &&
           (loadLittleEndian<std::uint8_t>(file.data() + formatPosition) & compressionFlags) != 0;
}

unsigned lasPointSize(unsigned format) { return pointSizes.at(format); }

} // namespace Tilewright::Io
