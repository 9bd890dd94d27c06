"""Arrays of every kind as points: the same pixels whatever they come in."""

import types

import numpy as np
import pandas as pd
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import tilewright

BANDS = ["Height:Mean", "Height:Median", "Intensity:Max", "count"]
DTYPES = [np.dtype(kind) for kind in ("i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "f2", "f4", "f8", "f16", "?")]


def values(source, bands=BANDS):
    return [variable.values for variable in tilewright.raster(source, 1.0, bands).values()]


def reference(x, y, z, i):
    """Mean, greatest intensity and count of the cells, cell by cell."""
    column, row = np.floor(x).astype(int), np.floor(y).astype(int)
    shape = (row.max() - row.min() + 1, column.max() - column.min() + 1)
    mean, most, count = np.full(shape, np.nan), np.full(shape, np.nan), np.zeros(shape)
    cells = {}
    for at in zip(row.max() - row, column - column.min(), z, i):
        cells.setdefault(at[:2], []).append(at[2:])
    for place, inside in cells.items():
        heights, intensities = zip(*inside)
        mean[place], most[place], count[place] = np.mean(heights), max(intensities), len(inside)
    return mean, most, count


@st.composite
def columns(draw):
    """Points as numpy has them at its oddest: types, byte order, strides, offsets, flags."""
    n = draw(st.integers(1, 60))
    chance = np.random.default_rng(draw(st.integers(0, 2**32 - 1)))
    made = {}
    for name in ("X", "Y", "Z", "Intensity"):
        dtype = draw(st.sampled_from(DTYPES))
        plain = chance.integers(0, 2 if dtype.kind == "b" else 12, n).astype(dtype)
        if draw(st.booleans()):
            plain = plain.astype(dtype.newbyteorder(draw(st.sampled_from("<>"))))
        stride = draw(st.sampled_from([1, 2, 3, -1, -2]))
        room = np.zeros(n * abs(stride), plain.dtype)[::stride]
        room[:] = plain
        if draw(st.booleans()):
            record = np.zeros(n, np.dtype([("pad", "u1"), ("v", plain.dtype)]))
            record["v"] = plain
            room = record["v"]
        if draw(st.booleans()):
            room.flags.writeable = False
        made[name] = room
    return made


@settings(max_examples=60, deadline=None, suppress_health_check=[HealthCheck.too_slow])
@given(columns())
def test_any_type_order_and_strides(made):
    mean, most, count = reference(*(made[name].astype(float) for name in made))
    ds = tilewright.raster(made, 1.0, ["Height:Mean", "Intensity:Max", "count"])
    np.testing.assert_allclose(ds["Height:Mean"].values, mean.astype(np.float32), rtol=1e-6)
    for name, wanted in (("Intensity:Max", most), ("count", count)):
        found = ds[name].values.astype(float)
        np.testing.assert_array_equal(found[count > 0], wanted[count > 0])


def test_all_kinds_of_sources_give_the_same(points):
    expected = values(points)
    frame = pd.DataFrame({**points, "tile": "a"})
    structure = np.zeros(len(points["X"]), [(name, column.dtype) for name, column in points.items()])
    for name, column in points.items():
        structure[name] = column

    class Exchanged:
        def __dataframe__(self):
            return frame.__dataframe__()

    class Scan:
        x, y, z = points["X"], points["Y"], points["Z"]
        point_format = types.SimpleNamespace(dimension_names=["X", "intensity"])

        def __getitem__(self, name):
            return {"intensity": points["Intensity"]}[name]

    nullable = frame.astype({"Intensity": "UInt16", "Z": "Float64"})
    halves = [{name: column[part] for name, column in points.items()} for part in (slice(9000), slice(9000, None))]
    lower = {name.lower() if name in "XYZ" else name: list(column) for name, column in points.items()}
    for source in (frame, structure, Exchanged(), Scan(), nullable, halves, lower):
        for found, wanted in zip(values(source), expected):
            np.testing.assert_array_equal(found, wanted)
    table = np.column_stack([points[axis] for axis in "XYZ"])
    for source in (table, np.asfortranarray(table), table.tolist()):
        np.testing.assert_array_equal(values(source, BANDS[:1])[0], expected[0])


def test_the_system_of_a_source_is_that_of_the_raster(points):
    frame = pd.DataFrame(points)
    assert "spatial_ref" not in tilewright.raster(frame, 1.0).spatial_ref.attrs
    for crs in ("EPSG:25832", 25832, types.SimpleNamespace(to_wkt=lambda: "EPSG:25832")):
        assert "UTM zone 32N" in tilewright.raster(frame, 1.0, crs=crs).spatial_ref.attrs["crs_wkt"]


def test_columns_that_are_none(points):
    n = len(points["X"])
    missing = pd.DataFrame(points).astype({"Intensity": "UInt16"})
    missing.loc[3, "Intensity"] = pd.NA
    masked = np.ma.masked_greater(points["Z"], 300.0)
    holes = points["Z"].copy()
    holes[5] = np.nan
    cases = [
        (ValueError, "Z has 3 values", {"Z": np.zeros(3)}),
        (ValueError, "a single value", {"Z": 3.0}),
        (ValueError, "shape", {"Z": np.zeros((n, 2))}),
        (ValueError, "masked", {"Z": masked}),
        (ValueError, "point 6 .* finite", {"Z": holes}),
        (TypeError, "Z .* plain numbers", {"Z": np.full(n, "a")}),
        (TypeError, "Z .* plain numbers", {"Z": points["Z"].astype(object)}),
        (TypeError, "Z .* plain numbers", {"Z": points["Z"].astype(complex)}),
        (TypeError, "When .* plain numbers", {"When": np.full(n, np.datetime64("2024-01-01"))}),
    ]
    for kind, text, column in cases:
        with pytest.raises(kind, match=text):
            tilewright.raster({**points, **column}, 1.0)
    for kind, text, source in [
        (ValueError, "missing values", missing),
        (ValueError, "Z is missing among X, Y", {"X": [1], "Y": [2]}),
        (ValueError, "no points", {name: [] for name in "XYZ"}),
        (ValueError, "transposed", np.zeros((3, 5))),
        (ValueError, "shape", []),
        (TypeError, "plain numbers", pd.DataFrame({"X": [1.0], "Y": [1.0], "Z": ["a"]})),
    ]:
        with pytest.raises(kind, match=text):
            tilewright.raster(source, 1.0)
    empty = tilewright.raster({name: [] for name in "XYZ"}, 1.0, bounds=(0, 0, 3, 2))
    assert empty["Height:Mean"].shape == (2, 3) and np.isnan(empty["Height:Mean"]).all()


def test_float64_is_not_copied():
    from tilewright._sources import _column

    for array in (np.zeros(10), np.zeros(20)[::-2], np.zeros((10, 3))[:, 1]):
        assert np.shares_memory(_column("X", array), array)
