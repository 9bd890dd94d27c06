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
/// the cell of each point. `states.load(cell)` is the state of a cell, `states.store(cell, state)` keeps what
/// it became, and `states.update(cell, change)` does both around `change(state)`.
///
/// In memory, the state of a cell has to be stored for one point before the next one can have it. Where many
/// points follow one another in a cell, it is held in registers for as long. Where few do, that would cost
/// more: a processor cannot guess when the cell changes.
template <class States, class Take>
void takeByCell(std::span<const std::uint32_t> cells, const States& states, const Take& take) {
    if (!haveLongRuns(cells)) {
        for (std::size_t i = 0; i < cells.size(); ++i)
            states.update(cells[i], [&](auto& state) { take(state, i); });
        return;
    }
    std::uint32_t cell = cells.front();
    auto state = states.load(cell);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (cells[i] != cell) {
            states.store(cell, state);
            cell = cells[i];
            state = states.load(cell);
        }
        take(state, i);
    }
    states.store(cell, state);
}

/// States in an array, one per cell.
template <class State> struct StatesInArray {
    State* states;

    State load(std::uint32_t cell) const { return states[cell]; }
    void store(std::uint32_t cell, const State& state) const { states[cell] = state; }
    /// In place: most states are changed in part only.
    template <class Change> void update(std::uint32_t cell, const Change& change) const {
        change(states[cell]);
    }
};

} // namespace Tilewright
