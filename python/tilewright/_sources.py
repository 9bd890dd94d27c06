"""What points come from: files, or arrays of many kinds."""

from __future__ import annotations

import ctypes
import os
from collections.abc import Mapping, Sequence
from typing import Any, NamedTuple, Optional

import numpy as np

from . import _engine
from ._cloud import PATHS, Cloud, words_of

Numbers = np.ndarray[Any, Any]

AXES = ("X", "Y", "Z")

# What the format of scans calls its fields, by the names that Python packages give them.
SCAN_FIELDS = {
    "intensity": "Intensity",
    "return_number": "ReturnNumber",
    "number_of_returns": "NumberOfReturns",
    "synthetic": "Synthetic",
    "key_point": "KeyPoint",
    "withheld": "Withheld",
    "overlap": "Overlap",
    "scanner_channel": "ScannerChannel",
    "scan_direction_flag": "ScanDirectionFlag",
    "edge_of_flight_line": "EdgeOfFlightLine",
    "classification": "Classification",
    "user_data": "UserData",
    "scan_angle": "ScanAngle",
    "scan_angle_rank": "ScanAngleRank",
    "point_source_id": "PointSourceId",
    "gps_time": "GpsTime",
    "red": "Red",
    "green": "Green",
    "blue": "Blue",
    "nir": "Nir",
}


class Columns(NamedTuple):
    """Columns of one cloud, X, Y and Z first and then the others, and its coordinate system as WKT."""

    name: str
    coordinates: list[tuple[str, Numbers]]
    attributes: list[tuple[str, Numbers]]
    crs: str


class Source(NamedTuple):
    """Words that stand for files, or arrays."""

    words: list[str]
    arrays: Optional[list[Columns]]

    def engine_arrays(self) -> Optional[list[_engine.PointArrays]]:
        return None if self.arrays is None else [_engine.PointArrays(*columns) for columns in self.arrays]


def source_of(points: Any) -> Source:
    """Everything that `raster` and `write` take as points."""
    if isinstance(points, Cloud):
        return Source(list(points.paths), None)
    if isinstance(points, PATHS):
        return Source(words_of(points), None)
    if isinstance(points, Sequence) and len(points) > 0:
        if all(isinstance(item, PATHS) for item in points):
            return Source(words_of(points), None)
        if any(isinstance(item, PATHS) for item in points):
            raise TypeError("a list of sources has both paths and arrays in it")
        if all(_is_cloud_of_arrays(item) for item in points):
            return Source([], [_arrays_of(item) for item in points])
    return Source([], [_arrays_of(points)])


def _is_cloud_of_arrays(item: Any) -> bool:
    is_structured = isinstance(item, np.ndarray) and (item.ndim == 2 or item.dtype.names is not None)
    return is_structured or isinstance(item, Mapping) or _is_frame(item) or _has_axes(item)


def _is_frame(item: Any) -> bool:
    return hasattr(item, "__dataframe__") or (hasattr(item, "iloc") and hasattr(item, "columns"))


def _has_axes(item: Any) -> bool:
    # A tuple is a row of numbers, even if it names them.
    return not isinstance(item, tuple) and all(hasattr(item, axis) for axis in "xyz")


def _arrays_of(points: Any) -> Columns:
    if isinstance(points, Mapping):
        return _from_columns({str(name): _column(str(name), values) for name, values in points.items()})
    if isinstance(points, np.ndarray) and points.dtype.names is not None:
        return _from_structure(points)
    if _is_frame(points):
        return _from_frame(points)
    if _has_axes(points) and not isinstance(points, np.ndarray):
        return _from_object(points)
    if isinstance(points, (np.ndarray, Sequence)) or hasattr(points, "__array__"):
        return _from_table(points)
    raise TypeError(
        f"a {type(points).__name__} is no source of points; expected a path, a dict of arrays, an N x 3 array, "
        "a structured array, a data frame, or an object with x, y and z"
    )


def _from_structure(points: Numbers) -> Columns:
    if points.ndim != 1:
        raise ValueError(f"a structured array of points has one dimension, not {points.ndim}")
    names = points.dtype.names or ()
    columns = {name: points[name] for name in names if _are_numbers(points[name]) and points[name].ndim == 1}
    return _from_columns({name: _column(name, values) for name, values in columns.items()})


def _from_table(points: Any) -> Columns:
    table = _as_array("points", points)
    if table.ndim != 2 or table.shape[1] != 3:
        hint = "; transposed it would" if table.ndim == 2 and table.shape[0] == 3 else ""
        raise ValueError(f"an array of the shape {table.shape} has no columns for x, y and z alone{hint}")
    return _from_columns({name: _column(name, table[:, axis]) for axis, name in enumerate(AXES)})


def _from_object(points: Any) -> Columns:
    """Points with x, y and z; the other dimensions of those that name them, as the objects of scans do."""
    columns = {name: _column(name, getattr(points, name.lower())) for name in AXES}
    dimensions = getattr(getattr(points, "point_format", None), "dimension_names", ())
    for dimension in dimensions:
        if dimension not in ("X", "Y", "Z"):
            values = np.asarray(points[dimension])
            if values.ndim == 1 and _are_numbers(values):
                name = SCAN_FIELDS.get(dimension, dimension)
                columns[name] = _column(name, values)
    return _from_columns(columns, _crs_of_object(points))


