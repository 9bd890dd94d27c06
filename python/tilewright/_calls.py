"""The two calls that make rasters."""

from __future__ import annotations

from collections.abc import Mapping, Sequence
from typing import TYPE_CHECKING, Any, Optional, Union

from . import _engine, _options
from ._dataset import RESERVED, dataset_of, require_xarray
from ._lazy import Chunks, lay_out
from ._options import Bands, Fill, Ground, Path, Words
from ._progress import Progress, watcher
from ._report import Report, report_of
from ._sources import Source, source_of

if TYPE_CHECKING:
    import xarray as xr


def _check_names(texts: Sequence[str]) -> None:
    for text in texts:
        name = text.split("=", 1)[0] if "=" in text else text
        if name in RESERVED:
            raise ValueError(f"a band can't be named '{name}', as a coordinate of the dataset is")


def _files(source: Source) -> dict[str, Any]:
    if source.arrays is None and not source.words:
        raise ValueError("there is no file to read")
    return {"inputs": source.words}


def _keywords(given: Mapping[str, Any]) -> dict[str, Any]:
    """What was given to `raster` or `write`, as members of a request; all but the points."""

    def some(*names: str) -> list[Any]:
        return [given[name] for name in names]

    return {
        **_options.grid(*some("cell", "like", "bounds", "origin", "shift")),
        **_options.points(*some("select", "returns", "clip", "ground", "sparse_limit")),
        **_options.pixels(*some("fill", "nodata", "type", "crs")),
        **_options.work(*some("threads", "memory", "scratch")),
        "bands": _options.band_texts(given["bands"]),
        "requests": _options.words("request", given["request"]),
        "alpha": bool(given["alpha"]),
    }


def file_keywords(given: Mapping[str, Any]) -> dict[str, Any]:
    """What was given to `write`, as members of a request; all but the points."""
    return {
        **_keywords(given),
        "output": _options.path(given["output"]),
        "overwrite": bool(given["overwrite"]),
        "stack": bool(given["stack"]),
        "driver": given["format"],
        "creationOptions": _creation_options(given["options"]),
        "overviews": bool(given["overviews"]),
        "preview": _options.path(given["preview"]),
        "dryRun": bool(given["dry_run"]),
    }


def _selection(keywords: Mapping[str, Any]) -> str:
    return " & ".join(filter(None, [*keywords["selections"], keywords["returns"]]))


def raster(
    source: Any,
    cell: Union[float, tuple[float, float], None] = None,
    bands: Bands = ("Height:Mean",),
    *,
    select: Words = None,
    returns: Words = None,
    clip: Optional[Path] = None,
    ground: Ground = None,
    bounds: Optional[Sequence[float]] = None,
    origin: Optional[Sequence[float]] = None,
    shift: Optional[Sequence[float]] = None,
    like: Optional[Path] = None,
    crs: Any = None,
    sparse_limit: int = 0,
    fill: Fill = None,
    nodata: Optional[float] = None,
    type: Optional[str] = None,
    alpha: bool = False,
    request: Words = None,
    threads: Optional[int] = None,
    memory: Union[int, str, None] = None,
    scratch: Optional[Path] = None,
    progress: Progress = None,
    chunks: Chunks = None,
) -> xr.Dataset:
    """Make a raster of points, in memory.

    Parameters
    ----------
    source
        The points. Files: a path, a folder, a pattern such as ``"tiles/*.laz"``, a list of them, or what
        `open` gives. Arrays of N numbers each: a dict or a data frame with the columns X, Y and Z (or x, y
        and z) and any others, a structured array, an array of the shape (N, 3), an object with x, y and z,
        or a list of such clouds. Arrays of any number type, strides and byte order will do; columns of
        float64 are not copied.
    cell : float or (float, float)
        The size of a cell along x and y, in the units of the coordinates. Not needed with `like`.
    bands : str, list of str, or dict of str to str
        What to make: ``"FIELD:FILTER"``, such as ``"Height:Mean"``, or ``"count"``, ``"rgb"`` and so on, as
        the program takes them. The keys of a dict name the variables.
    select : str or list of str
        Use only points whose values are in these ranges, such as ``"2,9@Classification"``. All must hold.
    returns : str or list of str
        Use only these returns of a pulse: first, last, only or intermediate.
    clip : path
        Use only points in the polygons of this vector file; FILE:LAYER for one of its layers.
    ground : path or list of int
        A raster of the ground, or the classes of the points that are ground, such as ``[2, 9]``. Gives the
        field HeightAboveGround to bands and selections; points without ground below are left out.
    bounds : (float, float, float, float)
        West, south, east and north; points on the upper edges are outside.
    origin : (float, float)
        A point where cell edges cross; by default 0, 0.
    shift : (float, float)
        Moves the cell edges further, in cells.
    like : path
        A raster that gives cell size, edges, bounds and coordinate system.
    crs : str, int, or object with ``to_wkt``
        The coordinate system, instead of that of the source: ``"EPSG:25832"``, 25832, WKT, a CRS of pyproj.
    sparse_limit : int
        Cells with no more points than this have no data.
    fill : float or (float, str)
        Fill holes up to this many cells from data, by ``"idw"``, ``"nearest"`` or ``"tin"``.
    nodata : float
        The value of cells without data, in bands of integers and in files that are made of the dataset.
    type : str
        The type of the pixels, such as ``"Float64"``; by default what the band needs.
    alpha : bool
        Add a band Alpha: 255 where there are data.
    request : str or list of str
        Bands as the library makes them, ``"FIELD:FILTER:DIRECTION"``.
    threads : int
        Threads to use; by default one per processor.
    memory : int or str
        Bytes to work with beside the arrays and the result, such as ``"2G"``; by default a half of the
        machine's.
    scratch : path
        A folder for what does not fit into memory; by default that of temporary files.
    progress : bool or callable
        True for a bar, or a function that is called with the step, how much of it is done, how much there
        is, and the unit of both. An exception in it stops the work.
    chunks : dict, int or "auto"
        Give arrays of Dask, whose blocks are made when they are computed: ``{}`` for the blocks that take the
        least work, ``{"y": 1024, "x": 1024}``, a number or ``"auto"`` as with xarray. The points are only
        measured now. Where integers reach the value that stands for no data, all blocks are made once now, to find
        one that is free.

    Returns
    -------
    xarray.Dataset
        A variable per band, with the dimensions ``(y, x)``, y descending, coordinates at the centres of the
        cells, and ``spatial_ref`` as CF and rioxarray have it. Cells without data are NaN in floating
        numbers; integers say in their attribute ``_FillValue`` what stands for them. Colours (``"rgb"``)
        have a dimension ``band`` in front.

    Raises
    ------
    FileNotFoundError, OSError
        A file is not there, or is no file of points.
    ValueError, TypeError
        The request makes no sense, or not for these points.
    MemoryError
        The raster does not fit into memory; `write` makes files of any size.
    ImportError
        xarray is not installed, or Dask for `chunks`.

    Examples
    --------
    >>> import numpy as np
    >>> import tilewright
    >>> points = np.array([[0.5, 0.5, 1.0], [0.6, 1.5, 3.0], [0.7, 1.6, 5.0]])
    >>> ds = tilewright.raster(points, 1.0, {"dsm": "Height:Max"})
    >>> ds.dsm.values
    array([[5.],
           [1.]], dtype=float32)
    >>> ds.y.values
    array([1.5, 0.5])
    """
    given = locals()
    require_xarray()
    keywords = _keywords(given)
    _check_names(keywords["bands"])
    points = source_of(source)
    keywords.update(_files(points))
    with watcher(progress) as callback:
        if chunks is None:
            made = _engine.raster(points.engine_arrays(), keywords, callback)
        else:
            made = lay_out(points, keywords, chunks, callback)
    return dataset_of(made, _selection(keywords), nodata)


