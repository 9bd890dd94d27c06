#include <io/preview/ReducedRaster.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

#include <io/gdal/Gdal.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

constexpr float none = std::numeric_limits<float>::quiet_NaN();

[[noreturn]] void fail(const std::filesystem::path& path, const std::string& why) {
    throw InputError(path.string() + ": " + why);
}

bool isColoured(GDALDataset& dataset) {
    if (dataset.GetRasterCount() < 3)
        return false;
    for (int i = 0; i < 3; ++i)
        if (dataset.GetRasterBand(i + 1)->GetColorInterpretation() != GCI_RedBand + i)
            return false;
    return true;
}

/// How many pixels become one along each axis.
struct Factors {
    int across;
    int down;
};

/// Makes pixels with sides of different lengths approximately square.
Factors factorsFor(int across, int down, double pixelWidth, double pixelHeight, int longest) {
    const double least = std::max(across * pixelWidth, down * pixelHeight) / longest;
    const double wanted = std::max({least, pixelWidth, pixelHeight});
    const auto factor = [&](double size, int count) {
        const double rounded = std::max(std::round(wanted / size), std::ceil(least / size - 1e-6));
        return static_cast<int>(std::clamp(rounded, 1.0, double(count)));
    };
    return {factor(pixelWidth, across), factor(pixelHeight, down)};
}

/// Calls `visit(column, row, value)` for each finite pixel with data, row by row. Reads the file once, a few
/// megabytes at a time. Returns false if it cannot be read.
template <class Visit> bool visitPixels(GDALRasterBand& band, const Visit& visit) {
    const int across = band.GetXSize(), down = band.GetYSize();
    const int atOnce = std::clamp((1 << 20) / across, 1, 256);
    const bool hasMask = !(band.GetMaskFlags() & GMF_ALL_VALID);
    const auto columns = static_cast<std::size_t>(across);
    std::vector<float> rows(columns * static_cast<std::size_t>(atOnce));
    std::vector<unsigned char> mask(hasMask ? rows.size() : 0);
    for (int first = 0; first < down; first += atOnce) {
        const int count = std::min(atOnce, down - first);
        CPLErr outcome = band.RasterIO(GF_Read, 0, first, across, count, rows.data(), across, count,
                                       GDT_Float32, 0, 0, nullptr);
        if (hasMask && outcome == CE_None)
            outcome = band.GetMaskBand()->RasterIO(GF_Read, 0, first, across, count, mask.data(), across,
                                                   count, GDT_Byte, 0, 0, nullptr);
        if (outcome != CE_None)
            return false;
        for (int row = 0; row < count; ++row) {
            const std::size_t from = static_cast<std::size_t>(row) * columns;
            for (std::size_t column = 0; column < columns; ++column)
                if (const float value = rows[from + column];
                    std::isfinite(value) && !(hasMask && mask[from + column] == 0))
                    visit(column, static_cast<std::size_t>(first + row), value);
        }
    }
    return true;
}

/// The reduced pixels of `band`, empty if it cannot be read.
std::vector<float> averaged(GDALRasterBand& band, const Factors& factors, ReducedRaster& raster) {
    const auto width = static_cast<std::size_t>(raster.width);
    std::vector<double> sums(width * static_cast<std::size_t>(raster.height));
    std::vector<std::uint32_t> counts(sums.size());
    const auto across = static_cast<std::size_t>(factors.across),
               down = static_cast<std::size_t>(factors.down);
    raster.isWhole = true;
    const bool isRead = visitPixels(band, [&](std::size_t column, std::size_t row, float value) {
        const std::size_t to = row / down * width + column / across;
        sums[to] += value;
        ++counts[to];
        raster.isWhole &= value == std::floor(value);
    });
    if (!isRead)
        return {};
    std::vector<float> plane(sums.size(), none);
    for (std::size_t i = 0; i < plane.size(); ++i)
        if (counts[i] != 0)
            plane[i] = static_cast<float>(sums[i] / counts[i]);
    return plane;
}

