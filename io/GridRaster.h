/// GridRaster: the output grid of the library seen as one raster, its fragments cropped and put together.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <io/GeoTiffWriter.h>
#include <io/RasterLattice.h>
#include <tilewright/model/Grid.h>

namespace Tilewright::Io {

/// One band: a field of the grid, or a component of it.
struct RasterBand {
    std::string name;
    std::string field;
    /// Of a field of points or colours; none for a plain field.
    std::optional<int> component;
    /// Whether cells without data become nodata. The companions tell of such cells themselves.
    bool isMasked = true;
    /// Of the values; empty for none.
    std::string unit;
};

/// What is in a band: how many cells have data, and between which values they lie. NaN counts as data and
/// lies nowhere.
struct BandSummary {
    std::uint64_t filled = 0;
    double least = 0.0;
    double greatest = 0.0;
    /// Whether a value is free to stand for nodata; if not, empty cells are zero.
    bool hasNoData = false;
};

class GridRaster {
public:
    /// `grid` is what the library made over `lattice`, of which it takes a copy.
    GridRaster(const Quill::GridPtr& grid, const RasterLattice& lattice);

    /// The bands of a field: one, or one a component, named Field-x and so on; none if the field has no data
    /// at all.
    std::vector<RasterBand> bandsOf(const std::string& field) const;

    /// Compares what the library counted in each cell with `counts`, row by row from the south. Gives the
    /// empty text, or where they differ.
    std::string compareCounts(std::span<const std::uint32_t> counts, unsigned sparseLimit) const;

    /// Writes a band into a file that is still to be finished.
    GeoTiffWriter writeBand(const RasterBand& band, const std::filesystem::path& path, const std::string& wkt,
                            BandSummary& summary) const;

private:
    template <class O> class BandView;
    template <class O>
    GeoTiffWriter writeTyped(const RasterBand& band, const std::filesystem::path& path,
                             const std::string& wkt, BandSummary& summary) const;
    /// The array of a field in one fragment, null if it has none there.
    Quill::ArrayPtr arrayOf(const std::string& field, const Quill::MultiIndex<3>& fragment) const;
    /// That of any fragment.
    Quill::ArrayPtr anyArrayOf(const std::string& field) const;

    Quill::GridPtr Grid;
    Quill::RepresentationPtr Fields;
    RasterLattice Lattice;
};

} // namespace Tilewright::Io
