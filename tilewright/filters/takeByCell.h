#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Tilewright {

/// Whether most points lie in the cell of the point before, as in a scan with many points per cell.
inline bool haveLongRuns(std::span<const std::uint32_t> cells) {
    std::size_t changes = 0;
    for (std::size_t i = 1; i < cells.size(); ++i)
        changes += cells[i] != cells[i - 1] ? 1 : 0;
    return changes < cells.size() / 8;
}

/// Calls `take(state, i)` for each point i in ascending order, where `state` is that of its cell: `cells` has
/// the cell of each point, and `states` one state per cell.
///
/// In memory, the state of a cell has to be stored for one point before the next one can have it. Where many
/// points follow one another in a cell, it is held in registers for as long. Where few do, that would cost
/// more: a processor cannot guess when the cell changes.
template <class State, class Take>
void takeByCell(std::span<const std::uint32_t> cells, State* states, const Take& take) {
    if (!haveLongRuns(cells)) {
        for (std::size_t i = 0; i < cells.size(); ++i)
            take(states[cells[i]], i);
        return;
    }
    std::uint32_t cell = cells.front();
    State state = states[cell];
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (cells[i] != cell) {
            states[cell] = state;
            cell = cells[i];
            state = states[cell];
        }
        take(state, i);
    }
    states[cell] = state;
}

} // namespace Tilewright
