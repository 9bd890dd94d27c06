"""What the documents show of Python runs, as it stands there."""

import doctest
import os
import re
import shutil
from pathlib import Path

import pytest

import tilewright
from tilewright import _calls

DOCS = Path(os.environ.get("TILEWRIGHT_DOCS", Path(__file__).resolve().parents[2] / "docs"))


def blocks(path):
    """Each block of Python, after as many empty lines as precede it, so that errors name the right line."""
    text = path.read_text(encoding="utf-8")
    for match in re.finditer(r"^```python\n(.*?)^```", text, re.MULTILINE | re.DOTALL):
        yield "\n" * text.count("\n", 0, match.start(1)) + match[1]


def test_the_tour(scan, tmp_path, monkeypatch):
    matplotlib = pytest.importorskip("matplotlib")
    pytest.importorskip("dask.dataframe")
    pytest.importorskip("distributed")
    matplotlib.use("Agg")
    shutil.copy(scan, tmp_path / "valley.las")
    monkeypatch.chdir(tmp_path)
    names = {"__name__": "tour"}
    shutil.copy(scan, tmp_path / "scan.las")
    for document in (DOCS.parent / "README.md", DOCS / "python.md"):
        for block in blocks(document):
            exec(compile(block, str(document), "exec"), names)
    assert names["seen"]
    assert names["ours_took"] < names["scipy_took"] or "LD_PRELOAD" in os.environ
    pictures = set(re.findall(r"images/(python-[a-z]+\.png)", (DOCS / "python.md").read_text(encoding="utf-8")))
    assert pictures == {path.name for path in tmp_path.glob("*.png")}


@pytest.mark.parametrize("module", [tilewright, _calls])
def test_examples_of_the_docstrings(module):
    assert doctest.testmod(module).attempted > 2
    assert doctest.testmod(module).failed == 0
