#include <io/rasters/GroundSurface.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include <io/gdal/Gdal.h>
#include <io/rasters/ExistingRaster.h>
#include <io/system/Errors.h>
#include <io/system/WideVectors.h>

namespace Tilewright::Io {

namespace {

constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

/// Between four centres, of which the first is in the north-west and the last in the south-east.
double blend(double a, double b, double c, double d, double toEast, double toSouth) {
    const double north = a + toEast * (b - a);
    const double south = c + toEast * (d - c);
    return north + toSouth * (south - north);
}

/// Finds for points at these distances from the edge of the first cell between the centres of which two cells
/// each lies: the first of the two, and the distance from its centre in cells. A point that is not between
/// centres has a distance that is not between 0 and 1.
TILEWRIGHT_WIDE_VECTORS void findPlaces(const double* distances, std::size_t count, double perUnit,
                                        std::uint64_t cells, std::uint32_t* firsts, double* shares) {
    const auto last = static_cast<double>(cells - 2);
    for (std::size_t i = 0; i < count; ++i) {
        const double place = distances[i] * perUnit - 0.5;
        double first = place > 0.0 ? place : 0.0;
        first = first < last ? first : last;
        const auto cell = static_cast<std::int32_t>(first);
        firsts[i] = static_cast<std::uint32_t>(cell);
        shares[i] = place - static_cast<double>(cell);
    }
}

} // namespace

/// The first band of a raster.
class GroundSurface::File {
public:
    explicit File(const std::filesystem::path& path) : Name(path.string()), Data(openRaster(path)) {
        if (!Data || Data->GetRasterCount() == 0)
            throw InputError(Name + ": is not a raster");
        std::array<double, 6> place = {};
        Data->GetGeoTransform(place.data());
        IsSouthUp = place[5] > 0.0;
        GDALRasterBand& band = *Data->GetRasterBand(1);
        int isThere = 0;
        Scale = band.GetScale(&isThere);
        Scale = isThere != 0 ? Scale : 1.0;
        Offset = band.GetOffset(&isThere);
        Offset = isThere != 0 ? Offset : 0.0;
    }

    /// Rows are counted from the north.
    void read(std::uint64_t column, std::uint64_t row, std::uint64_t columns, std::uint64_t rows,
              std::vector<double>& heights) {
        const GdalMessages messages;
        const auto firstRow =
            IsSouthUp ? static_cast<std::uint64_t>(Data->GetRasterYSize()) - row - rows : row;
        std::vector<unsigned char> isData(columns * rows);
        const auto transfer = [&](GDALRasterBand& band, void* room, GDALDataType type) {
            return band.RasterIO(GF_Read, static_cast<int>(column), static_cast<int>(firstRow),
                                 static_cast<int>(columns), static_cast<int>(rows), room,
                                 static_cast<int>(columns), static_cast<int>(rows), type, 0, 0, nullptr);
        };
        heights.resize(columns * rows);
        GDALRasterBand& band = *Data->GetRasterBand(1);
        if (transfer(band, heights.data(), GDT_Float64) != CE_None ||
            transfer(*band.GetMaskBand(), isData.data(), GDT_Byte) != CE_None)
            throw InputError(Name + ": cannot be read: " + messages.text());
        for (std::size_t i = 0; i < heights.size(); ++i)
            heights[i] = isData[i] != 0 && std::isfinite(heights[i]) ? heights[i] * Scale + Offset : nothing;
        for (std::uint64_t r = 0; IsSouthUp && r < rows / 2; ++r)
            std::swap_ranges(heights.begin() + static_cast<std::ptrdiff_t>(r * columns),
                             heights.begin() + static_cast<std::ptrdiff_t>((r + 1) * columns),
                             heights.begin() + static_cast<std::ptrdiff_t>((rows - 1 - r) * columns));
    }

