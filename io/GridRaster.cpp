#include <io/GridRaster.h>

#include <algorithm>
#include <bitset>
#include <limits>

#include <io/Errors.h>
#include <tilewright/arrays/MemArray.h>
#include <tilewright/model/RegularlyFragmentedField.h>

namespace Tilewright::Io {

namespace {

using Quill::MultiIndex;

constexpr unsigned char cellWithoutData = 1;

template <class O> using CellArrayPtr = Larder::StrongPtr<Quill::MemArray<3, O>, Larder::Cacheable>;

/// Looks for a value that no cell has, to stand for nodata: -9999 or the lowest of all for floating numbers,
/// one of the 256 largest for integers.
template <class O> class FreeValueSearch {
public:
    void markUsed(O v) {
        if constexpr (std::is_floating_point_v<O>)
            UsesUsual |= v == O(-9999);
        else if (const auto fromTop = static_cast<unsigned long long>(std::numeric_limits<O>::max()) -
                                      static_cast<unsigned long long>(v);
                 fromTop < 256)
            UsedFromTop[fromTop] = true;
    }

    std::optional<O> find() const {
        if constexpr (std::is_floating_point_v<O>)
            return UsesUsual ? std::numeric_limits<O>::lowest() : O(-9999);
        for (std::size_t fromTop = 0; fromTop < 256; ++fromTop)
            if (!UsedFromTop[fromTop])
                return static_cast<O>(std::numeric_limits<O>::max() - static_cast<O>(fromTop));
        return std::nullopt;
    }

private:
    bool UsesUsual = false;
    std::bitset<256> UsedFromTop;
};

} // namespace

/// The own cells of all fragments of a band, one fragment at a time.
template <class O> class GridRaster::BandView {
public:
    BandView(const GridRaster& raster, const RasterBand& band) : Raster(raster), Band(band) {}

    /// Calls `visit(fragment's first column, first row from the south, columns, rows, value(c, r), hasData(c,
    /// r))` for each fragment that has data, and for a companion for each fragment.
    template <class Visitor> void forEachFragment(Visitor&& visit) const {
        const RasterLattice& lattice = Raster.Lattice;
        const std::uint64_t rim = lattice.rimBefore();
        MultiIndex<3> index;
        do {
            Quill::ArrayPtr array = Raster.arrayOf(Band.field, index);
            const Quill::ArrayPtr types = Raster.arrayOf("CellType", index);
            if (array && Band.component)
                array = array->getComponentArray(*Band.component, {});
            const CellArrayPtr<O> typed = array;
            const CellArrayPtr<unsigned char> cellTypes = types;
            const std::uint64_t column = index[0] * lattice.x().cellsPerFragment();
            const std::uint64_t row = index[1] * lattice.y().cellsPerFragment();
            const std::uint64_t columns =
                std::min(lattice.x().cellsPerFragment(), lattice.x().cells() - column);
            const std::uint64_t rows = std::min(lattice.y().cellsPerFragment(), lattice.y().cells() - row);
            if (!typed || !cellTypes) {
                const O absent = Band.field == "CellType" ? O(cellWithoutData) : O();
                if (!Band.isMasked)
                    visit(
                        column, row, columns, rows, [&](std::uint64_t, std::uint64_t) { return absent; },
                        [](std::uint64_t, std::uint64_t) { return true; });
                continue;
            }
            const Quill::MemArray<3, O>& values = *typed;
            const Quill::MemArray<3, unsigned char>& type = *cellTypes;
            visit(
                column, row, columns, rows,
                [&](std::uint64_t c, std::uint64_t r) { return values[MultiIndex<3>(c + rim, r + rim, 0)]; },
                [&](std::uint64_t c, std::uint64_t r) {
                    return !Band.isMasked || type[MultiIndex<3>(c + rim, r + rim, 0)] != cellWithoutData;
                });
        } while (index.inc(lattice.fragmentCount()));
    }

private:
    const GridRaster& Raster;
    const RasterBand& Band;
};

GridRaster::GridRaster(const Quill::GridPtr& grid, const RasterLattice& lattice)
    : Grid(grid), Fields(grid->getCartesianRepresentation("")), Lattice(lattice) {}

Quill::ArrayPtr GridRaster::arrayOf(const std::string& field, const MultiIndex<3>& fragment) const {
    const Quill::RegularFieldPtr typed = Fields->findField(field);
    return typed ? typed->getData(typed->getFragmentID(fragment)) : Quill::ArrayPtr();
}

Quill::ArrayPtr GridRaster::anyArrayOf(const std::string& field) const {
    MultiIndex<3> index;
    do {
        if (const Quill::ArrayPtr array = arrayOf(field, index))
            return array;
    } while (index.inc(Lattice.fragmentCount()));
    return {};
}

std::vector<RasterBand> GridRaster::bandsOf(const std::string& field) const {
    const Quill::ArrayPtr array = anyArrayOf(field);
    if (!array)
        return {};
    if (array->valueType().scalarCount == 1)
        return {{field, field, {}, true, {}}};
    const Larder::StrongPtr<Quill::QuillTypeBase, Quill::QuillTypeBase> type =
        Quill::QuillTypeBase::find(array->getType());
    std::vector<RasterBand> bands;
    bands.reserve(array->valueType().scalarCount);
    for (int c = 0; c < static_cast<int>(array->valueType().scalarCount); ++c)
        bands.push_back({field + "-" + type->coordinate_component_name(c), field, c, true, {}});
    return bands;
}

std::string GridRaster::compareCounts(std::span<const std::uint32_t> counts, unsigned sparseLimit) const {
    std::uint64_t seen = 0;
    std::string difference;
    const RasterBand density{"Density", "Density", {}, true, {}};
    BandView<unsigned short>(*this, density)
        .forEachFragment([&](std::uint64_t column, std::uint64_t row, std::uint64_t columns,
                             std::uint64_t rows, const auto& value, const auto& hasData) {
            for (std::uint64_t r = 0; r < rows; ++r)
                for (std::uint64_t c = 0; c < columns; ++c) {
                    const std::uint32_t wanted = counts[(row + r) * Lattice.x().cells() + column + c];
                    seen += wanted;
                    // The library's density has 16 bits and is 0 in a sparse cell.
                    const bool isDense = wanted > sparseLimit;
                    if (hasData(c, r) != isDense ||
                        value(c, r) != static_cast<unsigned short>(isDense ? wanted : 0))
                        difference = "cell " + std::to_string(column + c) + "," + std::to_string(row + r) +
                                     " has " + std::to_string(wanted) +
                                     " points, but not all of them were rastered";
                }
        });
    std::uint64_t total = 0;
    for (const std::uint32_t count : counts)
        total += count;
    if (difference.empty() && seen != total)
        difference = std::to_string(total - seen) + " points lie in fragments that were not rastered";
    return difference;
}

GeoTiffWriter GridRaster::writeBand(const RasterBand& band, const std::filesystem::path& path,
                                    const std::string& wkt, BandSummary& summary) const {
    Quill::ArrayPtr array = anyArrayOf(band.field);
    if (array && band.component)
        array = array->getComponentArray(*band.component, {});
    std::optional<GeoTiffWriter> writer;
    Quill::probeTypes(Quill::FieldValueTypes(), [&]<class T>(std::type_identity<T>) {
        if constexpr (PixelValue<T>) {
            if (array && array->getType() == typeid(T))
                writer = writeTyped<T>(band, path, wkt, summary);
        }
        return writer.has_value();
    });
    if (!writer)
        throw OutputError(path.string() + ": the band " + band.name + " has no data");
    return std::move(*writer);
}

template <class O>
GeoTiffWriter GridRaster::writeTyped(const RasterBand& band, const std::filesystem::path& path,
                                     const std::string& wkt, BandSummary& summary) const {
    const BandView<O> view(*this, band);
    FreeValueSearch<O> freeValue;
    summary = {0, std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(), false};
    view.forEachFragment([&](std::uint64_t, std::uint64_t, std::uint64_t columns, std::uint64_t rows,
                             const auto& value, const auto& hasData) {
        for (std::uint64_t r = 0; r < rows; ++r)
            for (std::uint64_t c = 0; c < columns; ++c) {
                if (!hasData(c, r))
                    continue;
                const O v = value(c, r);
                ++summary.filled;
                summary.least = std::min(summary.least, static_cast<double>(v));
                summary.greatest = std::max(summary.greatest, static_cast<double>(v));
                freeValue.markUsed(v);
            }
    });
    const std::optional<O> nodata = band.isMasked ? freeValue.find() : std::optional<O>();
    summary.hasNoData = nodata.has_value();

    BandDescription description;
    description.name = band.name;
    description.type = pixelTypeOf<O>;
    description.unit = band.unit;
    if constexpr (std::is_same_v<O, unsigned long long>)
        description.nodata = nodata ? std::optional<NoData>(*nodata) : std::nullopt;
    else
        description.nodata = nodata ? std::optional<NoData>(static_cast<double>(*nodata)) : std::nullopt;
    const RasterGeometry geometry = {Lattice.x().cells(),
                                     Lattice.y().cells(),
                                     Lattice.x().edge(0),
                                     Lattice.y().edge(Lattice.y().cells()),
                                     Lattice.x().cellSize(),
                                     Lattice.y().cellSize(),
                                     wkt};
    GeoTiffWriter writer(path, geometry, description);
    std::vector<O> window;
    view.forEachFragment([&](std::uint64_t column, std::uint64_t row, std::uint64_t columns,
                             std::uint64_t rows, const auto& value, const auto& hasData) {
        window.clear();
        for (std::uint64_t r = rows; r-- > 0;)
            for (std::uint64_t c = 0; c < columns; ++c)
                window.push_back(hasData(c, r) ? value(c, r) : nodata.value_or(O()));
        writer.write<O>(column, Lattice.y().cells() - row - rows, columns, rows, window);
    });
    return writer;
}

} // namespace Tilewright::Io
