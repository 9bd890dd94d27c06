#include <io/rasters/HoleFilling.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <cpl_string.h>
#include <gdal_alg.h>
#include <gdal_priv.h>

#include <io/gdal/Gdal.h>
#include <io/rasters/GdalFiles.h>

namespace Tilewright::Io {

namespace {

constexpr const char* cannotFill = "its holes cannot be filled";
constexpr double hole = std::numeric_limits<double>::quiet_NaN();

/// A raster in the working folder.
GDALDatasetUniquePtr workingFile(const BandWithHoles& band, int bands, GDALDataType type,
                                 const std::filesystem::path& path) {
    const GdalMessages messages;
    CPLStringList options;
    options.SetNameValue("BIGTIFF", "IF_SAFER");
    GDALDatasetUniquePtr file(driverFor("GTiff").Create(path.c_str(), static_cast<int>(band.width),
                                                        static_cast<int>(band.height), bands, type,
                                                        options.List()));
    if (!file)
        throw std::runtime_error(std::string(cannotFill) + " (" + messages.text() + ")");
    return file;
}

/// Transfers whole rows.
void transferRows(GDALRasterBand& copy, GDALRWFlag direction, std::uint64_t row, std::uint64_t count,
                  double* rows) {
    const GdalMessages messages;
    const int across = copy.GetXSize();
    const int down = static_cast<int>(count);
    expect(copy.RasterIO(direction, 0, static_cast<int>(row), across, down, rows, across, down, GDT_Float64,
                         0, 0, nullptr),
           messages, cannotFill);
}

/// Calls `visit(row, count)` for the rows that are transferred at a time.
template <class Visit> void forEachStrip(const BandWithHoles& band, const Visit& visit) {
    for (std::uint64_t row = 0; row < band.height; row += band.rowsAtATime)
        visit(row, std::min(band.rowsAtATime, band.height - row));
}

void copyHoles(const BandWithHoles& band, GDALRasterBand& copy) {
    std::vector<double> rows(band.width * band.rowsAtATime);
    forEachStrip(band, [&](std::uint64_t row, std::uint64_t count) {
        band.read(row, rows.data());
        transferRows(copy, GF_Write, row, count, rows.data());
    });
}

void copyFilled(const BandWithHoles& band, GDALRasterBand& copy) {
    std::vector<double> rows(band.width * band.rowsAtATime);
    forEachStrip(band, [&](std::uint64_t row, std::uint64_t count) {
        transferRows(copy, GF_Read, row, count, rows.data());
        band.takeFilled(row, rows.data());
    });
}

/// GDAL fills in single precision and rewrites every pixel of the band. So it works on a copy, and only the
/// filled holes return from there.
void fillByMeans(const BandWithHoles& band, double distance, const std::filesystem::path& folder) {
    const auto copy = workingFile(band, 1, GDT_Float32, folder / "holes.tif");
    GDALRasterBand& holes = *copy->GetRasterBand(1);
    holes.SetNoDataValue(hole);
    copyHoles(band, holes);
    const GdalMessages messages;
    expect(GDALFillNodata(&holes, nullptr, distance, 0, 0, nullptr, nullptr, nullptr), messages, cannotFill);
    copyFilled(band, holes);
}

/// The nearest data in the column of each pixel: its value, and how many rows away it is.
struct NearestInColumn {
    std::vector<double> values;
    std::vector<double> rows;

    explicit NearestInColumn(std::uint64_t width)
        : values(width, hole), rows(width, std::numeric_limits<double>::infinity()) {}

    /// Moves on to the next row.
    void step(const double* row) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            rows[i] = std::isnan(row[i]) ? rows[i] + 1.0 : 0.0;
            values[i] = std::isnan(row[i]) ? values[i] : row[i];
        }
    }
};

/// Gives each hole of a row the nearest value. Of several equally near ones those in the row and above it go
/// before those below, and then western ones before eastern ones.
void fillRow(const NearestInColumn& above, const NearestInColumn& below, double distance, double* row) {
    const std::size_t width = above.values.size();
    const std::size_t reach = static_cast<std::size_t>(std::min(distance, static_cast<double>(width)));
    std::vector<std::pair<std::size_t, double>> found;
    for (std::size_t i = 0; i < width; ++i) {
        if (!std::isnan(row[i]))
            continue;
        double nearest = distance * distance;
        double value = hole;
        const std::size_t end = std::min(width, i + reach + 1);
        for (std::size_t c = i > reach ? i - reach : 0; c < end; ++c) {
            const double across = c < i ? static_cast<double>(i - c) : static_cast<double>(c - i);
            const NearestInColumn& nearer = above.rows[c] <= below.rows[c] ? above : below;
            const double squared = across * across + nearer.rows[c] * nearer.rows[c];
            if (squared < nearest || (squared == nearest && std::isnan(value))) {
                nearest = squared;
                value = nearer.values[c];
            }
        }
        found.emplace_back(i, value);
    }
    for (const auto& [i, value] : found)
        row[i] = value;
}

