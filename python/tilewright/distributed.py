"""Rasters on the workers of Dask.

A raster is cut into parts that know nothing of one another; each is a task of a worker. The files that come out are
those of `tilewright.write`, byte for byte. Files of points, the folder of the job and the output must have the same
paths on all workers; between them and the client only receipts travel.
"""

from __future__ import annotations

import inspect
import os
import time
import uuid
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass, replace
from typing import TYPE_CHECKING, Any, NamedTuple, Optional, Union, cast

from . import _engine, _tasks
from ._calls import file_keywords, write
from ._options import LEAST_MEMORY, Bands, Path, absolute, count, path
from ._progress import Callback, Progress, watcher
from ._report import Report
from ._sources import source_of

if TYPE_CHECKING:
    from distributed import Client, Future

__all__ = ["raster"]

MISSING = (
    "tilewright.distributed works on Dask, which is not installed: pip install distributed "
    "(of a distribution, python3-distributed)"
)

# The resource that workers may declare: so many parts at a time.
RESOURCE = "tilewright"
# Of what a worker may use, for the points and pixels of its parts: Python and Dask need some too.
SHARE_OF_MEMORY = 0.6
# Parts per slot, so that no worker waits long for the last of the others.
PARTS_PER_SLOT = 4


def _distributed() -> Any:
    try:
        import distributed
    except ImportError as error:
        raise ImportError(MISSING) from error
    return distributed


class _Slots(NamedTuple):
    """Room for parts on the workers; each takes one slot."""

    total: int
    threads: int
    memory: int
    resources: Optional[dict[str, float]]


def _machine_memory() -> int:
    return os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES")


def _workers(client: Client) -> dict[str, dict[str, Any]]:
    try:
        info = client.scheduler_info(n_workers=-1)
    except TypeError:  # of older versions, which always list all
        info = client.scheduler_info()
    return cast("dict[str, dict[str, Any]]", info["workers"])


