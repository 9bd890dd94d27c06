"""Files of points as one cloud."""

from __future__ import annotations

import os
import tempfile
from collections.abc import Sequence
from typing import Any, NamedTuple, Optional, Union

import numpy as np

from . import _engine

Path = Union[str, "os.PathLike[str]"]
PATHS = (str, bytes, os.PathLike)


class Bounds(NamedTuple):
    """The rectangle of a cloud, in the units of its coordinates."""

    west: float
    south: float
    east: float
    north: float


def words_of(paths: Any) -> list[str]:
    if isinstance(paths, PATHS):
        paths = [paths]
    return [os.fsdecode(os.path.expanduser(os.fspath(path))) for path in paths]


class Cloud:
    """What is in files of points, as `open` gives it.

    Takes the place of its files as a source of `raster` and `write`.

    Attributes
    ----------
    name : str
        The name of the only file, or the number of files.
    paths : tuple of str
        The files, each once.
    point_count : int
        Points of all files together.
    fields : dict of str to numpy.dtype
        The attributes that all files have, beside the coordinates.
    crs : str or None
        The coordinate system as WKT2; None if the files name none.
    """

    def __init__(self, files: _engine.OpenFiles) -> None:
        self._files = files
        self._measured: Optional[list[float]] = None
        self.name: str = files.name
        self.paths: tuple[str, ...] = tuple(files.paths)
        self.point_count: int = files.points
        self.fields: dict[str, np.dtype[Any]] = dict(files.fields)
        self.crs: Optional[str] = files.crs or None

    def _box(self) -> list[float]:
        if self._measured is None:
            self._measured = self._files.measure_bounds(os.cpu_count() or 1)
        if self._measured is None:
            raise ValueError(f"{self.name} has no points, and so no bounds")
        return self._measured

    @property
    def bounds(self) -> Bounds:
        """The rectangle of the points' own coordinates: west, south, east, north.

        All points are read for it, once.
        """
        west, south, _, east, north, _ = self._box()
        return Bounds(west, south, east, north)

    @property
    def heights(self) -> tuple[float, float]:
        """The least and the greatest height. All points are read for it, once."""
        box = self._box()
        return box[2], box[5]

    def __len__(self) -> int:
        return self.point_count

    def __repr__(self) -> str:
        lines = [f"<tilewright.Cloud {self.name}: {self.point_count:,} points>"]
        box = self._measured or self._files.stated_bounds()
        if box is not None:
            for axis, (low, high) in zip("xyz", zip(box[:3], box[3:])):
                lines.append(f"  {axis}       {low:.10g} to {high:.10g}")
        lines.append(f"  crs     {self._files.crs_name or 'unknown'}")
        names = [f"{name} ({dtype})" for name, dtype in self.fields.items()]
        lines.append(f"  fields  {', '.join(names) or 'none'}")
        return "\n".join(lines)


def open(source: Union[Path, Sequence[Path]]) -> Cloud:
    """Open files of points, to see what is in them.

    Parameters
    ----------
    source : path, pattern, or list of them
        Files, folders of them, and patterns such as ``"tiles/*.laz"``.

    Returns
    -------
    Cloud
        With the number of points, the fields, the bounds and the coordinate system.

    Raises
    ------
    FileNotFoundError
        No file has this name, or fits this pattern.
    OSError
        A file cannot be read, or is no file of points.
    """
    words = words_of(source)
    if not words:
        raise ValueError("there is no file to open")
    return Cloud(_engine.OpenFiles(words, tempfile.gettempdir()))