/// Looks for the nearest data in each column first, downwards and upwards, and then along the rows.
void fillByNearest(const BandWithHoles& band, double distance, const std::filesystem::path& folder) {
    enum { given = 1, valuesAbove, rowsAbove };
    const auto file = workingFile(band, 3, GDT_Float64, folder / "nearest.tif");
    const auto transfer = [&](int number, GDALRWFlag direction, std::uint64_t row, double* values) {
        transferRows(*file->GetRasterBand(number), direction, row, 1, values);
    };
    std::vector<double> rows(band.width * band.rowsAtATime);
    NearestInColumn above(band.width), below(band.width);
    forEachStrip(band, [&](std::uint64_t row, std::uint64_t count) {
        band.read(row, rows.data());
        for (std::uint64_t r = 0; r < count; ++r) {
            double* const values = rows.data() + r * band.width;
            above.step(values);
            transfer(given, GF_Write, row + r, values);
            transfer(valuesAbove, GF_Write, row + r, above.values.data());
            transfer(rowsAbove, GF_Write, row + r, above.rows.data());
        }
    });
    for (std::uint64_t row = band.height; row-- > 0;) {
        transfer(given, GF_Read, row, rows.data());
        transfer(valuesAbove, GF_Read, row, above.values.data());
        transfer(rowsAbove, GF_Read, row, above.rows.data());
        below.step(rows.data());
        fillRow(above, below, distance, rows.data());
        transfer(given, GF_Write, row, rows.data());
    }
    copyFilled(band, *file->GetRasterBand(given));
}

/// A part of a band, with pixels around it.
struct Tile {
    std::uint64_t column, row, columns, rows;
    std::vector<double> values;

    double at(std::uint64_t c, std::uint64_t r) const { return values[r * columns + c]; }
};

/// Whether a pixel has data, and lies at a hole or at the rim: the others are corners of no triangle that
/// covers a hole.
bool isCorner(const Tile& tile, std::uint64_t column, std::uint64_t row) {
    if (std::isnan(tile.at(column, row)))
        return false;
    if (column == 0 || row == 0 || column + 1 == tile.columns || row + 1 == tile.rows)
        return true;
    for (std::uint64_t r = row - 1; r <= row + 1; ++r)
        for (std::uint64_t c = column - 1; c <= column + 1; ++c)
            if (std::isnan(tile.at(c, r)))
                return true;
    return false;
}

struct Corner {
    double x, y, value;
};

using Triangle = std::array<Corner, 3>;

bool hasLongEdge(const Triangle& triangle, double distance) {
    for (std::size_t i = 0; i < 3; ++i) {
        const Corner& a = triangle[i];
        const Corner& b = triangle[(i + 1) % 3];
        if (std::hypot(a.x - b.x, a.y - b.y) > distance)
            return true;
    }
    return false;
}

/// Fills the holes whose centres are in a triangle, on its edges included.
void fillTriangle(const Tile& tile, const Triangle& t, std::vector<double>& filled) {
    const double area = (t[1].x - t[0].x) * (t[2].y - t[0].y) - (t[2].x - t[0].x) * (t[1].y - t[0].y);
    if (area == 0.0)
        return;
    const auto low = [&](auto member) {
        return static_cast<std::uint64_t>(std::min({t[0].*member, t[1].*member, t[2].*member}));
    };
    const auto high = [&](auto member) {
        return static_cast<std::uint64_t>(std::max({t[0].*member, t[1].*member, t[2].*member}));
    };
    for (std::uint64_t row = low(&Corner::y); row <= high(&Corner::y); ++row)
        for (std::uint64_t column = low(&Corner::x); column <= high(&Corner::x); ++column) {
            if (!std::isnan(tile.at(column, row)))
                continue;
            // Whole numbers, so that their signs are exact.
            const auto share = [&](const Corner& a, const Corner& b) {
                const double x = static_cast<double>(column);
                const double y = static_cast<double>(row);
                return ((a.x - x) * (b.y - y) - (b.x - x) * (a.y - y)) / area;
            };
            const std::array<double, 3> shares = {share(t[1], t[2]), share(t[2], t[0]), share(t[0], t[1])};
            if (std::ranges::min(shares) >= 0.0)
                filled[row * tile.columns + column] =
                    shares[0] * t[0].value + shares[1] * t[1].value + shares[2] * t[2].value;
        }
}

struct FreeTriangulation {
    void operator()(GDALTriangulation* triangles) const { GDALTriangulationFree(triangles); }
};

