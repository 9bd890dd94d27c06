/// WindowGrid: the points of one window as the grid that the library takes.
///
/// The grid is made without data. Its creators load what the library asks for: the first one that is asked
/// reads the records of the window, once for all fields.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <io/blocks/SquareReader.h>
#include <io/blocks/WindowLayout.h>
#include <io/records/OrderKeys.h>
#include <tilewright/export.h>
#include <tilewright/model/Grid.h>

namespace Tilewright::Io {

/// Data that fields of the grid can share.
struct GridColumn {
    enum class Kind {
        /// The positions by which points are sorted into cells: x and y moved clear of the edges of their
        /// cells.
        Positions,
        /// Positions as they are.
        TruePositions,
        X,
        Y,
        Z,
        Attribute
    };

    Kind kind = Kind::Attribute;
    /// Which of PointNeeds::fields.
    std::size_t attribute = 0;
    /// Of numbers, as the library gets them.
    FieldType type = FieldType::Double;
    /// Other than None, the type is UnsignedLongLong.
    OrderKeys keys = OrderKeys::None;
    /// Numbers of type Double are multiplied by it.
    double scale = 1.0;

    bool operator==(const GridColumn&) const = default;
};

struct GridPlan {
    PointNeeds needs;
    /// The first one is that of the positions.
    std::vector<GridColumn> columns;
    /// Field names, each with its column. "Positions" is the first; any number of fields may share a column.
    std::vector<std::pair<std::string, std::size_t>> fields;
};

class TILEWRIGHT_API WindowGrid {
public:
    /// No cell can have more: points are counted in 32 bits.
    static constexpr std::uint64_t mostPoints = std::numeric_limits<std::uint32_t>::max();

    /// What is referred to must outlive the grid.
    WindowGrid(const SquareReader& reader, const BlockLattice& lattice, const GridPlan& plan,
               const Square& square);

    /// Loads the points. False if the window has more than `limit`: then none are loaded.
    bool load(std::uint64_t limit = mostPoints);

    const Quill::Grid& grid() const { return *Grid; }
    const WindowLayout& layout() const { return Layout; }
    /// Points of the window; loads them.
    std::uint64_t points();
    /// How many points each of the window's cells has, row by row from the south, worked out without the
    /// library.
    std::vector<std::uint32_t> counts();

    class Loader;

private:
    WindowLayout Layout;
    Larder::Ref<Quill::Grid> Grid;
    std::shared_ptr<Loader> Points;
};

using ColumnVisitor = std::function<void(const std::vector<Quill::ArrayPtr>& columns)>;

/// Hands out the points of a window piece by piece, in their order: calls `visit` with all columns of the
/// plan, each of about `pieceSize` values. Gives the number of points.
TILEWRIGHT_API std::uint64_t visitColumns(const SquareReader& reader, const BlockLattice& lattice,
                                          const GridPlan& plan, const Square& square, std::size_t pieceSize,
                                          const ColumnVisitor& visit);

} // namespace Tilewright::Io
