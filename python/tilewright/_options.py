"""Keywords of `raster` and `write` as the members of a request."""

from __future__ import annotations

import math
import numbers
import os
import re
from collections.abc import Iterable, Mapping, Sequence
from typing import Any, Optional, Union

from . import _engine
from ._sources import crs_text

Bands = Union[str, Sequence[str], Mapping[str, str]]
Words = Union[str, Sequence[str], None]
Path = Union[str, "os.PathLike[str]"]
Ground = Union[Path, Sequence[int], None]
Fill = Union[float, tuple[float, str], None]

LEAST_MEMORY = 64 << 20
MOST_THREADS = 1024
FILL_METHODS = ("idw", "nearest", "tin")
PIXEL_TYPES = ("Byte", "UInt16", "UInt32", "UInt64", "Int32", "Float32", "Float64")


def number(name: str, value: Any) -> float:
    if isinstance(value, (str, bytes)) or not isinstance(value, numbers.Real):
        try:
            value = float(value) if not isinstance(value, (str, bytes)) else None
        except (TypeError, ValueError):
            value = None
        if value is None:
            raise TypeError(f"{name} is no number")
    return float(value)


def finite(name: str, value: Any) -> float:
    result = number(name, value)
    if not math.isfinite(result):
        raise ValueError(f"{name} is {result}, which is no finite number")
    return result


def count(name: str, value: Any, least: int, most: int) -> int:
    if isinstance(value, bool) or not hasattr(value, "__index__"):
        raise TypeError(f"{name} is no whole number")
    result = value.__index__()
    if not least <= result <= most:
        raise ValueError(f"{name} is {result}; expected {least} to {most}")
    return int(result)


def _several(name: str, values: Any, length: int) -> list[float]:
    if isinstance(values, (str, bytes)) or not isinstance(values, Iterable):
        raise TypeError(f"{name} is no sequence of {length} numbers")
    result = [finite(name, value) for value in values]
    if len(result) != length:
        raise ValueError(f"{name} has {len(result)} numbers, not {length}")
    return result


def _cell(value: Any) -> list[float]:
    is_pair = isinstance(value, Iterable) and not isinstance(value, (str, bytes)) and getattr(value, "ndim", 1) > 0
    cell = _several("cell", value, 2) if is_pair else [finite("cell", value)] * 2
    if min(cell) <= 0.0:
        raise ValueError(f"the cell size must be above 0, not {min(cell):g}")
    return cell


def _bounds(value: Any) -> list[float]:
    west, south, east, north = _several("bounds", value, 4)
    if not (west < east and south < north):
        raise ValueError(
            "expected west, south, east and north in this order as bounds, with west below east and south below north"
        )
    return [west, south, east, north]


def words(name: str, value: Words) -> list[str]:
    """One text or several."""
    listed = [value] if isinstance(value, str) else list(value or ())
    for word in listed:
        if not isinstance(word, str):
            raise TypeError(f"{name} has a {type(word).__name__} in it; expected texts")
    return listed


def band_texts(bands: Bands) -> list[str]:
    """Texts as the program takes them: the key of a dict becomes NAME= in front."""
    if not isinstance(bands, Mapping):
        return words("bands", bands)
    for name, text in bands.items():
        if not isinstance(name, str) or not isinstance(text, str):
            raise TypeError("bands has other names or bands than texts in it")
        if "=" in name or not name:
            raise ValueError(f"a band can't be named '{name}'")
    return [f"{name}={text}" for name, text in bands.items()]


def _memory(value: Union[int, str]) -> int:
    bytes_ = _engine.parse_bytes(value) if isinstance(value, str) else count("memory", value, 0, 1 << 62)
    if bytes_ is None:
        raise ValueError(f"expected a number of bytes such as '512M' or '4G' as memory, not '{value}'")
    if bytes_ < LEAST_MEMORY:
        raise ValueError(f"a memory of {value} is too small; the minimum is 64M")
    return bytes_


def pixel_type(value: str) -> str:
    for known in PIXEL_TYPES:
        if isinstance(value, str) and known.lower() == value.lower():
            return known
    raise ValueError(f"there is no type {value!r}; choose one of {', '.join(PIXEL_TYPES)}")


