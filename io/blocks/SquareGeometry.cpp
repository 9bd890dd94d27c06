#include <io/blocks/SquareGeometry.h>

#include <algorithm>

namespace Tilewright::Io {

namespace {

std::uint64_t overlapOf(std::uint64_t first, std::uint64_t count, std::uint64_t otherFirst,
                        std::uint64_t otherCount) {
    const std::uint64_t begin = std::max(first, otherFirst);
    const std::uint64_t end = std::min(first + count, otherFirst + otherCount);
    return end > begin ? end - begin : 0;
}

} // namespace

std::optional<CellWindow> cellsOf(const Stretch& stretch, const BlockLattice& lattice) {
    std::int64_t firstColumn;
    std::int64_t lastColumn;
    std::int64_t firstRow;
    std::int64_t lastRow;
    if (!lattice.x().cellsOf(stretch.low[0], stretch.high[0], firstColumn, lastColumn) ||
        !lattice.y().cellsOf(stretch.low[1], stretch.high[1], firstRow, lastRow))
        return std::nullopt;
    return CellWindow{static_cast<std::uint64_t>(firstColumn), static_cast<std::uint64_t>(firstRow),
                      static_cast<std::uint64_t>(lastColumn - firstColumn) + 1,
                      static_cast<std::uint64_t>(lastRow - firstRow) + 1};
}

SquareRange squaresOf(const CellWindow& cells, const BlockLattice& lattice, std::uint64_t side) {
    const std::uint64_t northernRow = lattice.y().cells() - 1;
    return {cells.column / side, (cells.column + cells.columns - 1) / side,
            (northernRow - (cells.row + cells.rows - 1)) / side, (northernRow - cells.row) / side};
}

bool reaches(const Stretch& stretch, const BlockLattice& lattice, const CellWindow& window) {
    const std::optional<CellWindow> cells = cellsOf(stretch, lattice);
    return cells && overlapOf(cells->column, cells->columns, window.column, window.columns) != 0 &&
           overlapOf(cells->row, cells->rows, window.row, window.rows) != 0;
}

double sharedPart(const CellWindow& part, const CellWindow& other) {
    return static_cast<double>(overlapOf(part.column, part.columns, other.column, other.columns)) *
           static_cast<double>(overlapOf(part.row, part.rows, other.row, other.rows)) /
           (static_cast<double>(part.columns) * static_cast<double>(part.rows));
}

std::vector<PointField> fieldsIn(const RecordFormat& format, const std::vector<CloudField>& wanted) {
    std::vector<PointField> fields;
    fields.reserve(wanted.size());
    for (const CloudField& field : wanted)
        fields.push_back(*format.findField(field.name));
    return fields;
}

ByteSelection bytesRead(const RecordFormat& format, const PointNeeds& needs) {
    ByteSelection bytes = ByteSelection::positions(format);
    for (const PointField& field : fieldsIn(format, needs.fields))
        bytes.add(field);
    for (const std::string& name : attributesOf(needs.selection))
        bytes.add(*format.findField(name));
    return bytes;
}

} // namespace Tilewright::Io
