// limit IN.las CELL: the least that a raster of mean heights can cost. One pass over the mapped file, one sum
// and one count a cell; no field, no fragment, no check of the counts and no file written. scripts/bench
// holds the program against it.
//
// It trusts the box in the header, and gives up at a point outside of it.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "limit: %s\n", what);
    std::exit(1);
}

struct Map {
    const unsigned char* bytes;
    std::size_t size;
};

Map mapFile(const char* path) {
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (file < 0 || ::fstat(file, &status) != 0 || status.st_size == 0)
        fail("the file cannot be opened or is empty");
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const bytes = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    ::close(file);
    if (bytes == MAP_FAILED)
        fail("the file cannot be mapped");
    ::madvise(bytes, size, MADV_SEQUENTIAL);
    return {static_cast<const unsigned char*>(bytes), size};
}

template <class T> T numberAt(const Map& map, std::size_t offset) {
    T value;
    if (offset + sizeof value > map.size)
        fail("the file ends within its header");
    std::memcpy(&value, map.bytes + offset, sizeof value);
    return value;
}

using Triple = std::array<double, 3>;

struct Cloud {
    const unsigned char* first;
    std::size_t recordLength;
    std::uint64_t points;
    Triple scale;
    Triple offset;
    std::array<double, 2> low;
    std::array<double, 2> high;
};

Cloud readHeader(const Map& map) {
    if (numberAt<std::array<char, 4>>(map, 0) != std::array{'L', 'A', 'S', 'F'})
        fail("this is no LAS file");
    if (numberAt<std::uint8_t>(map, 104) >= 64)
        fail("the points are compressed");
    Cloud cloud{};
    const std::size_t at = numberAt<std::uint32_t>(map, 96);
    cloud.recordLength = numberAt<std::uint16_t>(map, 105);
    // Version 1.4 counts in 64 bits at another place, and may leave the old count at 0.
    const bool countsIn64 = numberAt<std::uint8_t>(map, 25) >= 4;
    cloud.points = countsIn64 ? numberAt<std::uint64_t>(map, 247) : numberAt<std::uint32_t>(map, 107);
    if (cloud.points == 0 || cloud.recordLength < 3 * sizeof(std::int32_t) || at > map.size ||
        cloud.points > (map.size - at) / cloud.recordLength)
        fail("the points do not fit into the file");
    cloud.first = map.bytes + at;
    cloud.scale = numberAt<Triple>(map, 131);
    cloud.offset = numberAt<Triple>(map, 155);
    // The box lies there as greatest x, least x, greatest y, least y.
    const auto box = numberAt<std::array<double, 4>>(map, 179);
    cloud.high = {box[0], box[2]};
    cloud.low = {box[1], box[3]};
    return cloud;
}

struct Cell {
    double sum = 0;
    std::uint64_t count = 0;
};

} // namespace

int main(int argc, char** argv) {
    const double size = argc == 3 ? std::strtod(argv[2], nullptr) : 0;
    if (!(size > 0))
        fail("usage: limit IN.las CELL");
    const Cloud cloud = readHeader(mapFile(argv[1]));

    const auto columns = static_cast<std::uint64_t>((cloud.high[0] - cloud.low[0]) / size) + 1;
    const auto rows = static_cast<std::uint64_t>((cloud.high[1] - cloud.low[1]) / size) + 1;
    std::vector<Cell> cells(columns * rows);
    for (std::uint64_t i = 0; i < cloud.points; ++i) {
        std::array<std::int32_t, 3> stored;
        std::memcpy(&stored, cloud.first + i * cloud.recordLength, sizeof stored);
        const double x = stored[0] * cloud.scale[0] + cloud.offset[0];
        const double y = stored[1] * cloud.scale[1] + cloud.offset[1];
        const double z = stored[2] * cloud.scale[2] + cloud.offset[2];
        // Negative numbers become large ones.
        const auto column = static_cast<std::uint64_t>(static_cast<std::int64_t>((x - cloud.low[0]) / size));
        const auto row = static_cast<std::uint64_t>(static_cast<std::int64_t>((y - cloud.low[1]) / size));
        if (column >= columns || row >= rows)
            fail("a point lies outside of the box in the header");
        Cell& cell = cells[row * columns + column];
        cell.sum += z;
        ++cell.count;
    }

    double total = 0;
    std::uint64_t filled = 0;
    for (const Cell& cell : cells)
        if (cell.count != 0) {
            total += cell.sum / static_cast<double>(cell.count);
            ++filled;
        }
    std::printf("%llu x %llu cells, %llu filled, mean %.6f\n", static_cast<unsigned long long>(columns),
                static_cast<unsigned long long>(rows), static_cast<unsigned long long>(filled),
                filled == 0 ? 0.0 : total / static_cast<double>(filled));
}
