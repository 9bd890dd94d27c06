#include <io/rasters/RasterBlocks.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include <cpl_string.h>

#include <io/gdal/Gdal.h>
#include <io/rasters/GdalFiles.h>
#include <io/rasters/HoleFilling.h>
#include <io/rasters/PixelTypes.h>

namespace Tilewright::Io {

namespace {

/// Bytes of blocks that may wait for the rest of their pixels. Beyond that, the first in the file are
/// written.
constexpr std::size_t mostWaiting = std::size_t(64) << 20;

/// Whether the pixel may read back as `blank`.
template <class T> bool isBlank(T pixel, T blank) {
    if constexpr (std::is_floating_point_v<T>)
        if (std::isnan(blank))
            return std::isnan(pixel);
    // Compares bits, because 0 and -0 are equal.
    return std::memcmp(&pixel, &blank, sizeof(T)) == 0;
}

} // namespace

std::unique_ptr<RasterBlocks> RasterBlocks::over(GDALDataset& dataset, const RasterDescription& description) {
    return withPixelType(description.type, [&]<class T>(T) -> std::unique_ptr<RasterBlocks> {
        return std::make_unique<RasterBlocksOf<T>>(dataset, description);
    });
}

template <class T>
RasterBlocksOf<T>::RasterBlocksOf(GDALDataset& dataset, const RasterDescription& description)
    : dataset(dataset), width(description.geometry.width), height(description.geometry.height),
      bands(description.bands.size()), alphaBand(alphaBandOf(description)),
      alphaIsMask(alphaBand && !description.nodata), filling(description.filling) {
    for (const BandDescription& band : description.bands)
        isCategory.push_back(band.isCategory);
    int blockSize[2];
    dataset.GetRasterBand(1)->GetBlockSize(&blockSize[0], &blockSize[1]);
    blockWidth = static_cast<std::uint64_t>(blockSize[0]);
    blockHeight = static_cast<std::uint64_t>(blockSize[1]);
    blocksAcross = (width + blockWidth - 1) / blockWidth;
    blocks = blocksAcross * ((height + blockHeight - 1) / blockHeight);
    const char* interleave = dataset.GetMetadataItem("INTERLEAVE", "IMAGE_STRUCTURE");
    const bool together = alphaIsMask || (interleave && EQUAL(interleave, "PIXEL"));
    bandsPerUnit = together ? bands : 1;
    if (description.nodata)
        nodata = asPixel<T>(*description.nodata);
    absent = nodata.value_or(T());
    written.resize(bands / bandsPerUnit * blocks);
    tallies.assign(bands, std::vector<PixelTally>(blocks));
    filledHoles.assign(bands, 0);
}

template <class T>
typename RasterBlocksOf<T>::Rectangle RasterBlocksOf<T>::rectangleOf(std::uint64_t block) const {
    const std::uint64_t column = block % blocksAcross * blockWidth;
    const std::uint64_t row = block / blocksAcross * blockHeight;
    return {column, row, std::min(blockWidth, width - column), std::min(blockHeight, height - row)};
}

template <class T> bool RasterBlocksOf<T>::holds(std::uint64_t unit, std::optional<std::size_t> band) const {
    return band && *band >= firstBandOf(unit) && *band < firstBandOf(unit) + bandsPerUnit;
}

template <class T> bool RasterBlocksOf<T>::hasHoles(std::size_t band) const {
    return alphaIsMask || (nodata && band != alphaBand);
}

template <class T> bool RasterBlocksOf<T>::isAbsent(std::span<const T> planes) const {
    return std::all_of(planes.begin(), planes.end(), [&](T pixel) { return isBlank(pixel, absent); });
}

template <class T>
typename RasterBlocksOf<T>::Planes RasterBlocksOf<T>::emptyPlanes(std::uint64_t unit) const {
    const std::size_t plane = blockWidth * blockHeight;
    Planes planes(bandsPerUnit * plane, absent);
    if (holds(unit, alphaBand))
        std::fill_n(planes.data() + (*alphaBand - firstBandOf(unit)) * plane, plane, T());
    return planes;
}

template <class T>
void RasterBlocksOf<T>::write(std::size_t band, std::uint64_t column, std::uint64_t row,
                              std::uint64_t columns, std::uint64_t rows, const T* values) {
    if (columns == 0 || rows == 0)
        return;
    for (std::uint64_t down = row / blockHeight; down * blockHeight < row + rows; ++down)
        for (std::uint64_t across = column / blockWidth; across * blockWidth < column + columns; ++across) {
            const std::uint64_t block = down * blocksAcross + across;
            const Rectangle whole = rectangleOf(block);
            Rectangle part = {std::max(whole.column, column), std::max(whole.row, row), 0, 0};
            part.columns = std::min(whole.column + whole.columns, column + columns) - part.column;
            part.rows = std::min(whole.row + whole.rows, row + rows) - part.row;
            const T* first = values + (part.row - row) * columns + (part.column - column);
            if (bandsPerUnit > 1 || part.columns < whole.columns || part.rows < whole.rows) {
                putAside(band, block, part, first, columns);
                continue;
            }
            const std::uint64_t unit = unitOf(band, block);
            waiting.erase(unit);
            if (columns == blockWidth && part.rows == blockHeight) {
                put(unit, {first, blockWidth * blockHeight});
                continue;
            }
            Planes padded = emptyPlanes(unit);
            copyInto(padded.data(), block, part, first, columns);
            put(unit, padded);
        }
}

template <class T>
void RasterBlocksOf<T>::copyInto(T* plane, std::uint64_t block, const Rectangle& part, const T* values,
                                 std::uint64_t stride) const {
    const Rectangle whole = rectangleOf(block);
    T* to = plane + (part.row - whole.row) * blockWidth + (part.column - whole.column);
    for (std::uint64_t row = 0; row < part.rows; ++row)
        std::copy_n(values + row * stride, part.columns, to + row * blockWidth);
}

template <class T>
void RasterBlocksOf<T>::putAside(std::size_t band, std::uint64_t block, const Rectangle& part,
                                 const T* values, std::uint64_t stride) {
    const std::uint64_t unit = unitOf(band, block);
    const std::size_t plane = blockWidth * blockHeight;
    auto found = waiting.find(unit);
    if (found == waiting.end()) {
        const std::size_t bytes = bandsPerUnit * plane * sizeof(T);
        if (!waiting.empty() && (waiting.size() + 1) * bytes > mostWaiting) {
            put(waiting.begin()->first, waiting.begin()->second.planes);
            waiting.erase(waiting.begin());
        }
        const Rectangle whole = rectangleOf(block);
        Unit fresh = {emptyPlanes(unit), whole.columns * whole.rows * bandsPerUnit};
        if (written[unit])
            for (std::size_t i = 0; i < bandsPerUnit; ++i)
                read(firstBandOf(unit) + i, block, fresh.planes.data() + i * plane);
        found = waiting.emplace(unit, std::move(fresh)).first;
    }
    Unit& part_of = found->second;
    copyInto(part_of.planes.data() + (band - firstBandOf(unit)) * plane, block, part, values, stride);
    // If windows overlap, a block is written too early and then again.
    part_of.missing -= std::min(part_of.missing, part.columns * part.rows);
    if (part_of.missing == 0) {
        put(unit, part_of.planes);
        waiting.erase(found);
    }
}

template <class T> void RasterBlocksOf<T>::put(std::uint64_t unit, std::span<const T> planes) {
    if (!written[unit] && isAbsent(planes))
        return;
    written[unit] = true;
    tally(unit, planes);
    for (std::size_t i = 0; i < bandsPerUnit; ++i)
        write(firstBandOf(unit) + i, unit % blocks, planes.data() + i * blockWidth * blockHeight);
}

template <class T> void RasterBlocksOf<T>::tally(std::uint64_t unit, std::span<const T> planes) {
    const Rectangle whole = rectangleOf(unit % blocks);
    const std::size_t plane = blockWidth * blockHeight;
    for (std::size_t i = 0; i < bandsPerUnit; ++i) {
        const std::size_t band = firstBandOf(unit) + i;
        PixelTally& sum = tallies[band][unit % blocks];
        const PixelWindow<T> window = {planes.data() + i * plane, whole.columns, whole.rows, blockWidth};
        if (alphaIsMask && band != alphaBand) {
            const T* alpha = planes.data() + *alphaBand * plane;
            sum = tallyOf(window, [=](std::size_t pixel) { return alpha[pixel] != T(); });
        } else if (nodata && band != alphaBand) {
            const auto hasData = [pixels = window.first, blank = *nodata](std::size_t pixel) {
                return pixels[pixel] != blank;
            };
            sum = tallyOf(window, hasData);
        } else {
            sum = tallyOf(window, [](std::size_t) { return true; });
        }
    }
}

template <class T> void RasterBlocksOf<T>::flush() {
    for (const auto& [unit, content] : waiting)
        put(unit, content.planes);
    waiting.clear();
    if (!nodata)
        return;
    // Missing blocks would read as the nodata value, which is not an alpha.
    for (std::uint64_t unit = 0; unit < written.size(); ++unit)
        if (!written[unit] && holds(unit, alphaBand))
            put(unit, emptyPlanes(unit));
}

template <class T> BandStatistics RasterBlocksOf<T>::statistics(std::size_t band) const {
    const bool absentCounts = !nodata && (!alphaIsMask || band == alphaBand);
    PixelTally all;
    for (std::uint64_t block = 0; block < blocks; ++block) {
        const Rectangle whole = rectangleOf(block);
        if (written[unitOf(band, block)])
            all.add(tallies[band][block]);
        else if (absentCounts)
            all.add(PixelTally::zeros(whole.columns * whole.rows));
    }
    BandStatistics statistics = all.statistics();
    statistics.filledHoles = filledHoles[band];
    return statistics;
}

template <class T> void RasterBlocksOf<T>::read(std::size_t band, std::uint64_t block, T* plane) {
    const GdalMessages messages;
    const CPLErr outcome = dataset.GetRasterBand(static_cast<int>(band) + 1)
                               ->ReadBlock(static_cast<int>(block % blocksAcross),
                                           static_cast<int>(block / blocksAcross), plane);
    expect(outcome, messages, "cannot be read back");
}

template <class T> void RasterBlocksOf<T>::write(std::size_t band, std::uint64_t block, const T* plane) {
    const GdalMessages messages;
    // GDAL takes a pointer to non-const but does not write to it.
    const CPLErr outcome = dataset.GetRasterBand(static_cast<int>(band) + 1)
                               ->WriteBlock(static_cast<int>(block % blocksAcross),
                                            static_cast<int>(block / blocksAcross), const_cast<T*>(plane));
    expect(outcome, messages, "cannot be written");
}

template <class T>
void RasterBlocksOf<T>::fill(double distance, const std::filesystem::path& folder,
                             const FilledVisitor& visit) {
    // No two pixels are farther apart. With a larger distance GDAL would search beyond the edges, step by
    // step.
    distance = std::min(distance, std::hypot(static_cast<double>(width), static_cast<double>(height)));
    bool any = false;
    for (std::size_t band = 0; band < bands; ++band)
        if (band != alphaBand && hasHoles(band)) {
            fillBand(band, distance, folder, visit);
            // What was marked in other bands of the same blocks.
            flush();
            any = true;
        }
    if (!any)
        return;
    // Alpha comes last, because it marks the holes of the others. Without it, filled colours would be
    // invisible.
    if (alphaIsMask)
        fillBand(*alphaBand, distance, folder, visit);
    for (std::uint64_t unit = 0; unit < written.size(); ++unit) {
        if (!written[unit])
            continue;
        Planes planes = emptyPlanes(unit);
        for (std::size_t i = 0; i < bandsPerUnit; ++i)
            read(firstBandOf(unit) + i, unit % blocks, planes.data() + i * blockWidth * blockHeight);
        tally(unit, planes);
    }
}

template <class T>
void RasterBlocksOf<T>::mark(std::size_t band, const PixelRectangle& place,
                             const std::vector<char>& isFilled) {
    const Planes ones(isFilled.begin(), isFilled.end());
    write(band, place.column, place.row, place.columns, place.rows, ones.data());
}

template <class T>
void RasterBlocksOf<T>::fillBand(std::size_t band, double distance, const std::filesystem::path& folder,
                                 const FilledVisitor& visit) {
    const BandWithHoles holes = {
        width, height, blockHeight,
        [&](std::uint64_t row, double* rows) { copyHoles(band, row / blockHeight * blocksAcross, rows); },
        [&](std::uint64_t row, const double* rows) {
            copyFilled(band, row / blockHeight * blocksAcross, rows, visit);
        }};
    fillHoles(holes, isCategory[band] ? Filling::Nearest : filling, distance, folder);
}

/// Reads a block and marks its pixels without data.
template <class T>
void RasterBlocksOf<T>::readWithHoles(std::size_t band, std::uint64_t block, Planes& plane,
                                      std::vector<char>& isHole) {
    Planes mask(alphaIsMask ? plane.size() : 0);
    read(band, block, plane.data());
    if (alphaIsMask)
        read(*alphaBand, block, mask.data());
    for (std::size_t i = 0; i < plane.size(); ++i)
        isHole[i] = alphaIsMask ? mask[i] == T() : plane[i] == *nodata || isBlank(plane[i], *nodata);
}

template <class T> void RasterBlocksOf<T>::copyHoles(std::size_t band, std::uint64_t first, double* rows) {
    constexpr double hole = std::numeric_limits<double>::quiet_NaN();
    Planes plane(blockWidth * blockHeight);
    std::vector<char> isHole(plane.size());
    for (std::uint64_t block = first; block < first + blocksAcross; ++block) {
        const Rectangle place = rectangleOf(block);
        readWithHoles(band, block, plane, isHole);
        for (std::uint64_t row = 0; row < place.rows; ++row)
            for (std::uint64_t column = 0; column < place.columns; ++column) {
                const std::size_t i = row * blockWidth + column;
                rows[row * width + place.column + column] = isHole[i] ? hole : static_cast<double>(plane[i]);
            }
    }
}

template <class T>
void RasterBlocksOf<T>::copyFilled(std::size_t band, std::uint64_t first, const double* rows,
                                   const FilledVisitor& visit) {
    Planes plane(blockWidth * blockHeight);
    std::vector<char> isHole(plane.size());
    for (std::uint64_t block = first; block < first + blocksAcross; ++block) {
        const Rectangle place = rectangleOf(block);
        readWithHoles(band, block, plane, isHole);
        bool changed = false;
        std::vector<char> isFilled(place.columns * place.rows);
        for (std::uint64_t row = 0; row < place.rows; ++row)
            for (std::uint64_t column = 0; column < place.columns; ++column) {
                const std::size_t i = row * blockWidth + column;
                const double value = rows[row * width + place.column + column];
                if (isHole[i] && !std::isnan(value)) {
                    plane[i] = rounded<T>(value);
                    isFilled[row * place.columns + column] = 1;
                    changed = true;
                    ++filledHoles[band];
                }
            }
        if (changed) {
            written[unitOf(band, block)] = true;
            write(band, block, plane.data());
            if (visit)
                visit(band, place, isFilled);
        }
    }
}

template class RasterBlocksOf<float>;
template class RasterBlocksOf<double>;
template class RasterBlocksOf<unsigned char>;
template class RasterBlocksOf<unsigned short>;
template class RasterBlocksOf<unsigned int>;
template class RasterBlocksOf<unsigned long long>;
template class RasterBlocksOf<int>;

} // namespace Tilewright::Io
