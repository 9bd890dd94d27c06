/// WindowLayout: a window of cells in the terms of the library.
#pragma once

#include <cstdint>

#include <io/blocks/BlockLattice.h>
#include <tilewright/export.h>
#include <tilewright/model/RegularlyFragmentedField.h>

namespace Tilewright::Io {

/// What the library is asked for to make a window: its lattice is the window with a rim of one cell.
struct TILEWRIGHT_API WindowLayout {
    static constexpr std::uint64_t rim = 1;

    /// Without data; carries the box from which the library makes its lattice.
    Quill::RegularFieldPtr positions;
    Orrery::PhysicalSpace::vector wantedCellSize;
    Quill::MultiIndex<3> arraySize;

    WindowLayout(const BlockLattice& lattice, const CellWindow& window);
};

} // namespace Tilewright::Io
