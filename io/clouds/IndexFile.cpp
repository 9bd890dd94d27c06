#include <io/clouds/IndexFile.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

#include <io/outputs/NewFile.h>
#include <io/system/Bytes.h>
#include <io/system/Digest.h>
#include <io/system/InputFile.h>

namespace Tilewright::Io {

namespace {

constexpr std::string_view magic = "TWCINDEX";
constexpr std::uint32_t version = 3;
constexpr std::uint64_t headBytes = 144;
constexpr std::uint64_t leastFieldBytes = 28;
constexpr std::uint64_t stretchBytes = 48;
constexpr std::uint64_t digestBytes = 8;
constexpr std::size_t bufferBytes = std::size_t(1) << 16;

/// Flags of a range.
constexpr std::uint64_t withNaN = 1;
constexpr std::uint64_t multiplesOf257 = 2;
constexpr std::uint64_t multiplesOf256 = 4;

class IndexOutput {
public:
    explicit IndexOutput(const std::filesystem::path& path) : File(path), Buffer(bufferBytes) {}

    template <class T> void put(T value) {
        if (Used + sizeof(T) > bufferBytes)
            flush();
        copyAsLittleEndian<sizeof(T)>(std::as_bytes(std::span(&value, 1)).data(), Buffer.data() + Used);
        Used += sizeof(T);
    }
    template <class T, std::size_t N> void put(const std::array<T, N>& values) {
        for (const T value : values)
            put(value);
    }
    void putText(const std::string& text) {
        put(static_cast<std::uint32_t>(text.size()));
        for (const char c : text)
            put(c);
    }
    void finish() {
        flush();
        put(Sum.value());
        flush();
        File.publish();
    }

private:
    void flush() {
        const std::span<const std::byte> bytes(Buffer.data(), Used);
        Sum.add(bytes);
        File.write(bytes);
        Used = 0;
    }

    NewFile File;
    Digest Sum;
    std::vector<std::byte> Buffer;
    std::size_t Used = 0;
};

class IndexInput {
public:
    explicit IndexInput(const std::filesystem::path& path) : File(path), Buffer(bufferBytes) {}

    std::uint64_t size() const { return File.size(); }

    template <class T> T take() {
        if (End - Begin < sizeof(T))
            load(sizeof(T));
        const T value = loadLittleEndian<T>(Buffer.data() + Begin);
        Sum.add(std::span(Buffer).subspan(Begin, sizeof(T)));
        Begin += sizeof(T);
        return value;
    }
    template <class T, std::size_t N> void take(std::array<T, N>& values) {
        for (T& value : values)
            value = take<T>();
    }
    std::uint64_t digest() const { return Sum.value(); }
    /// That are not taken yet.
    std::uint64_t rest() const { return File.size() - Offset + (End - Begin); }

    [[noreturn]] void fail(const std::string& what) const {
        throw InputError(File.name() + ": can't be used as the index of a file: " + what);
    }

private:
    void load(std::size_t needed) {
        std::copy(Buffer.begin() + static_cast<std::ptrdiff_t>(Begin),
                  Buffer.begin() + static_cast<std::ptrdiff_t>(End), Buffer.begin());
        End -= Begin;
        Begin = 0;
        const std::size_t read = File.read(Offset, std::span(Buffer).subspan(End));
        Offset += read;
        End += read;
        if (End < needed)
            fail("it ends too early");
    }

    InputFile File;
    Digest Sum;
    std::vector<std::byte> Buffer;
    std::size_t Begin = 0, End = 0; ///< what is loaded and not taken
    std::uint64_t Offset = 0;
};

FieldRange takeRange(IndexInput& in) {
    FieldRange range;
    range.least = in.take<double>();
    range.greatest = in.take<double>();
    const auto flags = in.take<std::uint64_t>();
    range.hasNaN = (flags & withNaN) != 0;
    range.by257 = (flags & multiplesOf257) != 0;
    range.by256 = (flags & multiplesOf256) != 0;
    return range;
}

std::string takeName(IndexInput& in) {
    const auto length = in.take<std::uint32_t>();
    if (length > in.rest())
        in.fail("it ends too early");
    std::string name(length, '\0');
    for (char& c : name)
        c = in.take<char>();
    return name;
}

Stretch takeStretch(IndexInput& in) {
    const auto first = in.take<std::uint64_t>();
    Stretch stretch = {0, first, in.take<std::uint64_t>(), {}, {}};
    in.take(stretch.low);
    in.take(stretch.high);
    return stretch;
}

/// Expects stretches in the order of the points, none twice, that cover all points but those that were
/// skipped.
class CoverageCheck {
public:
    CoverageCheck(const IndexInput& in, std::uint64_t points) : In(in), Points(points) {}

