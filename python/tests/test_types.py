"""What a type checker says of the package, and of mistakes in its use."""

from __future__ import annotations

import ast
import importlib
import inspect
import pathlib
import pkgutil
import re
import subprocess
import sys
from typing import Iterator, Tuple

import tarvix

HERE = pathlib.Path(__file__).parent


def mypy(cache: pathlib.Path, *paths: object) -> "subprocess.CompletedProcess[str]":
    """Checks as for the oldest Python that the package is for."""
    command = [sys.executable, "-m", "mypy", "--strict", "--python-version", "3.9", "--cache-dir", cache, *paths]
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, cwd=HERE.parent)


def test_types(tmp_path: pathlib.Path) -> None:
    sources = sorted(HERE.glob("*.py"))
    sources.remove(HERE / "wrong_uses.py")
    result = mypy(tmp_path, "tarvix", *sources, *HERE.parent.glob("examples/*.py"))
    assert result.returncode == 0, result.stdout
    wrong = HERE / "wrong_uses.py"
    found = {int(number) for number in re.findall(r"wrong_uses\.py:(\d+): error", mypy(tmp_path, wrong).stdout)}
    lines = wrong.read_text(encoding="utf-8").splitlines()
    assert found == {number for number, line in enumerate(lines, 1) if line.endswith("# wrong")}


def public_names() -> Iterator[Tuple[str, object]]:
    for module in pkgutil.iter_modules(tarvix.__path__):
        if not module.name.startswith("_"):
            loaded = importlib.import_module(f"tarvix.{module.name}")
            yield loaded.__name__, loaded
            for name, thing in vars(loaded).items():
                if getattr(thing, "__module__", "") == loaded.__name__ and not name.startswith("_") and callable(thing):
                    yield f"{loaded.__name__}.{name}", thing
                    for member, method in vars(thing).items() if inspect.isclass(thing) else ():
                        if not member.startswith("_") and (inspect.isfunction(method) or isinstance(method, property)):
                            yield f"{loaded.__name__}.{name}.{member}", method


def test_everything_public_is_described() -> None:
    names = dict(public_names())
    assert len(names) > 250
    assert [name for name, thing in names.items() if not inspect.getdoc(thing)] == []


def test_the_oldest_python_can_read_it() -> None:
    for path in HERE.parent.rglob("*.py"):
        ast.parse(path.read_text(encoding="utf-8"), feature_version=(3, 9))
