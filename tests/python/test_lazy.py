"""Arrays of Dask against arrays of numpy: the same dataset, made block by block."""

import pickle
import shutil
import subprocess
import sys

import numpy as np
import pytest
import xarray as xr

import tilewright
from tilewright import _lazy

dask = pytest.importorskip("dask.array")

BANDS = ["Height:Mean", "Height:Regression", "Height:IDW(3,2)", "Classification:Mode", "count", "rgb"]


def expect_identical(lazy, eager):
    assert all(isinstance(variable.data, dask.Array) for variable in lazy.values())
    found = lazy.compute()
    xr.testing.assert_identical(found, eager)
    for name in eager:
        assert found[name].dtype == eager[name].dtype
        assert found[name].encoding == eager[name].encoding


@pytest.mark.parametrize(
    "keywords",
    [
        {},
        {"select": "2,9@Classification", "nodata": 99, "sparse_limit": 1, "type": "Float64"},
        {"ground": [2], "select": "0.5:@HeightAboveGround", "bounds": (612010, 5341003, 612150, 5341152)},
        {"select": "1e9:@Height"},
    ],
)
def test_files_by_blocks(scan, keywords):
    eager = tilewright.raster(scan, 0.25, BANDS, **keywords)
    for chunks in ({}, {"y": 512, "x": 300}, 200, "auto", -1):
        lazy = tilewright.raster(scan, 0.25, BANDS, chunks=chunks, **keywords)
        expect_identical(lazy, eager)
        assert lazy.rgb.dims == ("band", "y", "x")


def test_chunks_are_those_asked_for(scan):
    def of(chunks):
        return tilewright.raster(scan, 0.25, "count", chunks=chunks)["count"].chunks

    height, width = tilewright.raster(scan, 0.25, "count")["count"].shape
    assert 512 < height < 768 and 512 < width < 768
    natural = (256, 256, height - 512), (256, 256, width - 512)
    assert of({}) == natural
    assert of({"x": 300}) == (natural[0], (300, 300, width - 600))
    assert of({"y": -1, "x": (512, width - 512)}) == ((height,), (512, width - 512))
    with pytest.raises(ValueError, match="'z'"):
        of({"z": 3})
    with pytest.raises(TypeError, match="chunks is a float"):
        of(2.5)


def test_arrays_in_no_order_by_strips(points):
    for source in (points, [points, points]):
        eager = tilewright.raster(source, 0.05, ["Height:Mean", "Intensity:Max", "count"])
        lazy = tilewright.raster(source, 0.05, ["Height:Mean", "Intensity:Max", "count"], chunks={})
        assert len(lazy["count"].chunks[1]) == 1 and len(lazy["count"].chunks[0]) > 1
        expect_identical(lazy, eager)


def test_only_what_is_computed_is_made(scan, monkeypatch):
    made = []
    make = _lazy.Raster.make
    monkeypatch.setattr(_lazy.Raster, "make", lambda self, *place: made.append(place) or make(self, *place))
    lazy = tilewright.raster(scan, 0.25, ["Height:Mean", "count"], chunks={})
    assert not made
    lazy.isel(y=slice(0, 100), x=slice(256, 300)).compute()
    assert made == [((0, 1), (1, 2))]


@pytest.mark.parametrize("kind", ["files", "arrays"])
def test_another_process_makes_the_blocks(scan, points, kind, tmp_path, monkeypatch):
    shutil.copy(scan, tmp_path / "scan.las")
    monkeypatch.chdir(tmp_path)
    source = "scan.las" if kind == "files" else points
    lazy = tilewright.raster(source, 0.5, "Height:Median", chunks={})
    (tmp_path / "lazy.pickle").write_bytes(pickle.dumps(lazy))
    script = "import pickle, sys; pickle.load(open(sys.argv[1], 'rb'))['Height:Median'].values.tofile(sys.argv[2])"
    arguments = [sys.executable, "-c", script, tmp_path / "lazy.pickle", tmp_path / "values"]
    subprocess.run(arguments, check=True, cwd="/")
    expected = tilewright.raster(source, 0.5, "Height:Median")["Height:Median"].values
    np.testing.assert_array_equal(np.fromfile(tmp_path / "values", expected.dtype).reshape(expected.shape), expected)
    if kind == "files":
        (tmp_path / "scan.las").touch()
        with pytest.raises(ValueError, match="changed"):
            pickle.loads((tmp_path / "lazy.pickle").read_bytes()).compute()


def test_a_value_that_stands_for_no_data(points):
    """Integers have no NaN: a clash ends the block, and what was chosen by the user is kept."""
    x = points["X"]
    points["Intensity"][(x > x.min() + 30)] = 65535
    ordered = {name: column[np.argsort(x)] for name, column in points.items()}
    lazy = tilewright.raster(ordered, 0.05, "Intensity:Max", chunks={})["Intensity:Max"]
    assert lazy.attrs["_FillValue"] == 65535
    with pytest.raises(OSError, match="has the value 65535, .* choose a nodata value, or a wider type"):
        lazy.compute()
    for keywords in ({"nodata": 0}, {"type": "UInt32"}):
        eager = tilewright.raster(ordered, 0.05, "Intensity:Max", **keywords)
        lazy = tilewright.raster(ordered, 0.05, "Intensity:Max", chunks={}, **keywords)
        xr.testing.assert_equal(lazy.compute(), eager)


def test_holes_are_not_filled_by_blocks(scan):
    with pytest.raises(ValueError, match="holes are filled from cells of other blocks"):
        tilewright.raster(scan, 1, fill=2, chunks={})


def test_without_dask_the_error_says_what_to_install():
    script = """if True:
        import sys
        sys.modules["dask"] = None
        import tilewright
        try:
            tilewright.raster([[0, 0, 0]], 1, chunks={})
        except ImportError as error:
            print(error)
    """
    printed = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, check=True).stdout
    assert "dask[array]" in printed
