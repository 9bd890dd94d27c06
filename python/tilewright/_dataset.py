"""Pixels as a labelled dataset."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy as np

if TYPE_CHECKING:
    import xarray as xr

MISSING = "tilewright.raster gives datasets of xarray, which is not installed: pip install xarray"
RESERVED = ("x", "y", "band", "spatial_ref")


def require_xarray() -> Any:
    try:
        import xarray
    except ImportError as error:
        raise ImportError(MISSING) from error
    return xarray


def name_of(request: str, name: str) -> str:
    """What a variable is called: by its own name where NAME= was asked for, or else as it was asked for."""
    head = request.split("[")[0].split(":")[0]
    return name if "=" in head else request


def _words_of(request: str) -> dict[str, str]:
    """The field and the statistic of FIELD:STATISTIC[CONDITIONS]; of a word the word."""
    text = request.split("=", 1)[1] if "=" in request.split("[")[0].split(":")[0] else request
    parts = text.split("[")[0].split(":")
    return {"statistic": parts[0]} if len(parts) == 1 else {"field": parts[0], "statistic": parts[1]}


def _coordinates(geometry: dict[str, Any]) -> dict[str, Any]:
    """The centres of the cells."""
    width, height = geometry["width"], geometry["height"]
    cell_x, cell_y = geometry["cell"]
    x = geometry["west"] + (np.arange(width) + 0.5) * cell_x
    y = geometry["north"] - (np.arange(height) + 0.5) * cell_y
    is_geographic = geometry["unit"] == "degree"
    names = ("longitude", "latitude") if is_geographic else ("projection_x_coordinate", "projection_y_coordinate")
    units = ("degrees_east", "degrees_north") if is_geographic else (geometry["unit"],) * 2
    attrs = [
        {"axis": axis, "long_name": text, "standard_name": name, **({"units": unit} if unit else {})}
        for axis, text, name, unit in zip("XY", ("x of cell centres", "y of cell centres"), names, units)
    ]
    return {"x": ("x", x, attrs[0]), "y": ("y", y, attrs[1])}


def _spatial_ref(geometry: dict[str, Any]) -> dict[str, Any]:
    cell_x, cell_y = geometry["cell"]
    place = (geometry["west"], cell_x, 0.0, geometry["north"], 0.0, -cell_y)
    attrs: dict[str, Any] = {}
    wkt = geometry["crs"]
    if wkt:
        try:
            from pyproj import CRS

            attrs.update(CRS.from_user_input(wkt).to_cf())
        except Exception:  # without pyproj, or with one that knows the system less well, the text is enough
            attrs.clear()
        attrs["crs_wkt"] = attrs["spatial_ref"] = wkt
    attrs["GeoTransform"] = " ".join(repr(float(number)) for number in place)
    return attrs


def _variable(output: dict[str, Any], source: str, wanted_nodata: Any) -> tuple[Any, ...]:
    arrays, colours = output["arrays"], output["colours"]
    attrs: dict[str, Any] = {"long_name": name_of(output["request"], output["name"]), **_words_of(output["request"])}
    attrs.update(request=output["request"], source=source)
    if output["unit"]:
        attrs.update(unit=output["unit"], units=output["unit"])
    encoding: dict[str, Any] = {"grid_mapping": "spatial_ref"}
    if output["nodata"] is not None:
        attrs["_FillValue"] = arrays[0].dtype.type(output["nodata"])
        # In memory floating numbers have NaN; files made of them have what was asked for.
        if arrays[0].dtype.kind == "f" and wanted_nodata is not None:
            del attrs["_FillValue"]
            encoding["_FillValue"] = arrays[0].dtype.type(wanted_nodata)
    if len(arrays) == 1 and not colours[0]:
        return ("y", "x"), arrays[0], attrs, encoding
    return ("band", "y", "x"), np.stack(arrays), attrs, encoding


def dataset_of(made: dict[str, Any], selection: str, nodata: Any) -> xr.Dataset:
    xarray = require_xarray()
    report, geometry = made["report"], made["geometry"]
    coordinates = _coordinates(geometry)
    coordinates["spatial_ref"] = ((), np.int64(0), _spatial_ref(geometry))
    variables = {}
    for output in made["outputs"]:
        name = name_of(output["request"], output["name"])
        variables[name] = _variable(output, report["cloud"], nodata)
        if "band" in variables[name][0]:
            coordinates["band"] = ("band", list(output["colours"]))
    attrs: dict[str, Any] = {
        "Conventions": "CF-1.8",
        "source": report["cloud"],
        "points": report["points"],
        "rastered_points": report["rastered"],
    }
    if selection:
        attrs["selection"] = selection
    if report["notes"]:
        attrs["notes"] = "\n".join(report["notes"])
    ds: xr.Dataset = xarray.Dataset(variables, coordinates, attrs)
    return ds
