"""Datasets against the files of the program, pixel for pixel, and what labels them."""

import os
import subprocess
import sys
import textwrap

import numpy as np
import pytest
import rioxarray  # noqa: F401  (adds .rio)

import tilewright

BANDS = ["Height:Mean", "Height:P95", "Height:Regression", "Intensity:Max", "Classification:Mode", "count"]


AREA = """{"type": "FeatureCollection",
 "crs": {"type": "name", "properties": {"name": "urn:ogc:def:crs:EPSG::32632"}},
 "features": [{"type": "Feature", "properties": {}, "geometry": {"type": "Polygon", "coordinates":
 [[[612010, 5341010], [612140, 5341030], [612070, 5341140], [612010, 5341010]]]}}]}"""


def expect_file(variable, path):
    """The variable has the pixels of the file, and its place."""
    with rioxarray.open_rasterio(path, masked=variable.dtype.kind == "f") as file:
        np.testing.assert_array_equal(variable.values, file.squeeze("band", drop=True).values)
        np.testing.assert_allclose(variable.x, file.x)
        np.testing.assert_allclose(variable.y, file.y)
        assert variable.rio.transform() == file.rio.transform()
        assert variable.rio.crs == file.rio.crs
        if variable.dtype.kind != "f":
            assert variable.attrs["_FillValue"] == file.rio.nodata
            assert variable.dtype == file.dtype


@pytest.mark.parametrize(
    "keywords, words",
    [
        ({}, []),
        ({"select": ["2,9@Classification", "100:@Height"], "returns": "last"},
         ["--select", "2,9@Classification", "--select", "100:@Height", "--returns", "last"]),
        ({"clip": "{folder}/area.geojson", "bounds": (612020, 5341020, 612120, 5341110)},
         ["--clip", "{folder}/area.geojson", "--bounds", "612020", "5341020", "612120", "5341110"]),
        ({"origin": (0.5, 0.25), "shift": (0.25, 0.0), "sparse_limit": 3, "fill": 2, "nodata": 200},
         ["--origin", "0.5", "0.25", "--shift", "0.25", "0", "--sparse-limit", "3", "--fill", "2", "--nodata", "200"]),
        ({"ground": [2, 9], "select": "0.5:@HeightAboveGround", "fill": (3, "nearest")},
         ["--ground-classes", "2,9", "--select", "0.5:@HeightAboveGround", "--fill", "3", "nearest"]),
        ({"memory": "64M", "threads": 1, "type": "float64"}, ["--memory", "64M", "--threads", "1", "--type", "Float64"]),
    ],
)  # fmt: skip
def test_pixels_are_those_of_the_program(scan, program, tmp_path, keywords, words):
    (tmp_path / "area.geojson").write_text(AREA)
    words = [word.format(folder=tmp_path) for word in words]
    if "clip" in keywords:
        keywords = {**keywords, "clip": keywords["clip"].format(folder=tmp_path)}
    bands = [band for band in BANDS if "nodata" not in keywords or not band.startswith("Intensity")]
    named = {f"b{i}": band for i, band in enumerate(bands)}
    arguments = [word for name, band in named.items() for word in ("--band", f"{name}={band}")]
    program("raster", scan, tmp_path / "out.tif", "--cell", "1.5 2", *arguments, *words)
    ds = tilewright.raster(scan, (1.5, 2), named, **keywords)
    assert list(ds) == list(named)
    for name in named:
        expect_file(ds[name], tmp_path / f"out-{name}.tif")


def test_colours_have_a_dimension_in_front(scan, program, tmp_path):
    program("raster", scan, tmp_path / "rgb.tif", "--cell", "2", "--band", "rgb", "--fill", "3")
    ds = tilewright.raster(scan, 2, "rgb", fill=3)
    assert ds.rgb.dims == ("band", "y", "x")
    assert list(ds.band.values) == ["red", "green", "blue", "alpha"]
    with rioxarray.open_rasterio(tmp_path / "rgb.tif") as file:
        np.testing.assert_array_equal(ds.rgb.values, file.values)


def test_files_are_those_of_the_program(scan, program, tmp_path):
    program("raster", scan, tmp_path / "a.tif", "--cell", "2", "--band", "count", "--band", "Height:Mean", "--stack")
    report = tilewright.write(scan, tmp_path / "b.tif", 2, ["count", "Height:Mean"], stack=True)
    assert (tmp_path / "a.tif").read_bytes() == (tmp_path / "b.tif").read_bytes()
    assert report.paths == (str(tmp_path / "b.tif"),)
    assert report.bands[0].range is not None and report.bands[0].range[0] >= 1
    with pytest.raises(OSError, match="overwrite"):
        tilewright.write(scan, tmp_path / "b.tif", 2)
    tilewright.write(scan, tmp_path / "b.tif", 2, overwrite=True, options={"COMPRESS": "LZW"})


def test_points_without_ground_are_counted(scan, tmp_path):
    whole = tilewright.write(scan, tmp_path / "whole.tif", 2)
    west, south, east, north = whole.extent
    tilewright.write(scan, tmp_path / "ground.tif", 2, "Height:Min", bounds=(west, south, (west + east) / 2, north))
    report = tilewright.write(scan, tmp_path / "out.tif", 2, ground=tmp_path / "ground.tif")
    assert report.rastered > 0 and report.without_ground > 0
    assert report.rastered + report.without_ground == report.points


