"""Point clouds to regular rasters.

Files or arrays of points become a labelled raster of `xarray`, one value per
cell and band, or files of pixels:

>>> import numpy as np
>>> import tilewright
>>> points = {"X": [0.2, 0.4, 1.5], "Y": [0.5, 0.6, 0.7], "Z": [1.0, 3.0, 7.0]}
>>> ds = tilewright.raster(points, cell=1.0, bands=["Height:Mean", "count"])
>>> ds["Height:Mean"].values
array([[2., 7.]], dtype=float32)
>>> ds["count"].values
array([[2, 1]], dtype=uint32)

`raster` gives a dataset in memory, `write` makes files of any size as the
program does, `distributed.raster` makes them on the workers of Dask, and
`open` says what is in files.
"""

from . import distributed
from ._calls import raster, write
from ._cloud import Bounds, Cloud, open
from ._engine import __version__
from ._report import BandReport, Report

__all__ = ["BandReport", "Bounds", "Cloud", "Report", "__version__", "distributed", "open", "raster", "write"]