/// Gives the tile with its holes filled.
std::vector<double> triangulate(const Tile& tile, double distance) {
    std::vector<Corner> corners;
    std::vector<double> x, y;
    for (std::uint64_t row = 0; row < tile.rows; ++row)
        for (std::uint64_t column = 0; column < tile.columns; ++column)
            if (isCorner(tile, column, row)) {
                corners.push_back(
                    {static_cast<double>(column), static_cast<double>(row), tile.at(column, row)});
                x.push_back(corners.back().x);
                y.push_back(corners.back().y);
            }
    std::vector<double> filled = tile.values;
    const bool isLine = std::ranges::all_of(x, [&](double v) { return v == x[0]; }) ||
                        std::ranges::all_of(y, [&](double v) { return v == y[0]; });
    if (corners.size() < 3 || isLine)
        return filled;
    // Corners on one line make no triangle, which GDAL calls an error.
    const GdalMessages unheard;
    const std::unique_ptr<GDALTriangulation, FreeTriangulation> all(
        GDALTriangulationCreateDelaunay(static_cast<int>(corners.size()), x.data(), y.data()));
    for (int f = 0; all && f < all->nFacets; ++f) {
        const int* const vertices = all->pasFacets[f].anVertexIdx;
        const Triangle triangle = {corners[static_cast<std::size_t>(vertices[0])],
                                   corners[static_cast<std::size_t>(vertices[1])],
                                   corners[static_cast<std::size_t>(vertices[2])]};
        if (!hasLongEdge(triangle, distance))
            fillTriangle(tile, triangle, filled);
    }
    return filled;
}

std::uint64_t reachOfTriangles(double distance) {
    return static_cast<std::uint64_t>(std::ceil(2.0 * distance));
}

/// Works on tiles with what is around them: no corner of a triangle is farther from what it covers than its
/// longest edge.
void fillByTriangles(const BandWithHoles& band, double distance, const std::filesystem::path& folder) {
    if (GDALHasTriangulation() == 0)
        throw std::runtime_error(std::string(cannotFill) + " by triangles: GDAL was built without Qhull");
    constexpr std::uint64_t side = tileOfFilling;
    const std::uint64_t margin = reachOfTriangles(distance);
    const PixelRectangle all = band.wanted.value_or(PixelRectangle{0, 0, band.width, band.height});
    const auto given = workingFile(band, 1, GDT_Float64, folder / "holes.tif");
    const auto filled = workingFile(band, 1, GDT_Float64, folder / "filled.tif");
    copyHoles(band, *given->GetRasterBand(1));
    const auto transfer = [&](GDALDataset& file, GDALRWFlag direction, const Tile& place, double* values) {
        const GdalMessages messages;
        expect(file.GetRasterBand(1)->RasterIO(
                   direction, static_cast<int>(place.column), static_cast<int>(place.row),
                   static_cast<int>(place.columns), static_cast<int>(place.rows), values,
                   static_cast<int>(place.columns), static_cast<int>(place.rows), GDT_Float64, 0, 0, nullptr),
               messages, cannotFill);
    };
    for (std::uint64_t row = all.row; row < all.row + all.rows; row += side)
        for (std::uint64_t column = all.column; column < all.column + all.columns; column += side) {
            Tile inner = {column,
                          row,
                          std::min(side, all.column + all.columns - column),
                          std::min(side, all.row + all.rows - row),
                          {}};
            Tile tile;
            tile.column = column - std::min(column, margin);
            tile.row = row - std::min(row, margin);
            tile.columns = std::min(column + inner.columns + margin, band.width) - tile.column;
            tile.rows = std::min(row + inner.rows + margin, band.height) - tile.row;
            tile.values.resize(tile.columns * tile.rows);
            transfer(*given, GF_Read, tile, tile.values.data());
            const std::vector<double> values = triangulate(tile, distance);
            for (std::uint64_t r = 0; r < inner.rows; ++r) {
                const auto first =
                    values.begin() +
                    static_cast<std::ptrdiff_t>((row - tile.row + r) * tile.columns + (column - tile.column));
                inner.values.insert(inner.values.end(), first,
                                    first + static_cast<std::ptrdiff_t>(inner.columns));
            }
            transfer(*filled, GF_Write, inner, inner.values.data());
        }
    copyFilled(band, *filled->GetRasterBand(1));
}

} // namespace

std::uint64_t reachOfFilling(Filling filling, double distance) {
    // A row or column more than the distance, so that what is wanted never lies at the edge of the window.
    return filling == Filling::Triangles ? reachOfTriangles(distance)
                                         : static_cast<std::uint64_t>(std::ceil(distance)) + 1;
}

void fillHoles(const BandWithHoles& band, Filling filling, double distance,
               const std::filesystem::path& folder) {
    const ThreadOption place("CPL_TMPDIR", folder.c_str());
    switch (filling) {
    case Filling::InverseDistance:
        return fillByMeans(band, distance, folder);
    case Filling::Nearest:
        return fillByNearest(band, distance, folder);
    case Filling::Triangles:
        return fillByTriangles(band, distance, folder);
    }
}

} // namespace Tilewright::Io
