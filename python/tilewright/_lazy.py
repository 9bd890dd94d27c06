"""Rasters whose blocks are made when they are computed, as arrays of Dask."""

from __future__ import annotations

import math
import os
import threading
import uuid
from collections.abc import Mapping
from contextlib import suppress
from typing import Any, NamedTuple, Optional, Union

from . import _engine
from ._options import absolute
from ._progress import Callback
from ._sources import Source

Chunks = Union[int, str, Mapping[str, Any], None]

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


# The name, size and time of files.
States = list[tuple[str, int, int]]


def _states_of(paths: list[str]) -> States:
    states = []
    for path in paths:
        with suppress(OSError):  # those of virtual file systems are not looked at
            found = os.stat(path)
            states.append((os.path.abspath(path), found.st_size, found.st_mtime_ns))
    return states


class Raster:
    """A raster by its points and the request.

    Where it is unpickled it measures the points again, when the first block is made.
    """

    def __init__(self, source: Source, keywords: dict[str, Any], states: Optional[States] = None) -> None:
        self._source = source
        self._keywords = keywords
        self._states = states
        self._lock = threading.Lock()
        self._blocks: Optional[_engine.Blocks] = None

    def __reduce__(self) -> tuple[Any, ...]:
        if self._states is None:
            self.blocks()
        return Raster, (self._source, absolute(self._keywords), self._states)

    def blocks(self, progress: Optional[Callback] = None) -> _engine.Blocks:
        with self._lock:
            if self._blocks is None:
                blocks = _engine.Blocks(self._source.engine_arrays(), self._keywords, progress)
                states = _states_of(blocks.paths)
                if self._states is None:
                    self._states = states
                elif self._states != states:
                    raise ValueError("the files have changed since the raster was laid out; lay it out again")
                self._blocks = blocks
            return self._blocks

    def make(self, rows: tuple[int, int], columns: tuple[int, int]) -> list[list[Any]]:
        return self.blocks().make(rows, columns)


def make_piece(raster: Raster, rows: tuple[int, int], columns: tuple[int, int]) -> list[list[Any]]:
    return raster.make(rows, columns)


def band_of(piece: list[list[Any]], output: int, band: int) -> Any:
    return piece[output][band]


class _Pieces(NamedTuple):
    """How many blocks a piece has along each dimension, and of cells how many each chunk has in the end."""

    blocks: tuple[int, int]
    chunks: tuple[tuple[int, ...], tuple[int, ...]]


def _natural(blocks: _engine.Blocks, row_bytes: int) -> tuple[int, int]:
    """Blocks of a piece along y and x."""
    if not blocks.reads_all_points:
        return 1, 1
    down, across = blocks.shape
    in_memory = BYTES_OF_PIECE // (row_bytes * blocks.side)
    return max(1, min(math.ceil(down / MOST_PASSES), in_memory)), across


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
    along = [math.ceil(max(sizes) / blocks.side) for sizes in normal]
    return _Pieces((along[0], along[1]), normal)


def _cuts(blocks: int, step: int) -> list[tuple[int, int]]:
    return [(first, min(first + step, blocks)) for first in range(0, blocks, step)]


def add_arrays(raster: Raster, made: dict[str, Any], chunks: Chunks) -> None:
    """Gives the outputs arrays of Dask that are made by `raster`."""
    array = require_dask()
    from dask.delayed import delayed
    from dask.highlevelgraph import HighLevelGraph

    blocks = raster.blocks()
    pieces = _lay_out(blocks, made, chunks)
    rows, columns = (_cuts(count, step) for count, step in zip(blocks.shape, pieces.blocks))
    token = uuid.uuid4().hex[:8]
    source = delayed(raster, name=f"tilewright-raster-{token}", traverse=False)
    name = f"tilewright-blocks-{token}"
    places = [(r, c) for r in range(len(rows)) for c in range(len(columns))]
    tasks: dict[Any, Any] = {(name, r, c): (make_piece, source.key, rows[r], columns[c]) for r, c in places}
    graph = HighLevelGraph.from_collections(name, tasks, dependencies=[source])
    sizes = tuple(
        tuple(min(last * blocks.side, made["geometry"][size]) - first * blocks.side for first, last in cuts)
        for cuts, size in ((rows, "height"), (columns, "width"))
    )
    for o, output in enumerate(made["outputs"]):
        output["arrays"] = []
        for b in range(len(output["colours"])):
            own = f"tilewright-band-{token}-{o}-{b}"
            picks = {(own, r, c): (band_of, (name, r, c), o, b) for r, c in places}
            layers = {**graph.layers, own: picks}
            needs = {**graph.dependencies, own: {name}}
            whole = array.Array(HighLevelGraph(layers, needs), own, sizes, dtype=output["dtype"])
            output["arrays"].append(whole if whole.chunks == pieces.chunks else whole.rechunk(pieces.chunks))


def lay_out(source: Source, keywords: dict[str, Any], chunks: Chunks, progress: Optional[Callback]) -> dict[str, Any]:
    """As the engine gives a raster, with arrays that are yet to be made."""
    require_dask()
    raster = Raster(source, keywords)
    made = raster.blocks(progress).describe(progress)
    add_arrays(raster, made, chunks)
    return made
