"""Rasters whose blocks are made when they are computed, as arrays of Dask."""

from __future__ import annotations

import math
import threading
import uuid
import weakref
import zlib
from collections import deque
from collections.abc import Mapping
from dataclasses import dataclass
from typing import Any, NamedTuple, Optional, Union

from . import _engine
from ._options import absolute
from ._progress import Callback
from ._sources import Source

Chunks = Union[int, str, Mapping[str, Any], None]
# The first block and one after the last.
Span = tuple[int, int]
# Of each output the arrays of its bands.
Piece = list[list[Any]]

MISSING = (
    "chunks= gives arrays of Dask, which is not installed: pip install 'dask[array]' "
    "(of a distribution, python3-dask)"
)
# Where each piece costs a pass over all points, as they lie in no order: so many pieces, of no more than so many bytes
# unless a single row of blocks has more.
MOST_PASSES = 16
BYTES_OF_PIECE = 256 << 20
DIMENSIONS = ("y", "x")


def require_dask() -> Any:
    try:
        import dask.array
    except ImportError as error:
        raise ImportError(MISSING) from error
    return dask.array


# Rasters of this process by what they were called when they were laid out.
_known: weakref.WeakValueDictionary[str, Raster] = weakref.WeakValueDictionary()
# Of files: a process may get its raster anew with each block. Those of arrays would keep their points.
_recent: deque[Raster] = deque(maxlen=4)
_lock = threading.Lock()


class Raster:
    """A raster by its points and what was measured of them, which travels along when it is pickled."""

    def __init__(self, source: Source, token: str, state: bytes = b"") -> None:
        self._source = source
        self._token = token
        self._state = state
        self._lock = threading.Lock()
        self._blocks: Optional[_engine.Blocks] = None

    @staticmethod
    def measure(source: Source, keywords: dict[str, Any], progress: Optional[Callback]) -> Raster:
        raster = Raster(source, uuid.uuid4().hex)
        # Others may have another current folder.
        raster._blocks = _engine.Blocks(source.engine_arrays(), absolute(keywords), progress)
        _known[raster._token] = raster
        return raster

    def __reduce__(self) -> tuple[Any, ...]:
        with self._lock:
            if not self._state and self._blocks:
                self._state = zlib.compress(self._blocks.state, 1)
        return _known_or_new, (self._source, self._token, self._state)

    def blocks(self) -> _engine.Blocks:
        with self._lock:
            if self._blocks is None:
                try:
                    self._blocks = _engine.Blocks(self._source.engine_arrays(), zlib.decompress(self._state))
                except ValueError as error:
                    raise ValueError(f"{error}, by calling tilewright.raster again") from None
            return self._blocks

    def make(self, rows: Span, columns: Span) -> Piece:
        return self.blocks().make(rows, columns)


def _known_or_new(source: Source, token: str, state: bytes) -> Raster:
    with _lock:
        raster = _known.get(token)
        if raster is None:
            raster = _known[token] = Raster(source, token, state)
            if source.arrays is None:
                _recent.append(raster)
        return raster


def make_piece(raster: Raster, rows: Span, columns: Span) -> Piece:
    return raster.make(rows, columns)


@dataclass(frozen=True)
class _Surroundings:
    """A piece whose holes are filled, with those around it."""

    # Of each piece from north to south, and from west to east, what is within reach.
    rows: list[slice]
    columns: list[slice]
    # First column and row, columns and rows.
    window: tuple[int, int, int, int]
    wanted: tuple[int, int, int, int]


def fill_piece(raster: Raster, around: list[list[Piece]], place: _Surroundings) -> Piece:
    import numpy as np

    def window_of(output: int, band: int) -> Any:
        return np.block(
            [
                [piece[output][band][rows, columns] for piece, columns in zip(pieces, place.columns)]
                for pieces, rows in zip(around, place.rows)
            ]
        )

    bands = [[window_of(o, b) for b in range(len(output))] for o, output in enumerate(around[0][0])]
    return raster.blocks().fill(bands, place.window, place.wanted)


def band_of(piece: Piece, output: int, band: int) -> Any:
    return piece[output][band]


class _Pieces(NamedTuple):
    """How many blocks a piece has along each dimension, and of cells how many each chunk has in the end."""

    blocks: tuple[int, int]
    chunks: tuple[tuple[int, ...], tuple[int, ...]]


def _natural(blocks: _engine.Blocks, row_bytes: int) -> tuple[int, int]:
    """Blocks of a piece along y and x."""
    if not blocks.reads_all_points:
        return _least(blocks)
    down, across = blocks.shape
    in_memory = BYTES_OF_PIECE // (row_bytes * blocks.side)
    return max(_least(blocks)[0], min(math.ceil(down / MOST_PASSES), in_memory)), across


def _least(blocks: _engine.Blocks) -> tuple[int, int]:
    """So many that holes are filled from the pieces beside and no others."""
    reach = max(1, math.ceil(blocks.reach_of_filling / blocks.side))
    down, across = blocks.shape
    return min(reach, down), min(reach, across)


def _wanted(chunks: Chunks, natural: tuple[int, int]) -> tuple[Any, Any]:
    """Of each dimension what was asked for; what was not has its natural pieces."""
    if isinstance(chunks, Mapping):
        unknown = [name for name in chunks if name not in (*DIMENSIONS, "band")]
        if unknown:
            raise ValueError(f"chunks has {unknown[0]!r}; the dimensions are y and x")
        return tuple(  # type: ignore[return-value]
            size if chunks.get(name) is None else chunks[name] for name, size in zip(DIMENSIONS, natural)
        )
    if isinstance(chunks, bool) or not isinstance(chunks, (int, str)):
        raise TypeError(f"chunks is a {type(chunks).__name__}; expected a dict, a number, or 'auto'")
    return chunks, chunks