def test_labels(scan):
    ds = tilewright.raster(scan, 2.0, ["Height:Mean", "n=count"], select="2@Classification")
    heights, counts = ds["Height:Mean"], ds["n"]
    assert heights.dims == ("y", "x")
    assert (np.diff(ds.y) == -2.0).all() and (np.diff(ds.x) == 2.0).all()
    # Cell edges lie at multiples of the cell size.
    np.testing.assert_array_equal(ds.x % 2.0, 1.0)
    assert heights.attrs["statistic"] == "Mean" and heights.attrs["field"] == "Height"
    assert heights.attrs["unit"] == heights.attrs["units"] == "metre"
    assert heights.attrs["request"] == "Height:Mean" and heights.attrs["source"] == str(scan)
    assert counts.attrs["statistic"] == "count" and counts.dtype.kind == "u"
    assert (np.isnan(heights.values) == (counts.values == counts.attrs["_FillValue"])).all()
    assert ds.attrs["selection"] == "2@Classification"
    assert ds.rio.crs == rioxarray.crs.CRS.from_wkt(tilewright.open(scan).crs)


def test_a_dataset_survives_files(scan, tmp_path):
    ds = tilewright.raster(scan, 2.0, ["Height:Mean", "count"], nodata=-1 + 2**32)
    ds["Height:Mean"].rio.to_raster(tmp_path / "mean.tif")
    with rioxarray.open_rasterio(tmp_path / "mean.tif", masked=True) as file:
        np.testing.assert_array_equal(file.squeeze("band").values, ds["Height:Mean"].values)
        assert file.rio.crs == ds.rio.crs
    again = tilewright.raster(scan, None, like=tmp_path / "mean.tif")
    np.testing.assert_array_equal(again["Height:Mean"].values, ds["Height:Mean"].values)


def test_a_cloud_says_what_it_is(scan, tmp_path):
    cloud = tilewright.open(str(scan.parent / "*.las"))
    ds = tilewright.raster(cloud, 1.0, "count")
    assert ds.attrs["points"] == cloud.point_count == len(cloud)
    assert cloud.fields["Intensity"] == np.uint16
    west, south, east, north = cloud.bounds
    assert ds.x[0] - 0.5 <= west < east < ds.x[-1] + 0.5 and ds.y[-1] - 0.5 <= south < north < ds.y[0] + 0.5
    assert cloud.heights[0] < cloud.heights[1]
    assert "60" in repr(cloud) and "Classification" in repr(cloud) and "UTM zone 32N" in repr(cloud)
    assert ds.rio.crs == rioxarray.crs.CRS.from_wkt(cloud.crs)


def test_faults_are_exceptions(scan, points, tmp_path, capfd):
    (tmp_path / "bad.las").write_bytes(b"LASF" + bytes(300))
    faults = [
        (FileNotFoundError, "nowhere.las", {"source": tmp_path / "nowhere.las"}),
        (FileNotFoundError, "no file fits", {"source": tmp_path / "*.laz"}),
        (FileNotFoundError, "no point files", {"source": tmp_path / "empty"}),
        (OSError, "bad.las", {"source": tmp_path / "bad.las"}),
        (OSError, "is not a raster", {"like": scan, "cell": None}),
        (FileNotFoundError, "no such file", {"like": "nowhere.tif", "cell": None}),
        (ValueError, "nodata", {"bands": "count", "nodata": -1}),
        (TypeError, "both paths and arrays", {"source": [scan, np.zeros((2, 3))]}),
        (ValueError, "no field 'Nope'", {"bands": "Nope:Mean"}),
        (ValueError, "no filter 'Meen'", {"bands": "Height:Meen"}),
        (ValueError, "can't be named", {"bands": {"x": "count"}}),
        (ValueError, "cell size", {"cell": 0}),
        (ValueError, "finite", {"cell": float("nan")}),
        (ValueError, "choose a larger", {"cell": 1e-4}),
        (ValueError, "west", {"bounds": (1, 0, 0, 1)}),
        (ValueError, "minimum is 64M", {"memory": "1M"}),
        (ValueError, "takes the place", {"like": "x.tif"}),
        (ValueError, "EPSG", {"crs": "EPSG:0"}),
        (TypeError, "cell size is missing", {"cell": None}),
        (TypeError, "no number", {"cell": "wide"}),
        (TypeError, "expected texts", {"bands": [1]}),
        (TypeError, "no source of points", {"source": 7}),
        (TypeError, "unexpected keyword", {"colour": 1}),
    ]
    (tmp_path / "empty").mkdir()
    for kind, text, keywords in faults:
        with pytest.raises(kind, match=text) as caught:
            tilewright.raster(**{"source": scan, "cell": 1.0, **keywords})
        assert "\n" not in str(caught.value)
    assert capfd.readouterr() == ("", "")


def printed(script):
    """What a process of its own prints."""
    done = subprocess.run([sys.executable, "-c", textwrap.dedent(script)], capture_output=True, text=True, check=True)
    assert not done.stderr
    return done.stdout


@pytest.mark.skipif("LD_PRELOAD" in os.environ, reason="a sanitizer takes more memory than the limit")
def test_a_raster_beyond_memory_names_the_way_out():
    assert "tilewright.write" in printed("""
        import resource
        import tilewright, xarray
        used = int(open("/proc/self/statm").read().split()[0]) * resource.getpagesize()
        resource.setrlimit(resource.RLIMIT_AS, (used + (512 << 20),) * 2)
        bands = {f"b{i}": "Height:Mean" for i in range(20)}
        try:
            tilewright.raster([[0, 0, 0]], 1, bands, bounds=(0, 0, 3000, 3000), threads=1, memory="64M")
        except MemoryError as error:
            print(error)
    """)


def test_without_xarray_the_error_says_what_to_install():
    assert "pip install xarray" in printed("""
        import sys
        sys.modules["xarray"] = None
        import tilewright
        try:
            tilewright.raster([[0, 0, 0]], 1)
        except ImportError as error:
            print(error)
    """)
