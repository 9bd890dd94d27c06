"""Parts as tasks of Dask: the files of the program, whatever happens to the workers."""

import os
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

import numpy as np
import pytest

import tilewright
from test_raster import AREA

distributed = pytest.importorskip("distributed")

BANDS = ["Height:Mean", "Height:P95", "count"]
SMALL = 0.1


@pytest.fixture(scope="module")
def client():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=":0") as cluster:
        with distributed.Client(cluster) as made:
            yield made


@pytest.fixture(scope="module")
def whole(scan, tmp_path_factory):
    """The file of one process, of cells so small that its parts take their time."""
    path = tmp_path_factory.mktemp("whole") / "whole.tif"
    tilewright.write(scan, path, SMALL, BANDS, stack=True)
    return path


def start(client, scan, path, **options):
    return tilewright.distributed.raster(scan, path, SMALL, BANDS, stack=True, client=client, parts=40, **options)


def receipts(job):
    return {path.name: path.stat().st_mtime_ns for path in job.glob("parts/*.json")}


def wait_for_receipts(job, future):
    while len(receipts(job)) < 2:
        time.sleep(0.005)
    assert not future.done()


def test_files_are_those_of_the_program(client, scan, program, tmp_path, monkeypatch):
    # The workers are in another folder.
    monkeypatch.chdir(tmp_path)
    Path("tiles").mkdir()
    shutil.copy(scan, "tiles")
    tilewright.distributed.raster("tiles", "alone.tif", 2, client=client)
    program("raster", "tiles", "expected.tif", "--cell", "2", "--band", "Height:Mean")
    assert Path("alone.tif").read_bytes() == Path("expected.tif").read_bytes()
    for number in range(10):
        shutil.copy(scan, f"tiles/copy-{number}.las")
    Path("area.geojson").write_text(AREA)
    steps = []
    words = ["--cell", "0.5", "--band", "Height:Mean", "--band", "rgb", "--fill", "2", "--select", "2@Classification"]
    program("raster", "./tiles", "a.tif", "--clip", "area.geojson", *words)
    report = tilewright.distributed.raster(
        "./tiles", "b.tif", 0.5, ["Height:Mean", "rgb"], fill=2, select="2@Classification", clip="area.geojson",
        client=client, progress=lambda *step: steps.append(step),
    )  # fmt: skip
    for band in ("Height-Mean", "rgb"):
        assert Path(f"a-{band}.tif").read_bytes() == Path(f"b-{band}.tif").read_bytes()
    assert report.paths == (str(tmp_path / "b-Height-Mean.tif"), str(tmp_path / "b-rgb.tif"))
    assert ("indexing", 8, 8, "tasks") in steps and ("making", 8, 8, "tasks") in steps
    assert not Path("b.tif.job").exists()


def test_a_worker_is_lost(client, scan, whole, tmp_path):
    future = start(client, scan, tmp_path / "out.tif", wait=False)
    wait_for_receipts(tmp_path / "out.tif.job", future)
    os.kill(next(iter(client.run(os.getpid).values())), signal.SIGKILL)
    assert future.result(timeout=120).rastered == tilewright.open(scan).point_count
    assert (tmp_path / "out.tif").read_bytes() == whole.read_bytes()


def test_a_cancelled_job_is_taken_up_again(client, scan, whole, tmp_path):
    path, job = tmp_path / "out.tif", tmp_path / "job"
    future = start(client, scan, path, wait=False, job=job)
    wait_for_receipts(job, future)
    future.cancel()
    # What runs is stopped too.
    while any(client.processing().values()):
        time.sleep(0.02)
    made = receipts(job)
    assert not path.exists() and 2 <= len(made) < 40

    def interrupt(step, done, total, unit):
        if step == "making" and done > len(made):
            raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        start(client, scan, path, job=job, progress=interrupt)
    with pytest.raises(ValueError, match="other values of bands"):
        tilewright.distributed.raster(scan, path, SMALL, "count", stack=True, client=client, job=job)
    start(client, scan, path, job=job, keep=True)
    assert made.items() <= receipts(job).items()
    assert path.read_bytes() == whole.read_bytes()


def test_slots_follow_the_resources_of_workers(scan, program, tmp_path):
    with distributed.LocalCluster(
        n_workers=1, threads_per_worker=4, processes=False, dashboard_address=":0", memory_limit="1 GiB",
        resources={"tilewright": 2},
    ) as cluster, distributed.Client(cluster) as client:  # fmt: skip
        steps = []
        report = tilewright.distributed.raster(
            scan, tmp_path / "out.tif", 1.0, "count", client=client, progress=lambda *step: steps.append(step)
        )
        assert report.threads == 2
        assert ("making", 8, 8, "tasks") in steps
    program("raster", scan, tmp_path / "expected.tif", "--cell", "1", "--band", "count")
    assert (tmp_path / "out.tif").read_bytes() == (tmp_path / "expected.tif").read_bytes()


def test_faults_are_exceptions(client, scan, tmp_path, program):
    path = tmp_path / "out.tif"
    for kind, text, keywords in [
        (ValueError, "no field 'Nope'", {"bands": "Nope:Mean"}),
        (FileNotFoundError, "nowhere.las", {"source": tmp_path / "nowhere.las"}),
        (TypeError, "unexpected keyword argument 'colour'", {"colour": 1}),
        (TypeError, "workers read files", {"source": np.zeros((2, 3))}),
        (ValueError, "parts is 0", {"parts": 0}),
    ]:
        with pytest.raises(kind, match=text) as caught:
            tilewright.distributed.raster(**{"source": scan, "output": path, "cell": 1.0, "client": client, **keywords})
        assert "\n" not in str(caught.value)
        assert not list(tmp_path.iterdir())
    # A job of the program has another owner.
    program("plan", scan, path, "--cell", "1", "--job", tmp_path / "job")
    with pytest.raises(ValueError, match="planned in another way"):
        tilewright.distributed.raster(scan, path, 1.0, client=client, job=tmp_path / "job")


def test_a_part_that_fails_leaves_the_job(client, scan, tmp_path):
    copy = tmp_path / "copy.las"
    copy.write_bytes(scan.read_bytes())
    (tmp_path / "out.tif.job").mkdir()
    (tmp_path / "out.tif.job" / "parts").mkdir()
    (tmp_path / "out.tif.job" / "parts" / "1").mkdir()
    with pytest.raises(OSError, match="the same call goes on with the job in .*out.tif.job"):
        start(client, copy, tmp_path / "out.tif", retries=0)
    (tmp_path / "out.tif.job" / "parts" / "1").rmdir()
    start(client, copy, tmp_path / "out.tif")


def test_without_distributed_the_error_says_what_to_install():
    script = """if True:
        import sys
        sys.modules["distributed"] = None
        import tilewright
        try:
            tilewright.distributed.raster("scan.las", "out.tif", 1)
        except ImportError as error:
            print(error)
    """
    printed = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, check=True).stdout
    assert "pip install distributed" in printed
