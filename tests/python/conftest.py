"""What the tests of the module share: the program, and a small scan that it can be held against."""

import os
import subprocess
from pathlib import Path

import numpy as np
import pytest

BUILD = Path(os.environ.get("TILEWRIGHT_BUILD", Path(__file__).resolve().parents[2] / "build" / "release"))


@pytest.fixture(scope="session")
def program():
    """Runs the program; gives its process when it is done."""

    def run(*words):
        return subprocess.run([BUILD / "apps" / "tilewright", *map(str, words)], check=True, capture_output=True)

    return run


@pytest.fixture(scope="session")
def scan(tmp_path_factory):
    """A LAS file of a valley in EPSG:25832, with colours and classes."""
    path = tmp_path_factory.mktemp("scan") / "valley.las"
    subprocess.run([BUILD / "apps" / "tilewright-makescan", path, "--points", "60000"], check=True)
    return path


@pytest.fixture
def points():
    """Points in random order over some 40 x 30 cells, as a dict of arrays."""
    chance = np.random.default_rng(17)
    n = 20000
    return {
        "X": chance.uniform(500000.0, 500040.0, n),
        "Y": chance.uniform(5400000.0, 5400030.0, n),
        "Z": chance.normal(300.0, 5.0, n),
        "Intensity": chance.integers(0, 4000, n).astype(np.uint16),
    }