    const std::string& name() const { return Name; }

private:
    std::string Name;
    GDALDatasetUniquePtr Data;
    bool IsSouthUp = false;
    double Scale = 1.0;
    double Offset = 0.0;
};

GroundSurface::GroundSurface(const std::filesystem::path& raster, std::uint64_t mostBytes)
    : Geometry(geometryOf(raster)), TilesAcross((Geometry.width + tileSide - 1) / tileSide),
      Source(std::make_unique<File>(raster)), MostBytes(mostBytes),
      Tiles(TilesAcross * ((Geometry.height + tileSide - 1) / tileSide)) {}

GroundSurface::GroundSurface(const RasterGeometry& geometry, std::vector<double> heights)
    : Geometry(geometry), TilesAcross(0), Heights(std::move(heights)) {}

GroundSurface::~GroundSurface() {
    for (const std::atomic<const Tile*>& tile : Tiles)
        delete tile.load();
}

const GroundSurface::Tile& GroundSurface::load(std::size_t number) const {
    const std::lock_guard guard(Lock);
    // Another thread may have been quicker.
    if (const Tile* const tile = Tiles[number])
        return *tile;
    Bytes += tileSide * tileSide * sizeof(double);
    if (Bytes > MostBytes)
        throw InputError(Source->name() +
                         ": the ground below the points takes more memory than --memory "
                         "leaves, " +
                         std::to_string(MostBytes >> 20) + " MiB; give more, or bounds");
    const std::uint64_t column = number % TilesAcross * tileSide, row = number / TilesAcross * tileSide;
    const std::uint64_t columns = std::min(tileSide, Geometry.width - column);
    const std::uint64_t rows = std::min(tileSide, Geometry.height - row);
    std::vector<double> heights;
    Source->read(column, row, columns, rows, heights);
    auto tile = std::make_unique<Tile>(tileSide * tileSide, nothing);
    for (std::uint64_t r = 0; r < rows; ++r)
        std::copy_n(heights.begin() + static_cast<std::ptrdiff_t>(r * columns), columns,
                    tile->begin() + static_cast<std::ptrdiff_t>(r * tileSide));
    Tiles[number] = tile.get();
    return *tile.release();
}

const GroundSurface::Tile& GroundSurface::tile(std::size_t number) const {
    const Tile* const found = Tiles[number].load(std::memory_order_acquire);
    return found ? *found : load(number);
}

double GroundSurface::pixel(std::uint64_t column, std::uint64_t row) const {
    if (!Source)
        return Heights[row * Geometry.width + column];
    return tile(row / tileSide * TilesAcross +
                column / tileSide)[row % tileSide * tileSide + column % tileSide];
}

double GroundSurface::heightAt(double x, double y) const {
    const double across = (x - Geometry.west) * (1.0 / Geometry.pixelWidth);
    const double down = (Geometry.north - y) * (1.0 / Geometry.pixelHeight);
    if (!(across >= 0.0 && across <= static_cast<double>(Geometry.width) && down >= 0.0 &&
          down <= static_cast<double>(Geometry.height)))
        return nothing;
    // From centre to centre; beyond the outermost ones there are no others.
    const double fromFirst = std::clamp(across - 0.5, 0.0, static_cast<double>(Geometry.width - 1));
    const double fromTop = std::clamp(down - 0.5, 0.0, static_cast<double>(Geometry.height - 1));
    const auto column = static_cast<std::uint64_t>(fromFirst), row = static_cast<std::uint64_t>(fromTop);
    const double toEast = fromFirst - static_cast<double>(column),
                 toSouth = fromTop - static_cast<double>(row);
    const std::uint64_t east = std::min(column + 1, Geometry.width - 1);
    const std::uint64_t south = std::min(row + 1, Geometry.height - 1);
    const std::array<double, 4> heights = {pixel(column, row), pixel(east, row), pixel(column, south),
                                           pixel(east, south)};
    const std::array<double, 4> weights = {(1.0 - toEast) * (1.0 - toSouth), toEast * (1.0 - toSouth),
                                           (1.0 - toEast) * toSouth, toEast * toSouth};
    const double height =
        heights[0] * weights[0] + heights[1] * weights[1] + heights[2] * weights[2] + heights[3] * weights[3];
    if (!std::isnan(height)) [[likely]]
        return height;
    // The cell that the point lies in has the largest of the weights.
    if (std::isnan(heights[(toSouth >= 0.5 ? 2U : 0U) + (toEast >= 0.5 ? 1U : 0U)]))
        return nothing;
    double sum = 0.0, weight = 0.0;
    for (std::size_t i = 0; i < 4; ++i)
        if (!std::isnan(heights[i])) {
            sum += heights[i] * weights[i];
            weight += weights[i];
        }
    return sum / weight;
}

/// Points between centres of cells: of each the first of the four in the north-west, and where it lies among
/// them.
struct GroundSurface::Places {
    static constexpr std::size_t most = 256;