    void add(const Stretch& stretch) {
        if (stretch.count == 0 || stretch.first < Next || stretch.first > Points ||
            stretch.count > Points - stretch.first)
            fail();
        for (std::size_t axis = 0; axis < 2; ++axis)
            if (std::isnan(stretch.low[axis]) || std::isnan(stretch.high[axis]))
                In.fail("it has a box without limits");
        Skipped += stretch.first - Next;
        Next = stretch.first + stretch.count;
    }

    void finish(std::uint64_t skippedPoints) {
        if (Skipped + (Points - Next) != skippedPoints)
            fail();
    }

private:
    [[noreturn]] void fail() const { In.fail("its stretches are not those of the file"); }

    const IndexInput& In;
    std::uint64_t Points;
    std::uint64_t Next = 0;
    std::uint64_t Skipped = 0;
};

IndexWindow takeWindow(IndexInput& in) {
    CoordinateBox box;
    in.take(box.low);
    in.take(box.high);
    constexpr double infinity = PointBounds::infinity;
    if (box.low[0] == -infinity && box.low[1] == -infinity && box.high[0] == infinity &&
        box.high[1] == infinity)
        return std::nullopt;
    return box;
}

/// The number of stretches.
std::uint64_t takeHead(IndexInput& in, FileIndex& file) {
    if (in.size() < headBytes + digestBytes)
        in.fail("it is too short");
    for (const char c : magic)
        if (in.take<char>() != c)
            in.fail("it is a file of another kind");
    if (const auto found = in.take<std::uint32_t>(); found != version)
        in.fail("its format has the version " + std::to_string(found) + ", and only " +
                std::to_string(version) + " is known");
    const auto fields = in.take<std::uint32_t>();
    const auto stretches = in.take<std::uint64_t>();
    file.index.skippedPoints = in.take<std::uint64_t>();
    file.bytes = in.take<std::uint64_t>();
    file.modified.seconds = in.take<std::int64_t>();
    file.modified.nanoseconds = in.take<std::int64_t>();
    file.points = in.take<std::uint64_t>();
    file.window = takeWindow(in);
    in.take(file.index.bounds.low);
    in.take(file.index.bounds.high);
    if (fields > in.rest() / leastFieldBytes)
        in.fail("it ends too early");
    for (std::uint32_t f = 0; f < fields; ++f) {
        file.index.ranges.push_back(takeRange(in));
        file.fields.push_back(takeName(in));
    }
    if (in.rest() < digestBytes || (in.rest() - digestBytes) % stretchBytes != 0 ||
        (in.rest() - digestBytes) / stretchBytes != stretches)
        in.fail("its length is not that of " + std::to_string(stretches) + " stretches");
    return stretches;
}

} // namespace

void writeIndex(const std::filesystem::path& path, const FileIndex& file) {
    constexpr double infinity = PointBounds::infinity;
    const CloudIndex& index = file.index;
    IndexOutput out(path);
    for (const char c : magic)
        out.put(c);
    out.put(version);
    out.put(static_cast<std::uint32_t>(file.fields.size()));
    out.put(std::uint64_t(index.stretches.size()));
    out.put(index.skippedPoints);
    out.put(file.bytes);
    out.put(file.modified.seconds);
    out.put(file.modified.nanoseconds);
    out.put(file.points);
    const CoordinateBox window =
        file.window.value_or(CoordinateBox{{-infinity, -infinity}, {infinity, infinity}});
    out.put(window.low);
    out.put(window.high);
    out.put(index.bounds.low);
    out.put(index.bounds.high);
    for (std::size_t f = 0; f < file.fields.size(); ++f) {
        const FieldRange& range = index.ranges.at(f);
        out.put(range.least);
        out.put(range.greatest);
        out.put((range.hasNaN ? withNaN : 0U) | (range.by257 ? multiplesOf257 : 0U) |
                (range.by256 ? multiplesOf256 : 0U));
        out.putText(file.fields[f]);
    }
    for (const Stretch& stretch : index.stretches) {
        out.put(stretch.first);
        out.put(stretch.count);
        out.put(stretch.low);
        out.put(stretch.high);
    }
    out.finish();
}

FileIndex readIndex(const std::filesystem::path& path, const StretchTest& wanted) {
    IndexInput in(path);
    FileIndex file;
    const std::uint64_t stretches = takeHead(in, file);
    CoverageCheck check(in, file.points);
    for (std::uint64_t s = 0; s < stretches; ++s) {
        const Stretch stretch = takeStretch(in);
        check.add(stretch);
        if (!wanted || wanted(stretch))
            file.index.stretches.push_back(stretch);
    }
    check.finish(file.index.skippedPoints);
    const std::uint64_t digest = in.digest();
    if (in.take<std::uint64_t>() != digest)
        in.fail("its bytes are not those that were written");
    return file;
}

} // namespace Tilewright::Io
