"""Progress as a bar, or to a callback."""

from __future__ import annotations

import sys
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import Any, Optional, Union

Callback = Callable[[str, int, int, str], object]
Progress = Union[bool, Callback, None]


class _PlainBar:
    """Where tqdm is not installed."""

    def __call__(self, step: str, done: int, total: int, unit: str) -> None:
        share = done / total if total else 0.0
        sys.stderr.write(f"\r{step:<10} {'#' * int(30 * share):<30} {share:4.0%}")
        sys.stderr.flush()

    def close(self) -> None:
        sys.stderr.write("\n")


class _TqdmBar:
    """A bar per step, in a terminal or a notebook."""

    def __init__(self, tqdm: Any) -> None:
        self._tqdm = tqdm
        self._step = ""
        self._bar: Any = None

    def __call__(self, step: str, done: int, total: int, unit: str) -> None:
        if step != self._step:
            self.close()
            self._step = step
            self._bar = self._tqdm(total=total, desc=step, unit=f" {unit}" if unit else "it", unit_scale=True)
        self._bar.update(done - self._bar.n)

    def close(self) -> None:
        if self._bar is not None:
            self._bar.close()


def _make_bar() -> Union[_PlainBar, _TqdmBar]:
    try:
        from tqdm.auto import tqdm
    except ImportError:
        return _PlainBar()
    return _TqdmBar(tqdm)


@contextmanager
def watcher(progress: Progress) -> Iterator[Optional[Callback]]:
    """What the engine calls for `progress`."""
    if progress is None or progress is False:
        yield None
    elif progress is True:
        bar = _make_bar()
        try:
            yield bar
        finally:
            bar.close()
    elif callable(progress):
        yield progress
    else:
        raise TypeError(f"progress is a {type(progress).__name__}; expected True, or a function of four arguments")
