"""What happens while the engine works: progress, Ctrl-C, threads."""

import os
import signal
import subprocess
import sys
import textwrap
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import tilewright


# Everything takes far longer then.
SANITIZED = "LD_PRELOAD" in os.environ


@pytest.fixture(scope="module")
def many():
    chance = np.random.default_rng(5)
    n = 200_000 if SANITIZED else 3_000_000
    return {"X": chance.uniform(0, 800, n), "Y": chance.uniform(0, 800, n), "Z": chance.normal(0, 9, n)}


def test_threads_do_not_disturb_one_another(many, scan, tmp_path):
    part = {name: column[:300_000] for name, column in many.items()}
    expected = tilewright.raster(part, 2.0, ["Height:Mean", "Height:Median"])

    def work(i):
        if i % 3 == 2:
            tilewright.write(scan, tmp_path / f"{i}.tif", 4.0)
        return tilewright.raster(part, 2.0, ["Height:Mean", "Height:Median"], threads=1 + i % 3)

    with ThreadPoolExecutor(4) as pool:
        assert all(expected.identical(found) for found in pool.map(work, range(12)))


def test_python_goes_on_meanwhile(many):
    ticks, over = [], threading.Event()

    def count():
        while not over.wait(0.002):
            ticks.append(time.monotonic())

    counter = threading.Thread(target=count)
    counter.start()
    begin = time.monotonic()
    tilewright.raster(many, 1.0, "Height:Median")
    taken = time.monotonic() - begin
    over.set()
    counter.join()
    assert np.diff(ticks).max() < max(0.2, 0.5 * taken)


def test_progress(many, scan, tmp_path, capfd):
    steps = []
    tilewright.raster(many, 1.0, "Height:Median", progress=lambda *step: steps.append(step))
    assert steps and all(0 <= done <= total for _, done, total, _ in steps)
    assert {"rastering"} <= {name for name, *_ in steps}
    with pytest.raises(ZeroDivisionError):
        tilewright.write(many, tmp_path / "out.tif", 1.0, "Height:Median", progress=lambda *_: 1 // 0)
    assert not list(tmp_path.iterdir())
    assert capfd.readouterr() == ("", "")
    tilewright.raster(many, 1.0, "Height:Median", progress=True)
    assert "%" in capfd.readouterr().err
    with pytest.raises(TypeError, match="progress"):
        tilewright.raster(scan, 1.0, progress="yes")


@pytest.mark.parametrize("call", ["raster(points, 1.0, bands)", "write(points, 'out.tif', 1.0, bands)"])
def test_ctrl_c(call, tmp_path):
    script = f"""
        import time
        import numpy as np, tilewright, xarray
        chance = np.random.default_rng(1)
        points = {{axis: chance.uniform(0, 2000, 20_000_000) for axis in "XYZ"}}
        bands = ["Height:Median", "X:Median", "Y:Median"]
        print("ready", flush=True)
        try:
            tilewright.{call}
        except KeyboardInterrupt:
            print("interrupted", time.time(), flush=True)
    """
    process = subprocess.Popen(
        [sys.executable, "-c", textwrap.dedent(script)], stdout=subprocess.PIPE, text=True, cwd=tmp_path
    )
    assert process.stdout.readline() == "ready\n"
    time.sleep(1.0)
    os.kill(process.pid, signal.SIGINT)
    sent = time.time()
    word, when = process.stdout.readline().split()
    assert word == "interrupted"
    # A second, and what a busy machine adds.
    assert float(when) - sent < (20.0 if SANITIZED else 2.5)
    assert process.wait() == 0
    assert not list(tmp_path.iterdir())