def _creation_options(options: Union[Mapping[str, Any], Words]) -> list[str]:
    if isinstance(options, Mapping):
        return [f"{key}={value}" for key, value in options.items()]
    texts = _options.words("options", options)
    for text in texts:
        if "=" not in text[1:]:
            raise ValueError(f"expected KEY=VALUE in options, for example COMPRESS=LZW, not '{text}'")
    return texts


def write(
    source: Any,
    output: Path,
    cell: Union[float, tuple[float, float], None] = None,
    bands: Bands = ("Height:Mean",),
    *,
    select: Words = None,
    returns: Words = None,
    clip: Optional[Path] = None,
    ground: Ground = None,
    bounds: Optional[Sequence[float]] = None,
    origin: Optional[Sequence[float]] = None,
    shift: Optional[Sequence[float]] = None,
    like: Optional[Path] = None,
    crs: Any = None,
    sparse_limit: int = 0,
    fill: Fill = None,
    nodata: Optional[float] = None,
    type: Optional[str] = None,
    alpha: bool = False,
    request: Words = None,
    overwrite: bool = False,
    stack: bool = False,
    format: Optional[str] = None,
    options: Union[Mapping[str, Any], Words] = None,
    overviews: bool = False,
    preview: Optional[Path] = None,
    dry_run: bool = False,
    threads: Optional[int] = None,
    memory: Union[int, str, None] = None,
    scratch: Optional[Path] = None,
    progress: Progress = None,
) -> Report:
    """Make a raster of points as files, as the program does.

    The raster is never in memory as a whole. The files appear complete or not at all. What is not described
    here is as with `raster`.

    Parameters
    ----------
    source
        The points: files or arrays.
    output : path
        The raster to write; several bands become one OUTPUT-BAND each.
    cell, bands, select, returns, clip, ground, bounds, origin, shift, like, crs, sparse_limit, fill, type, alpha, request
        As with `raster`.
    nodata : float
        The value of cells without data.
    overwrite : bool
        Replace rasters that are there.
    stack : bool
        Put all bands into one file.
    format : str
        The format, as GDAL calls it; by default what the extension of the output says.
    options : dict or list of str
        Options of the format, such as ``{"COMPRESS": "LZW"}``.
    overviews : bool
        Add smaller versions to the file, for quick display.
    preview : path
        Paint the first band into a PNG or JPEG.
    dry_run : bool
        Report what would be made, and stop.
    threads, memory, scratch, progress
        As with `raster`; scratch is by default the folder of the output.

    Returns
    -------
    Report
        What was made: extent, counts, and each band with its file, type and range.

    Raises
    ------
    FileNotFoundError, OSError
        A file is not there, is no file of points, or can't be written or replaced.
    ValueError, TypeError
        The request makes no sense, or not for these points.
    """
    keywords = file_keywords(locals())
    points = source_of(source)
    keywords.update(_files(points))
    with watcher(progress) as callback:
        return report_of(_engine.write(points.engine_arrays(), keywords, callback))