def _slots(client: Client) -> _Slots:
    workers = _workers(client)
    if not workers:
        # Clusters that grow on demand have none before there is work.
        client.submit(_machine_memory, pure=False, key=f"tilewright-start-{uuid.uuid4().hex[:8]}").result()
        workers = _workers(client)
    declared = {address: int(worker["resources"].get(RESOURCE, 0)) for address, worker in workers.items()}
    are_declared = any(declared.values())
    slots = {
        address: declared[address] if are_declared else worker["nthreads"] for address, worker in workers.items()
    }
    used = {address: slots_ for address, slots_ in slots.items() if slots_ > 0}
    unlimited = [address for address in used if not workers[address]["memory_limit"]]
    machines = client.run(_machine_memory, workers=unlimited) if unlimited else {}
    shares = []
    for address, of_worker in used.items():
        if address in machines:
            host = workers[address]["host"]
            sharing = sum(n for other, n in used.items() if workers[other]["host"] == host)
            shares.append(machines[address] / sharing)
        else:
            shares.append(workers[address]["memory_limit"] / of_worker)
    threads = min(max(1, workers[address]["nthreads"] // of_worker) for address, of_worker in used.items())
    memory = max(LEAST_MEMORY, int(SHARE_OF_MEMORY * min(shares)))
    return _Slots(sum(used.values()), threads, memory, {RESOURCE: 1} if are_declared else None)


def _keywords_of(source: Any, arguments: Mapping[str, Any], slots: _Slots) -> dict[str, Any]:
    """The request, wherever it is carried out."""
    points = source_of(source)
    if points.arrays is not None:
        raise TypeError("the workers read files; tilewright.write takes arrays, and tilewright.raster with chunks= too")
    if not points.words:
        raise ValueError("there is no file to read")
    keywords = absolute({**file_keywords(arguments), "inputs": points.words})
    keywords["threads"] = keywords["threads"] or slots.threads
    keywords["memory"] = keywords["memory"] or slots.memory
    return keywords


@dataclass(frozen=True)
class _Run:
    """The tasks of a raster."""

    client: Client
    name: str
    indices: Sequence[Future]
    plan: Future
    parts: Sequence[Future]
    join: Future

    def cancel(self) -> None:
        self.client.cancel([self.join, *self.parts, self.plan, *self.indices])

    def follow(self, callback: Optional[Callback]) -> Report:
        """Waits for the end, and tells of it."""
        heard: list[tuple[str, int, int, str]] = []

        def hear(event: Any) -> None:
            step, done, total, unit = event[1]
            heard[:] = [(step, done, total, unit)]

        tell: Callable[..., object] = callback or (lambda *_: None)
        if callback:
            self.client.subscribe_topic(self.name, hear)
        try:
            self._wait_for(self.indices, lambda done: tell("indexing", done, len(self.indices), "tasks"))
            self._wait_for([self.plan], lambda _: [tell(*step) for step in heard])
            heard.clear()
            self._wait_for(self.parts, lambda done: tell("making", done, len(self.parts), "tasks"))
            self._wait_for([self.join], lambda _: [tell(*step) for step in heard])
            return cast(Report, self.join.result())
        finally:
            if callback:
                self.client.unsubscribe_topic(self.name)

    @staticmethod
    def _wait_for(futures: Sequence[Future], tell: Callable[[int], object]) -> None:
        left = list(futures)
        while left:
            over = [future for future in left if future.done()]
            for future in over:
                if future.status != "finished":
                    future.result()
            left = [future for future in left if not future.done()]
            tell(len(futures) - len(left))
            if left:
                time.sleep(0.05)


def _submit(
    client: Client, keywords: dict[str, Any], job: str, parts: Optional[int], keep: bool, retries: int, slots: _Slots
) -> _Run:
    token = uuid.uuid4().hex[:8]
    wanted = PARTS_PER_SLOT * slots.total if parts is None else parts
    version = _engine.__version__

    def submit(function: Callable[..., Any], step: str, *arguments: Any, retries: int = 0) -> Future:
        key = f"tilewright-{step.replace('#', token, 1)}"
        means = {"key": key, "pure": False, "retries": retries, "resources": slots.resources}
        return cast("Future", client.submit(function, *arguments, key, version, **means))

    numbers = range(1, wanted + 1)
    request = submit(_tasks.request, "request-#", keywords)
    indices = [
        submit(_tasks.index, f"index-#-{number}", request, job, number, wanted, retries=retries) for number in numbers
    ]
    plan = submit(_tasks.plan, "plan-#", indices, request, job, wanted)
    made = [
        submit(_tasks.make, f"part-#-{number}", plan, job, number, wanted, retries=retries) for number in numbers
    ]
    join = submit(_tasks.join, "join-#", made, job, keep, retries=retries)
    return _Run(client, f"tilewright-{token}", indices, plan, made, join)


def _client(client: Optional[Client]) -> Client:
    distributed = _distributed()
    if client is None:
        try:
            client = distributed.get_client()
        except ValueError:
            raise ValueError("there is no client of Dask; make one, or give it by client=") from None
    if client.asynchronous:
        raise ValueError("the client is asynchronous; tilewright.distributed needs one that is not")
    return client


def _arguments(given: Mapping[str, Any]) -> Mapping[str, Any]:
    """With the defaults of `write`. Throws TypeError for a keyword that it has not."""
    for name in ("dry_run", "progress"):
        if name in given:
            raise TypeError(f"raster() got an unexpected keyword argument '{name}'")
    try:
        bound = inspect.signature(write).bind(None, **given)
    except TypeError as error:
        raise TypeError(f"raster() {error}") from None
    bound.apply_defaults()
    return bound.arguments


def raster(
    source: Any,
    output: Path,
    cell: Union[float, tuple[float, float], None] = None,
    bands: Bands = ("Height:Mean",),
    *,
    client: Optional[Client] = None,
    parts: Optional[int] = None,
    job: Optional[Path] = None,
    keep: bool = False,
    retries: int = 2,
    wait: bool = True,
    progress: Progress = None,
    **options: Any,
) -> Union[Report, Future]:
    """Make a raster of files of points on the workers of Dask.

    The files that come out are those of `tilewright.write`, byte for byte. Some tasks look where the points of their
    files lie, one plans the raster, others make its parts, and a last one joins them. If a worker is lost, others make its parts. Whatever ends the work before it is
    done, a failure, Ctrl-C or a cancelled future, leaves the parts that are made in the folder of the job, and the
    same call takes them up again.

    Parameters
    ----------
    source
        Files: a path, a folder, a pattern such as ``"tiles/*.laz"``, a list of them, or what `tilewright.open` gives.
        All workers have to reach them under the same paths.
    output : path
        The raster to write, as the workers have it.
    cell, bands
        As with `tilewright.raster`.
    client : distributed.Client
        By default the current one.
    parts : int
        How many parts, each a task; by default four per slot. A job that is taken up again keeps those it has.
    job : path
        The folder of the job, as the workers have it; by default ``OUTPUT.job`` beside the output.
    keep : bool
        Keep the folder of the job when the raster is complete.
    retries : int
        How often a part that fails is tried again. Lost workers don't count.
    wait : bool
        False to get a future of the report at once; to cancel it is to stop the work.
    progress : bool or callable
        As with `tilewright.raster`. The dashboard of Dask shows the tasks as tilewright-index, tilewright-plan,
        tilewright-part and tilewright-join.
    **options
        All other keywords of `tilewright.write`. `threads` and `memory` hold for each part. By default a part takes
        one slot: workers that declare the resource ``tilewright`` have as many slots as that, others one per thread,
        and its threads and memory limit are shared among the slots.

    Returns
    -------
    Report or distributed.Future
        What was made.

    Raises
    ------
    ImportError
        Dask's distributed is not installed.
    FileNotFoundError, OSError, ValueError, TypeError
        As with `tilewright.write`.
    """
    arguments = _arguments({"output": output, "cell": cell, "bands": bands, **options})
    retries = count("retries", retries, 0, 1000)
    parts = None if parts is None else count("parts", parts, 1, 1_000_000)
    client = _client(client)
    slots = _slots(client)
    keywords = _keywords_of(source, arguments, slots)
    folder = os.path.abspath(path(job) or keywords["output"] + ".job")
    begin = time.monotonic()
    run = _submit(client, keywords, folder, parts, bool(keep), retries, slots)
    if not wait:
        return run.join
    try:
        with watcher(progress) as callback:
            return replace(run.follow(callback), seconds=time.monotonic() - begin)
    except Exception as error:
        is_planned = run.plan.status == "finished"
        run.cancel()
        if isinstance(error, ModuleNotFoundError) and error.name == "tilewright":
            raise ImportError("the workers have no module tilewright; install it where they run") from error
        if not is_planned or type(error) not in (OSError, FileNotFoundError, ValueError, MemoryError):
            raise
        raise type(error)(f"{error} (the same call goes on with the job in {folder}; without it, anew)") from error
    except BaseException:
        run.cancel()
        raise


def _full_signature() -> inspect.Signature:
    """With the options of `write` by their names, for help and completion."""
    own = inspect.signature(raster)
    named = [parameter for name, parameter in own.parameters.items() if name != "options"]
    taken = {parameter.name for parameter in named} | {"dry_run"}
    others = [parameter for name, parameter in inspect.signature(write).parameters.items() if name not in taken]
    return own.replace(parameters=[*named, *others])


raster.__signature__ = _full_signature()  # type: ignore[attr-defined]
