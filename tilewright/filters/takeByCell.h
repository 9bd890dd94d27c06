#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Tilewright {

/// Calls `take(state, i)` for each point i in ascending order, where `state` is that of its cell: `cells` has
/// the cell of each point, and `states` one state per cell.
///
/// Most points of a scan lie in the cell of the point before. For as long, the state stays in registers; in
/// memory each point would have to wait until it had been stored for the point before.
template <class State, class Take>
void takeByCell(std::span<const std::uint32_t> cells, State* states, const Take& take) {
    if (cells.empty())
        return;
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