def _crs_of_object(points: Any) -> str:
    header = getattr(points, "header", None)
    parse = getattr(header, "parse_crs", None)
    crs = parse() if callable(parse) else None
    return crs_text(crs) or ""


def _from_frame(frame: Any) -> Columns:
    columns: dict[str, Numbers] = {}
    if hasattr(frame, "iloc"):
        names = [str(name) for name in frame.columns]
        if len(set(names)) != len(names):
            raise ValueError("two columns of the frame have one name")
        for position, name in enumerate(names):
            columns[name] = _series_values(name, frame.iloc[:, position])
    else:
        exchanged = frame.__dataframe__()
        for name in exchanged.column_names():
            columns[str(name)] = _exchanged_values(str(name), exchanged.get_column_by_name(name))
    # Names of tiles and the like are no reason to refuse the points beside them.
    for name in [name for name, values in columns.items() if not _are_numbers(values)]:
        if name.upper() in AXES:
            _column(name, columns[name])
        del columns[name]
    crs = crs_text(getattr(frame, "crs", None)) or ""
    return _from_columns({name: _column(name, values) for name, values in columns.items()}, crs)


def _series_values(name: str, series: Any) -> Numbers:
    plain = getattr(series.dtype, "numpy_dtype", None)
    if plain is not None and getattr(series, "hasnans", False):
        raise ValueError(f"the column {name} has missing values")
    values: Numbers = series.to_numpy() if plain is None else series.to_numpy(dtype=plain)
    return values


# Kinds of the data frame protocol, and the letters of numpy for them.
_KINDS = {0: "i", 1: "u", 2: "f", 20: "u"}


def _exchanged_values(name: str, column: Any) -> Numbers:
    """A column of the data frame protocol; text comes out as objects."""
    parts = [_chunk_values(name, chunk) for chunk in column.get_chunks()]
    if not parts:
        return np.empty(0)
    return parts[0] if len(parts) == 1 else np.concatenate(parts)


def _chunk_values(name: str, chunk: Any) -> Numbers:
    kind, bits = int(chunk.dtype[0]), int(chunk.dtype[1])
    size = chunk.size() if callable(chunk.size) else chunk.size
    if kind not in _KINDS or bits % 8 != 0:
        return np.empty(size, dtype=object)
    if int(chunk.describe_null[0]) not in (0, 1) and chunk.null_count:
        raise ValueError(f"the column {name} has missing values")
    if size == 0:
        return np.empty(0)
    buffer = chunk.get_buffers()["data"][0]
    dtype = np.dtype(f"{_KINDS[kind]}{bits // 8}")
    memory = (ctypes.c_char * buffer.bufsize).from_address(buffer.ptr)
    # The array must not outlive what owns the memory.
    memory._owner = (chunk, buffer)
    return np.frombuffer(memory, dtype=dtype)[chunk.offset : chunk.offset + size]


def _from_columns(columns: dict[str, Numbers], crs: str = "") -> Columns:
    axes = {axis: axis if axis in columns else axis.lower() for axis in AXES}
    missing = [axis for axis, name in axes.items() if name not in columns]
    if missing:
        there = ", ".join(columns) or "none"
        raise ValueError(f"points need columns X, Y and Z; {', '.join(missing)} is missing among {there}")
    lengths = {name: len(values) for name, values in columns.items()}
    first = axes["X"]
    for name, length in lengths.items():
        if length != lengths[first]:
            raise ValueError(f"the column {name} has {length} values, and {first} has {lengths[first]}")
    coordinates = [(axis, columns[name]) for axis, name in axes.items()]
    attributes = [(name, values) for name, values in columns.items() if name not in axes.values()]
    return Columns("the cloud", coordinates, attributes, crs)


def _are_numbers(values: Numbers) -> bool:
    return values.dtype.kind in "biuf"


def _as_array(name: str, values: Any) -> Numbers:
    if isinstance(values, np.ma.MaskedArray) and np.any(values.mask):
        raise ValueError(f"the column {name} has masked values")
    try:
        return np.asarray(values)
    except ValueError:
        raise ValueError(f"the column {name} is no array of numbers, one per point") from None


def _column(name: str, values: Any) -> Numbers:
    """Numbers that the engine reads where they are; others converted."""
    array = _as_array(name, values)
    if array.ndim != 1:
        shape = "a single value" if array.ndim == 0 else f"an array of the shape {array.shape}"
        raise ValueError(f"the column {name} is {shape}, not one value per point")
    if not _are_numbers(array):
        raise TypeError(f"the column {name} has values of the type {array.dtype}, which are no plain numbers")
    kind, size = array.dtype.kind, array.dtype.itemsize
    if kind == "b":
        return array.view(np.uint8)
    if kind == "f" and size not in (4, 8):
        return array.astype(np.float32 if size < 4 else np.float64)
    return array if array.dtype.isnative else array.astype(array.dtype.newbyteorder("="))


def crs_text(crs: Any) -> Optional[str]:
    """A coordinate system as a text that the engine reads: from a text, an EPSG number, or an object with WKT."""
    if crs is None or isinstance(crs, str):
        return crs
    if isinstance(crs, (int, np.integer)) and not isinstance(crs, bool):
        return f"EPSG:{crs}"
    if hasattr(crs, "to_wkt"):
        return str(crs.to_wkt())
    raise TypeError(f"crs is a {type(crs).__name__}; expected a text such as 'EPSG:25832', a number, or a CRS")
