/// DenseCell: reduces the points of a single cell that has more of them than are loaded at a time.
///
/// The points are taken piece by piece, in their order, with the very steps of the library, so that the
/// result has the bits that the library makes of all of them at once. A median is searched for in several
/// passes over the points. (Where zeros of both signs are in the middle, the library leaves open which one it
/// gives.)
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <io/blocks/WindowGrid.h>

namespace Tilewright::Io {

class DenseCell {
public:
    /// `requests` as the library takes them, for the fields of `plan`.
    DenseCell(const GridPlan& plan, const std::vector<std::string>& requests);
    ~DenseCell();

    /// Whether a request needs all points at once: a plane is fitted to them.
    bool needsAllPoints() const { return NeedsAllPoints; }

    /// Takes the next points of a pass: all columns of the plan.
    void take(const std::vector<Quill::ArrayPtr>& columns);
    /// Whether there has to be another pass over all points; `count` is their number.
    bool endPass(std::uint64_t count);

    /// Puts the reduced fields into the grid, and with them "CellType" and "Density", as the library does: in
    /// arrays of the given size, with the cell in the middle.
    void store(Quill::Grid& output, const Quill::MultiIndex<3>& size, std::uint64_t count,
               unsigned sparseLimit) const;

    /// What becomes of the values of one field.
    class Reduction;

private:
    struct Field {
        std::string name;
        std::size_t column;
        std::unique_ptr<Reduction> reduction;
        bool isDone;
    };

    std::vector<Field> Fields;
    bool NeedsAllPoints = false;
};

} // namespace Tilewright::Io