def path(value: Optional[Path]) -> Optional[str]:
    return None if value is None else os.fsdecode(os.path.expanduser(os.fspath(value)))


def _whole(word: str) -> str:
    """The absolute path, with a slash at its end if there was one."""
    return os.path.join(os.path.abspath(word), "") if word.endswith("/") else os.path.abspath(word)


def absolute(keywords: dict[str, Any]) -> dict[str, Any]:
    """A request whose paths mean the same in every folder, and are still written down as they were given."""
    shown: dict[str, str] = {}

    def whole(word: str) -> str:
        if "://" in word or os.path.isabs(word):
            return word
        plain = re.split(r"[*?]", word)[0]
        # Of a pattern the folders before it stand for all that fits.
        named = word.rstrip("/") if plain == word else plain[: plain.rfind("/") + 1]
        shown[_whole(named or "./")] = named
        return os.path.abspath(word)

    paths = ("output", "like", "clip", "ground", "preview", "scratch")
    moved: dict[str, Any] = {name: whole(keywords[name]) for name in paths if keywords.get(name)}
    moved["inputs"] = [whole(word) for word in keywords["inputs"]]
    return {**keywords, **moved, "shownAs": sorted(shown.items(), key=lambda pair: -len(pair[0]))}


def grid(
    cell: Any, like: Optional[Path], bounds: Any, origin: Any, shift: Any
) -> dict[str, Any]:
    """Where the cells are."""
    if like is None and cell is None:
        raise TypeError("a cell size is missing, or like=, a raster to take the cells from")
    if like is not None and any(value is not None for value in (cell, bounds, origin, shift)):
        raise ValueError("like= takes the place of cell, bounds, origin and shift")
    return {
        "like": path(like),
        "cell": None if cell is None else _cell(cell),
        "bounds": None if bounds is None else _bounds(bounds),
        "origin": None if origin is None else _several("origin", origin, 2),
        "shift": None if shift is None else _several("shift", shift, 2),
    }


def _ground(value: Ground) -> dict[str, Any]:
    """A raster by its path, or the classes of the points that are ground."""
    if value is None or isinstance(value, (str, os.PathLike)):
        return {"ground": path(value)}
    if not isinstance(value, Iterable):
        raise TypeError("ground is no path and no sequence of classes")
    classes = [count("ground", each, 0, 255) for each in value]
    if not classes:
        raise ValueError("ground has no classes in it")
    return {"groundClasses": ",".join(str(each) for each in classes)}


def points(select: Words, returns: Words, clip: Optional[Path], ground: Ground, sparse_limit: int) -> dict[str, Any]:
    """Which points count."""
    return {
        **_ground(ground),
        "selections": words("select", select),
        "returns": ",".join(words("returns", returns)),
        "clip": path(clip),
        "sparseLimit": count("sparse_limit", sparse_limit, 0, 4294967295),
    }


def work(threads: Optional[int], memory: Union[int, str, None], scratch: Optional[Path]) -> dict[str, Any]:
    """What the work may take."""
    return {
        "threads": None if threads is None else count("threads", threads, 1, MOST_THREADS),
        "memory": None if memory is None else _memory(memory),
        "scratch": path(scratch),
    }


def _fill(value: Fill) -> dict[str, Any]:
    """A distance in cells, or that and a method."""
    if value is None:
        return {}
    distance, method = value if isinstance(value, tuple) and len(value) == 2 else (value, "idw")
    if finite("fill", distance) < 0.0:
        raise ValueError(f"expected a number of cells, 0 or more, as fill, not {distance}")
    if method not in FILL_METHODS:
        raise ValueError(f"there is no way {method!r} to fill; choose one of {', '.join(FILL_METHODS)}")
    return {"fill": finite("fill", distance), "fillMethod": method}


def pixels(fill: Fill, nodata: Optional[float], type_: Optional[str], crs: Any) -> dict[str, Any]:
    """What the pixels are like."""
    return {
        **_fill(fill),
        "nodata": None if nodata is None else number("nodata", nodata),
        "pixelType": None if type_ is None else pixel_type(type_),
        "coordinateSystem": crs_text(crs),
    }
