"""The tasks of a raster on the workers of Dask."""

from __future__ import annotations

import json
import os
import time
from contextlib import suppress
from typing import Any

from . import _engine
from ._progress import Callback
from ._report import Report, report_of

# What was asked for, beside the plan of a job.
REQUEST = "request.json"
# May differ when a job is taken up again: the pixels are the same.
MEANS = ("threads", "memory", "scratch", "shownAs")


def topic_of(key: str) -> str:
    """Where a task tells of its progress, from its key tilewright-STEP-RUN."""
    return f"tilewright-{key.split('-')[2]}"


class _Unwanted(Exception):
    """Nobody waits for the task any more."""


def _watch(key: str, topic: str = "") -> Callback:
    """What the engine calls while it works on a task: stops it when it is cancelled, and tells the client of it."""
    from distributed import get_worker

    try:
        worker = get_worker()
    except ValueError:
        return lambda *_: None
    told = [0.0]

    def look(step: str, done: int, total: int, unit: str) -> None:
        task = worker.state.tasks.get(key)
        if task is None or task.state == "cancelled" or worker.status.name in ("closing", "closed"):
            raise _Unwanted(key)
        if topic and time.monotonic() - told[0] > 0.5:
            told[0] = time.monotonic()
            worker.loop.add_callback(worker.log_event, topic, (step, done, total, unit))

    return look


def _is_planned(job: str) -> bool:
    return os.path.exists(os.path.join(job, "plan.json"))


def _expect_version(version: str) -> None:
    if version != _engine.__version__:
        raise RuntimeError(f"a worker has tilewright {_engine.__version__}, and the client {version}")


def _expect_request(job: str, asked: dict[str, Any]) -> None:
    try:
        with open(os.path.join(job, REQUEST), encoding="utf-8") as file:
            found = json.load(file)
    except FileNotFoundError:
        raise ValueError(f"{job}: is a job that was planned in another way; make it by `tilewright part`") from None
    others = sorted(name for name in {*found, *asked} if found.get(name) != asked.get(name))
    if others:
        raise ValueError(
            f"{job}: is the job of another raster, with other values of {', '.join(others)}; "
            "remove it, or choose another folder by job="
        )


def request(keywords: dict[str, Any], key: str, version: str) -> dict[str, Any]:
    """What was asked for, with the names of perhaps thousands of files, for the other tasks to get from here."""
    _expect_version(version)
    return keywords


def index(keywords: dict[str, Any], job: str, number: int, tasks: int, key: str, version: str) -> None:
    """Measures every so many-th file from `number` on, unless the job is planned already."""
    _expect_version(version)
    if not _is_planned(job):
        _engine.measure_share(keywords, job, number, tasks, _watch(key))


def plan(measured: list[None], keywords: dict[str, Any], job: str, parts: int, key: str, version: str) -> int:
    """The number of parts of the job, which is planned unless it was before."""
    _expect_version(version)
    asked = {name: value for name, value in keywords.items() if name not in MEANS and value not in (None, "", [])}
    if _is_planned(job):
        _expect_request(job, asked)
        return _engine.part_count(job)
    os.makedirs(job, exist_ok=True)
    note = os.path.join(job, REQUEST)
    with open(note, "w", encoding="utf-8") as file:
        json.dump(asked, file, indent=1)
    try:
        return _engine.plan_parts(keywords, job, parts, _watch(key, topic_of(key)))[1]
    except BaseException:
        # An empty folder beside the output would be a riddle.
        os.remove(note)
        with suppress(OSError):
            os.rmdir(job)
        raise


def make(planned: int, job: str, number: int, tasks: int, key: str, version: str) -> list[tuple[int, bool]]:
    """Every so many-th part from `number` on; for each whether it was made just now."""
    _expect_version(version)
    watch = _watch(key)
    return [(part, _engine.make_part(job, part, watch)) for part in range(number, planned + 1, tasks)]


def join(receipts: list[list[tuple[int, bool]]], job: str, keep: bool, key: str, version: str) -> Report:
    _expect_version(version)
    return report_of(_engine.join_parts(job, keep, _watch(key, topic_of(key))))
