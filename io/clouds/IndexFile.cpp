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
constexpr std::uint32_t version = 1;
constexpr std::uint64_t headBytes = 80;
constexpr std::uint64_t rangeBytes = 24;
constexpr std::uint64_t stretchBytes = 52;
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

    [[noreturn]] void fail(const std::string& what) const {
        throw InputError(File.name() + ": can't be used as the index of the cloud: " + what);
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

Stretch takeStretch(IndexInput& in) {
    Stretch stretch = {in.take<std::uint32_t>(), in.take<std::uint64_t>(), in.take<std::uint64_t>(), {}, {}};
    in.take(stretch.low);
    in.take(stretch.high);
    return stretch;
}

/// Expects stretches in the order of the points, none twice, that cover all points but those that were
/// skipped.
class CoverageCheck {
public:
    CoverageCheck(const IndexInput& in, std::span<const std::uint64_t> points) : In(in), Points(points) {}

    void add(const Stretch& stretch) {
        while (Source < stretch.source && Source < Points.size())
            endSource();
        if (stretch.source != Source || Source == Points.size() || stretch.count == 0 ||
            stretch.first < Next || stretch.first > Points[Source] ||
            stretch.count > Points[Source] - stretch.first)
            fail();
        for (std::size_t axis = 0; axis < 2; ++axis)
            if (std::isnan(stretch.low[axis]) || std::isnan(stretch.high[axis]))
                In.fail("it has a box without limits");
        Skipped += stretch.first - Next;
        Next = stretch.first + stretch.count;
    }

    void finish(std::uint64_t skippedPoints) {
        while (Source < Points.size())
            endSource();
        if (Skipped != skippedPoints)
            fail();
    }

private:
    void endSource() {
        Skipped += Points[Source] - Next;
        ++Source;
        Next = 0;
    }
    [[noreturn]] void fail() const { In.fail("its stretches are not those of the files"); }

    const IndexInput& In;
    std::span<const std::uint64_t> Points;
    std::size_t Source = 0;
    std::uint64_t Next = 0;
    std::uint64_t Skipped = 0;
};

/// The number of stretches.
std::uint64_t takeHead(IndexInput& in, CloudIndex& index) {
    if (in.size() < headBytes + digestBytes)
        in.fail("it is too short");
    for (const char c : magic)
        if (in.take<char>() != c)
            in.fail("it is a file of another kind");
    if (const auto found = in.take<std::uint32_t>(); found != version)
        in.fail("its format has the version " + std::to_string(found) + ", and only " +
                std::to_string(version) + " is known");
    const auto ranges = in.take<std::uint32_t>();
    const auto stretches = in.take<std::uint64_t>();
    const std::uint64_t rest = in.size() - headBytes - digestBytes;
    if (rest < ranges * rangeBytes || (rest - ranges * rangeBytes) % stretchBytes != 0 ||
        (rest - ranges * rangeBytes) / stretchBytes != stretches)
        in.fail("its length is not that of " + std::to_string(stretches) + " stretches");
    index.skippedPoints = in.take<std::uint64_t>();
    in.take(index.bounds.low);
    in.take(index.bounds.high);
    for (std::uint32_t r = 0; r < ranges; ++r)
        index.ranges.push_back(takeRange(in));
    return stretches;
}

} // namespace

void writeIndex(const std::filesystem::path& path, const CloudIndex& index) {
    IndexOutput out(path);
    for (const char c : magic)
        out.put(c);
    out.put(version);
    out.put(static_cast<std::uint32_t>(index.ranges.size()));
    out.put(std::uint64_t(index.stretches.size()));
    out.put(index.skippedPoints);
    out.put(index.bounds.low);
    out.put(index.bounds.high);
    for (const FieldRange& range : index.ranges) {
        out.put(range.least);
        out.put(range.greatest);
        out.put((range.hasNaN ? withNaN : 0U) | (range.by257 ? multiplesOf257 : 0U) |
                (range.by256 ? multiplesOf256 : 0U));
    }
    for (const Stretch& stretch : index.stretches) {
        out.put(stretch.source);
        out.put(stretch.first);
        out.put(stretch.count);
        out.put(stretch.low);
        out.put(stretch.high);
    }
    out.finish();
}

CloudIndex readIndex(const std::filesystem::path& path, std::span<const std::uint64_t> pointsOfSources,
                     const StretchTest& wanted) {
    IndexInput in(path);
    CloudIndex index;
    const std::uint64_t stretches = takeHead(in, index);
    CoverageCheck check(in, pointsOfSources);
    for (std::uint64_t s = 0; s < stretches; ++s) {
        const Stretch stretch = takeStretch(in);
        check.add(stretch);
        if (!wanted || wanted(stretch))
            index.stretches.push_back(stretch);
    }
    check.finish(index.skippedPoints);
    const std::uint64_t digest = in.digest();
    if (in.take<std::uint64_t>() != digest)
        in.fail("its bytes are not those that were written");
    return index;
}

} // namespace Tilewright::Io