    std::array<std::uint32_t, most> columns;
    std::array<std::uint32_t, most> rows;
    std::array<double, most> toEast;
    std::array<double, most> toSouth;

    bool areBetween(std::size_t i) const {
        const double least = std::min(toEast[i], toSouth[i]), greatest = std::max(toEast[i], toSouth[i]);
        return least >= 0.0 && greatest < 1.0;
    }
};

std::size_t GroundSurface::subtract(const double* x, const double* y, const double* z, std::size_t count,
                                    double* above) const {
    // A place is a 32-bit integer, and has neighbours.
    constexpr std::uint64_t most = std::numeric_limits<std::int32_t>::max();
    const bool isUsual =
        Geometry.width >= 2 && Geometry.height >= 2 && Geometry.width <= most && Geometry.height <= most;
    Places places;
    std::array<double, Places::most> distances;
    std::size_t without = 0;
    for (std::size_t first = 0; first < count; first += Places::most) {
        const std::size_t n = std::min(Places::most, count - first);
        if (isUsual) {
            for (std::size_t i = 0; i < n; ++i)
                distances[i] = x[first + i] - Geometry.west;
            findPlaces(distances.data(), n, 1.0 / Geometry.pixelWidth, Geometry.width, places.columns.data(),
                       places.toEast.data());
            for (std::size_t i = 0; i < n; ++i)
                distances[i] = Geometry.north - y[first + i];
            findPlaces(distances.data(), n, 1.0 / Geometry.pixelHeight, Geometry.height, places.rows.data(),
                       places.toSouth.data());
            if (Source)
                subtractTiles(places, z + first, n, above + first);
            else
                subtractHeights(places, z + first, n, above + first);
        } else {
            std::fill_n(above + first, n, nothing);
        }
        for (std::size_t i = first; i < first + n; ++i)
            if (std::isnan(above[i])) [[unlikely]] {
                above[i] = z[i] - heightAt(x[i], y[i]);
                without += std::isnan(above[i]) ? 1 : 0;
            }
    }
    return without;
}

void GroundSurface::subtractHeights(const Places& places, const double* z, std::size_t count,
                                    double* above) const {
    const std::uint64_t across = Geometry.width;
    for (std::size_t i = 0; i < count; ++i) {
        const double* const north = Heights.data() + places.rows[i] * across + places.columns[i];
        const double* const south = north + across;
        const double height =
            blend(north[0], north[1], south[0], south[1], places.toEast[i], places.toSouth[i]);
        above[i] = places.areBetween(i) ? z[i] - height : nothing;
    }
}

/// Mostly all four cells are those of one tile, the one that had the last point. Other points are left to be
/// looked up one by one.
void GroundSurface::subtractTiles(const Places& places, const double* z, std::size_t count,
                                  double* above) const {
    std::size_t number = Tiles.size();
    const double* pixels = nullptr;
    for (std::size_t i = 0; i < count; ++i) {
        above[i] = nothing;
        const std::size_t column = places.columns[i] % tileSide, row = places.rows[i] % tileSide;
        if (column + 1 == tileSide || row + 1 == tileSide || !places.areBetween(i))
            continue;
        const std::size_t here = places.rows[i] / tileSide * TilesAcross + places.columns[i] / tileSide;
        if (here != number) {
            pixels = tile(here).data();
            number = here;
        }
        const double* const north = pixels + row * tileSide + column;
        const double* const south = north + tileSide;
        above[i] = z[i] - blend(north[0], north[1], south[0], south[1], places.toEast[i], places.toSouth[i]);
    }
}

} // namespace Tilewright::Io
