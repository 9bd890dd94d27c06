"""What came of files that were written."""

from __future__ import annotations

from dataclasses import dataclass, fields
from typing import Any, Optional


@dataclass(frozen=True)
class BandReport:
    """A band of a file.

    Attributes
    ----------
    name, path, request : str
        What the band is called, its file, and what was asked for.
    type, unit : str
        The type of the pixels, and the unit of their values; empty for none.
    nodata : float or None
        The value of cells without data.
    filled, filled_holes : int
        Cells with data, and those among them that were filled from their surroundings.
    range : (float, float) or None
        The least and the greatest value; None if there is no number.
    mean : float or None
        The mean of the cells.
    """

    name: str
    path: str
    request: str
    type: str
    unit: str
    nodata: Optional[float]
    filled: int
    filled_holes: int
    range: Optional[tuple[float, float]]
    mean: Optional[float]


@dataclass(frozen=True)
class Report:
    """What `write` has made.

    Attributes
    ----------
    cloud : str
        What was rastered; `files` of them, or arrays, with `points` in all.
    rastered : int
        Points that pass the selection and lie within the bounds.
    without_ground : int
        Points that are not among them only because there is no ground below them.
    columns, rows : int
        Cells from west to east, and from north to south.
    cell : (float, float)
        The size of a cell.
    extent : (float, float, float, float)
        West, south, east and north of the raster.
    filled : int
        Cells with at least one point.
    crs : str
        The coordinate system as WKT2; empty for none.
    memory, output_bytes : int
        Bytes that the work took at its peak, roughly, and those of all files without compression.
    threads : int
        Threads that worked.
    sorted : bool
        The points lay in no order and were sorted first.
    seconds : float
        How long it took.
    dry_run : bool
        Nothing was made.
    bands : tuple of BandReport
        Each band with its file.
    notes : tuple of str
        What one should know of the result.
    """

    cloud: str
    files: int
    points: int
    rastered: int
    without_ground: int
    columns: int
    rows: int
    cell: tuple[float, float]
    extent: tuple[float, float, float, float]
    filled: int
    crs: str
    memory: int
    output_bytes: int
    threads: int
    sorted: bool
    seconds: float
    dry_run: bool
    bands: tuple[BandReport, ...]
    notes: tuple[str, ...]

    @property
    def paths(self) -> tuple[str, ...]:
        """The files, each once."""
        return tuple(dict.fromkeys(band.path for band in self.bands))


def _tuples(value: Any) -> Any:
    return tuple(value) if isinstance(value, list) else value


def report_of(made: dict[str, Any]) -> Report:
    values = {field.name: _tuples(made[field.name]) for field in fields(Report)}
    values["bands"] = tuple(
        BandReport(**{name: _tuples(value) for name, value in band.items()}) for band in made["bands"]
    )
    return Report(**values)
