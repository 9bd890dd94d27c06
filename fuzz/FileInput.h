/// FileInput: hands bytes to readers of files, and holds what they make of them against what all sources
/// promise.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include <io/records/PointSource.h>
#include <io/system/Errors.h>

namespace Tilewright::Fuzz {

inline void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "broken promise: %s\n", what);
        std::abort();
    }
}

/// A file in memory. The readers take a path.
class FileInput {
public:
    explicit FileInput(std::span<const std::uint8_t> bytes)
        : descriptor(::memfd_create("input", MFD_CLOEXEC)) {
        require(descriptor >= 0 &&
                    ::write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                "there is room for a file in memory");
    }
    FileInput(const FileInput&) = delete;
    FileInput& operator=(const FileInput&) = delete;
    ~FileInput() { ::close(descriptor); }

    std::filesystem::path path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    int descriptor;
};

/// Looks for the points between the first and the last, as it is done for a window of a raster.
inline void searchBox(const Io::PointSource& source, std::span<const double> xyz) {
    const double* const last = xyz.data() + xyz.size() - 3;
    Io::CoordinateBox box;
    for (std::size_t axis = 0; axis < 2; ++axis) {
        box.low[axis] = std::min(xyz[axis], last[axis]);
        box.high[axis] = std::max(xyz[axis], last[axis]);
    }
    const auto isInside = [&](const double* p) {
        return p[0] >= box.low[0] && p[0] <= box.high[0] && p[1] >= box.low[1] && p[1] <= box.high[1];
    };
    const double* p = xyz.data();
    std::vector<std::uint32_t> ordinals;
    source.visit(0, source.pointCount(), [&](const std::byte* records, std::size_t count) {
        ordinals.resize(count);
        ordinals.resize(Io::findInBox(source.format(), records, count, box, ordinals.data()));
        for (std::uint32_t i = 0; i < count; ++i, p += 3)
            require(!isInside(p) || std::ranges::binary_search(ordinals, i),
                    "no point of a box is passed over");
    });
}

/// Reads all there is, in two stretches, and compares the positions with the box.
inline void readAll(const Io::PointSource& source) {
    const std::uint64_t count = source.pointCount();
    const std::uint64_t half = count / 2;
    std::vector<double> xyz(3 * count);
    source.read(0, half, xyz.data(), {});
    source.read(half, count - half, xyz.data() + 3 * half, {});
    const Io::PointBounds box = source.bounds(0, count);
    constexpr double infinity = std::numeric_limits<double>::infinity();
    std::vector<double> low(3, infinity);
    std::vector<double> high(3, -infinity);
    for (std::size_t i = 0; i < xyz.size(); ++i) {
        require(xyz[i] - xyz[i] == 0, "coordinates are finite");
        low[i % 3] = std::min(low[i % 3], xyz[i]);
        high[i % 3] = std::max(high[i % 3], xyz[i]);
    }
    require(std::ranges::equal(low, box.low) && std::ranges::equal(high, box.high),
            "the box is that of the points");
    if (count != 0)
        searchBox(source, xyz);

    for (const Io::PointField& field : source.format().fields) {
        require(field.position + field.size <= source.format().recordLength, "fields lie in their records");
        Io::visitFieldType(field.type, [&]<class T>() {
            std::vector<T> values(count);
            const Io::FieldColumn column{&field, std::span(values)};
            source.read(0, count, nullptr, {&column, 1});
        });
        std::vector<double> reals(count);
        const Io::FieldColumn column{&field, std::span(reals)};
        source.read(0, count, nullptr, {&column, 1});
    }
    require(source.coordinateSystem().find('\n') == std::string::npos, "a coordinate system is one line");
}

inline void checkMessage(const Io::Error& error) {
    for (const char* c = error.what(); *c != 0; ++c)
        require(static_cast<unsigned char>(*c) >= 0x20, "messages are one line of plain characters");
}

/// `open` gives a source or throws an Error of one line. Anything else is a finding.
template <class Open> int tryReader(const std::uint8_t* data, std::size_t size, const Open& open) {
    const FileInput file({data, size});
    try {
        readAll(*open(file.path()));
    } catch (const Io::Error& error) {
        checkMessage(error);
    }
    return 0;
}

} // namespace Tilewright::Fuzz