def _lay_out(blocks: _engine.Blocks, made: dict[str, Any], chunks: Chunks) -> _Pieces:
    array = require_dask()
    shape = (made["geometry"]["height"], made["geometry"]["width"])
    row_bytes = sum(output["dtype"].itemsize * len(output["colours"]) for output in made["outputs"]) * shape[1]
    natural = _natural(blocks, row_bytes)
    cells = tuple(min(count * blocks.side, size) for count, size in zip(natural, shape))
    widest = max((output["dtype"] for output in made["outputs"]), key=lambda dtype: int(dtype.itemsize))
    normal = array.core.normalize_chunks(
        _wanted(chunks, (cells[0], cells[1])), shape, dtype=widest,
        previous_chunks=tuple((cell,) * (size // cell) for cell, size in zip(cells, shape)),
    )  # fmt: skip
    if blocks.reads_all_points:
        return _Pieces(natural, normal)
    # Pieces may be larger than blocks, and are then cut to what was asked for.
    along = [max(math.ceil(max(sizes) / blocks.side), least) for sizes, least in zip(normal, _least(blocks))]
    return _Pieces((along[0], along[1]), normal)


class _Axis(NamedTuple):
    """Pieces along y or x: their blocks, and their cells."""

    blocks: list[Span]
    cells: list[Span]

    def sizes(self) -> tuple[int, ...]:
        return tuple(last - first for first, last in self.cells)

    def around(self, piece: int, reach: int) -> tuple[range, list[slice], int, int]:
        """The pieces within reach of one, what of each is, and the first of those cells and their number."""
        near = range(max(0, piece - 1), min(len(self.cells), piece + 2))
        low = max(0, self.cells[piece][0] - reach)
        high = min(self.cells[-1][1], self.cells[piece][1] + reach)
        cuts = [(max(low, self.cells[p][0]), min(high, self.cells[p][1]), self.cells[p][0]) for p in near]
        return near, [slice(first - begin, last - begin) for first, last, begin in cuts], low, high - low


def _axis(blocks: int, step: int, side: int, cells: int) -> _Axis:
    cuts = [(first, min(first + step, blocks)) for first in range(0, blocks, step)]
    return _Axis(cuts, [(first * side, min(last * side, cells)) for first, last in cuts])


def _filling_tasks(name: str, source: Any, made: str, axes: tuple[_Axis, _Axis], reach: int) -> dict[Any, Any]:
    tasks: dict[Any, Any] = {}
    y, x = axes
    for r in range(len(y.blocks)):
        rows, row_cuts, top, height = y.around(r, reach)
        for c in range(len(x.blocks)):
            columns, column_cuts, left, width = x.around(c, reach)
            wanted = (x.cells[c][0], y.cells[r][0], x.sizes()[c], y.sizes()[r])
            place = _Surroundings(row_cuts, column_cuts, (left, top, width, height), wanted)
            around = [[(made, row, column) for column in columns] for row in rows]
            tasks[(name, r, c)] = (fill_piece, source, around, place)
    return tasks


def add_arrays(raster: Raster, made: dict[str, Any], chunks: Chunks) -> None:
    """Gives the outputs arrays of Dask that are made by `raster`."""
    array = require_dask()
    from dask.delayed import delayed
    from dask.highlevelgraph import HighLevelGraph

    blocks = raster.blocks()
    pieces = _lay_out(blocks, made, chunks)
    shape = (made["geometry"]["height"], made["geometry"]["width"])
    y, x = (
        _axis(count, step, blocks.side, cells) for count, step, cells in zip(blocks.shape, pieces.blocks, shape)
    )
    token = uuid.uuid4().hex[:8]
    source = delayed(raster, name=f"tilewright-raster-{token}", traverse=False)
    name = f"tilewright-blocks-{token}"
    places = [(r, c) for r in range(len(y.blocks)) for c in range(len(x.blocks))]
    tasks: dict[Any, Any] = {(name, r, c): (make_piece, source.key, y.blocks[r], x.blocks[c]) for r, c in places}
    graph = HighLevelGraph.from_collections(name, tasks, dependencies=[source])
    if blocks.reach_of_filling:
        filled = f"tilewright-filled-{token}"
        fillings = _filling_tasks(filled, source.key, name, (y, x), blocks.reach_of_filling)
        needs = {**graph.dependencies, filled: {name, *source.__dask_layers__()}}
        graph = HighLevelGraph({**graph.layers, filled: fillings}, needs)
        name = filled
    for o, output in enumerate(made["outputs"]):
        output["arrays"] = []
        for b in range(len(output["colours"])):
            own = f"tilewright-band-{token}-{o}-{b}"
            picks = {(own, r, c): (band_of, (name, r, c), o, b) for r, c in places}
            layers = {**graph.layers, own: picks}
            needs = {**graph.dependencies, own: {name}}
            whole = array.Array(HighLevelGraph(layers, needs), own, (y.sizes(), x.sizes()), dtype=output["dtype"])
            output["arrays"].append(whole if whole.chunks == pieces.chunks else whole.rechunk(pieces.chunks))


def lay_out(source: Source, keywords: dict[str, Any], chunks: Chunks, progress: Optional[Callback]) -> dict[str, Any]:
    """As the engine gives a raster, with arrays that are yet to be made."""
    require_dask()
    raster = Raster.measure(source, keywords, progress)
    made = raster.blocks().describe(progress)
    add_arrays(raster, made, chunks)
    return made
