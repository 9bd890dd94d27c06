#include <io/rasters/RasterCheck.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <cpl_string.h>

#include <io/gdal/Gdal.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// Rows of one band, in a type that holds every value of the band.
std::vector<std::byte> readRows(GDALRasterBand& band, GDALDataType type, int row, int rows) {
    const int width = band.GetXSize();
    std::vector<std::byte> values(static_cast<std::size_t>(width) * static_cast<std::size_t>(rows) *
                                  sizeof(double));
    if (band.RasterIO(GF_Read, 0, row, width, rows, values.data(), width, rows, type, 0, 0, nullptr) !=
        CE_None)
        throw std::runtime_error("rows from " + std::to_string(row) + " on cannot be read");
    return values;
}

/// Ignores NaN, which not all formats can hold.
template <class T> bool areKept(const std::vector<std::byte>& wanted, const std::vector<std::byte>& values) {
    const auto* const first = reinterpret_cast<const T*>(wanted.data());
    const auto* const other = reinterpret_cast<const T*>(values.data());
    return std::equal(first, first + wanted.size() / sizeof(T), other,
                      [](T x, T y) { return x == y || x != x; });
}

/// Reads every pixel of the copy, because missing data may only show there.
bool comparePixels(GDALDataset& source, GDALDataset& copy) {
    bool isSame = copy.GetRasterCount() == source.GetRasterCount();
    for (int b = 1; b <= copy.GetRasterCount(); ++b) {
        GDALRasterBand& band = *copy.GetRasterBand(b);
        const bool isWide = band.GetRasterDataType() == GDT_UInt64 || band.GetRasterDataType() == GDT_Int64;
        const GDALDataType type = isWide ? GDT_UInt64 : GDT_Float64;
        int across, down;
        band.GetBlockSize(&across, &down);
        const int step = std::clamp(down, 1, 256);
        for (int row = 0; row < band.GetYSize(); row += step) {
            const int rows = std::min(step, band.GetYSize() - row);
            const std::vector<std::byte> values = readRows(band, type, row, rows);
            if (!isSame)
                continue;
            const std::vector<std::byte> wanted = readRows(*source.GetRasterBand(b), type, row, rows);
            isSame = isWide ? areKept<std::uint64_t>(wanted, values) : areKept<double>(wanted, values);
        }
    }
    return isSame;
}

bool areInSamePlace(GDALDataset& a, GDALDataset& b) {
    std::array<double, 6> one = {}, other = {};
    if (a.GetGeoTransform(one.data()) != CE_None || b.GetGeoTransform(other.data()) != CE_None)
        return false;
    // Text formats round.
    const double pixel = std::min(std::abs(one[1]), std::abs(one[5]));
    return std::ranges::equal(one, other, [&](double x, double y) { return std::abs(x - y) < pixel / 4; });
}

/// Checks only that both have one: each format writes systems in its own way.
bool haveSystems(GDALDataset& a, GDALDataset& b) {
    return a.GetSpatialRef() != nullptr && b.GetSpatialRef() != nullptr;
}

/// Ignores the statistics, which some formats compute anew.
bool haveSameTexts(GDALDataset& a, GDALDataset& b) {
    const CPLStringList wanted(CSLDuplicate(a.GetRasterBand(1)->GetMetadata()));
    GDALRasterBand& band = *b.GetRasterBand(1);
    return std::all_of(wanted.List(), wanted.List() + wanted.size(), [&](const char* item) {
        if (STARTS_WITH(item, "STATISTICS_"))
            return true;
        char* key = nullptr;
        const char* const text = CPLParseNameValue(item, &key);
        const char* const other = key ? band.GetMetadataItem(key) : nullptr;
        CPLFree(key);
        return text && other && EQUAL(text, other);
    });
}

/// The error number of why a file cannot grow; 0 if it can. Leaves the file unchanged.
int whyFull(const fs::path& path) {
    constexpr std::size_t little = 64 << 10;
    const std::vector<char> bytes(little, 1);
    const int file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (file < 0)
        return errno;
    const off_t size = ::lseek(file, 0, SEEK_END);
    const ssize_t written = ::write(file, bytes.data(), little);
    int reason = written < 0 ? errno : written < static_cast<ssize_t>(little) ? ENOSPC : 0;
    if (::ftruncate(file, size) != 0 || ::close(file) != 0)
        reason = errno;
    return reason;
}

/// A driver that ran out of space has used it all, whether or not it said so.
void expectRoom(const fs::path& folder) {
    for (const auto& entry : fs::directory_iterator(folder))
        if (const int reason = entry.is_regular_file() ? whyFull(entry.path()) : 0; reason != 0)
            throw std::runtime_error("no space left: " + std::generic_category().message(reason));
}

} // namespace

Fidelity compareCopy(GDALDataset& source, const fs::path& copy) {
    const ThreadOption strict("GDAL_ERROR_ON_LIBJPEG_WARNING", "TRUE");
    const GdalMessages messages;
    Fidelity found;
    const GDALDatasetUniquePtr dataset = openRaster(copy);
    if (!dataset || dataset->GetRasterXSize() != source.GetRasterXSize() ||
        dataset->GetRasterYSize() != source.GetRasterYSize() || dataset->GetRasterCount() == 0) {
        found.complaint = messages.text();
        return found;
    }
    const BlockRoom room(*dataset);
    try {
        found.exactPixels = comparePixels(source, *dataset);
    } catch (const std::runtime_error& error) {
        found.complaint = error.what();
        return found;
    }
    found.complaint = messages.text();
    found.canBeRead = !messages.failed();
    found.place = areInSamePlace(source, *dataset);
    found.system = haveSystems(source, *dataset);
    found.metadata = haveSameTexts(source, *dataset);
    return found;
}

void checkCopy(GDALDataset& source, const fs::path& copy, const Fidelity& expected) {
    const Fidelity found = compareCopy(source, copy);
    const auto lacks = [&](bool Fidelity::*part) { return expected.*part && !(found.*part); };
    if (lacks(&Fidelity::canBeRead) || lacks(&Fidelity::exactPixels) || lacks(&Fidelity::place) ||
        lacks(&Fidelity::system) || lacks(&Fidelity::metadata))
        throw std::runtime_error("its copy is incomplete (" + found.complaint + "); is the disk full?");
    expectRoom(copy.parent_path());
}

} // namespace Tilewright::Io
