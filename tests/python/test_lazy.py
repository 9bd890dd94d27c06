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


def test_another_process_measures_nothing(scan, tmp_path, monkeypatch):
    """Not even where it gets the dataset anew with each block."""
    shutil.copy(scan, tmp_path / "scan.las")
    lazy = tilewright.raster(tmp_path / "scan.las", 0.5, ["Height:Mean", "Classification:Mode"], chunks={}, fill=3)
    pickled = pickle.dumps(lazy)
    expected = lazy.compute()
    opened = []

    class Blocks(_lazy._engine.Blocks):
        def __init__(self, *arguments):
            opened.append(arguments)
            super().__init__(*arguments)

    monkeypatch.setattr(_lazy._engine, "Blocks", Blocks)
    _lazy._known.clear()
    for _ in range(2):
        xr.testing.assert_identical(pickle.loads(pickled).compute(), expected)
    assert len(opened) == 1 and isinstance(opened[0][1], bytes)


def test_a_value_that_stands_for_no_data(points):
    """Integers have no NaN: what stands for no data is found before the first block is made."""
    x = points["X"]
    points["Intensity"][(x > x.min() + 30)] = 65535
    points["Class"] = np.arange(x.size).astype(np.uint8)
    ordered = {name: column[np.argsort(x)] for name, column in points.items()}
    bands = ["Intensity:Max", "Class:Max", "Class:Mean", "count"]
    for keywords in ({}, {"type": "UInt32"}):
        arguments = {"bands": bands, **keywords}
        lazy = tilewright.raster(ordered, 0.05, chunks={}, **arguments)
        expect_identical(lazy, tilewright.raster(ordered, 0.05, **arguments))
    lazy = tilewright.raster(ordered, 0.05, bands, nodata=0, chunks={})
    xr.testing.assert_equal(lazy.compute(), tilewright.raster(ordered, 0.05, bands, nodata=0))
    assert tilewright.raster(ordered, 0.05, bands, chunks={})["Intensity:Max"].attrs["_FillValue"] == 65534
    # With every value in use the type is a wider one.
    ordered["Class"] = np.tile(np.arange(256, dtype=np.uint8), x.size)[: x.size]
    lazy = tilewright.raster(ordered, 0.05, "Class:First", chunks={})
    expect_identical(lazy, tilewright.raster(ordered, 0.05, "Class:First"))
    assert lazy["Class:First"].dtype == np.uint16 and "UInt16" in str(lazy.attrs["notes"])


@pytest.mark.parametrize("fill", [1, 20.5, (3.2, "tin"), (300, "nearest")])
def test_holes_are_filled_as_in_the_whole(scan, fill):
    bands = ["Height:Mean", "Classification:Mode", "rgb", "filled"]
    eager = tilewright.raster(scan, 0.25, bands, fill=fill)
    chunks = 200 if fill == 1 else {}
    expect_identical(tilewright.raster(scan, 0.25, bands, fill=fill, chunks=chunks), eager)


def test_holes_of_points_in_no_order(points):
    eager = tilewright.raster(points, 0.05, ["Height:Mean", "count"], fill=7)
    expect_identical(tilewright.raster(points, 0.05, ["Height:Mean", "count"], fill=7, chunks={}), eager)


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