/// Like averaged(), but keeps the most frequent value; of several, the smallest.
std::vector<float> mostFrequent(GDALRasterBand& band, const Factors& factors, ReducedRaster& raster) {
    constexpr std::size_t values = 256;
    const auto width = static_cast<std::size_t>(raster.width);
    std::vector<float> plane(width * static_cast<std::size_t>(raster.height), none);
    // The counts of one row of reduced pixels.
    std::vector<std::uint32_t> counts(width * values);
    std::size_t current = 0;
    const auto settleRow = [&] {
        for (std::size_t i = 0; i < width; ++i) {
            const auto first = counts.begin() + static_cast<std::ptrdiff_t>(i * values);
            const auto most = std::max_element(first, first + values);
            if (*most != 0)
                plane[current * width + i] = static_cast<float>(most - first);
        }
        std::ranges::fill(counts, 0);
    };
    const auto across = static_cast<std::size_t>(factors.across),
               down = static_cast<std::size_t>(factors.down);
    const bool isRead = visitPixels(band, [&](std::size_t column, std::size_t row, float value) {
        if (row / down != current) {
            settleRow();
            current = row / down;
        }
        if (value >= 0 && value < values && value == std::floor(value))
            ++counts[column / across * values + static_cast<std::size_t>(value)];
    });
    if (!isRead)
        return {};
    settleRow();
    return plane;
}

/// Scales 16-bit colours, which fill the whole range or, with some scanners, only the lower 8 bits.
void fitIntoBytes(std::vector<std::vector<float>>& planes) {
    float greatest = 0;
    for (const auto& plane : planes)
        for (const float value : plane)
            greatest = std::max(greatest, std::isnan(value) ? 0.0F : value);
    if (greatest <= 255)
        return;
    for (auto& plane : planes)
        for (float& value : plane)
            value /= 257;
}

} // namespace

ReducedRaster readReduced(const std::filesystem::path& path, std::size_t band, int longest,
                          Reduction reduction) {
    const GdalMessages messages;
    const ThreadOption noSideFiles("GDAL_PAM_ENABLED", "NO");
    const GDALDatasetUniquePtr dataset = openRaster(path);
    if (!dataset || dataset->GetRasterCount() == 0)
        fail(path, "is not a raster (" + messages.text() + ")");
    if (band >= static_cast<std::size_t>(dataset->GetRasterCount()))
        fail(path, "has no band " + std::to_string(band + 1));
    const BlockRoom room(*dataset);

    ReducedRaster reduced;
    const int across = dataset->GetRasterXSize(), down = dataset->GetRasterYSize();
    std::array<double, 6> transform = {0, 1, 0, 0, 0, -1};
    dataset->GetGeoTransform(transform.data());
    const double pixelWidth = std::abs(transform[1]), pixelHeight = std::abs(transform[5]);
    const Factors factors = factorsFor(across, down, pixelWidth, pixelHeight, longest);
    reduced.width = (across - 1) / factors.across + 1;
    reduced.height = (down - 1) / factors.down + 1;
    reduced.pixelWidth = pixelWidth * factors.across;
    reduced.pixelHeight = pixelHeight * factors.down;
    reduced.middleNorth = transform[3] + transform[5] * down / 2;
    reduced.wkt = dataset->GetProjectionRef();
    reduced.isColoured = isColoured(*dataset);
    const int first = reduced.isColoured ? 1 : static_cast<int>(band) + 1;
    reduced.name = dataset->GetRasterBand(first)->GetDescription();
    reduced.unit = dataset->GetRasterBand(first)->GetUnitType();
    if (reduced.unit == noUnit)
        reduced.unit.clear();
    for (int i = first; i < first + (reduced.isColoured ? 3 : 1); ++i) {
        const auto reduce = reduction == Reduction::Average ? averaged : mostFrequent;
        reduced.planes.push_back(reduce(*dataset->GetRasterBand(i), factors, reduced));
        if (reduced.planes.back().empty())
            fail(path, "cannot be read (" + messages.text() + ")");
    }
    if (reduced.isColoured)
        fitIntoBytes(reduced.planes);
    return reduced;
}

void closeSpecks(std::vector<float>& plane, int width, int height) {
    constexpr int passes = 3;
    constexpr int most = 5; // of eight: less would let the data grow along straight edges too
    for (int pass = 0; pass < passes; ++pass) {
        const std::vector<float> before = plane;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const auto at = [&](int column, int row) {
                    return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                           static_cast<std::size_t>(column);
                };
                if (!std::isnan(before[at(x, y)]))
                    continue;
                float sum = 0;
                int count = 0;
                for (int row = std::max(y - 1, 0); row <= std::min(y + 1, height - 1); ++row)
                    for (int column = std::max(x - 1, 0); column <= std::min(x + 1, width - 1); ++column)
                        if (const float value = before[at(column, row)]; !std::isnan(value)) {
                            sum += value;
                            ++count;
                        }
                if (count >= most)
                    plane[at(x, y)] = sum / static_cast<float>(count);
            }
    }
}

} // namespace Tilewright::Io
