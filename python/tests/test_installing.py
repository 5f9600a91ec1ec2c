"""The package as users get it: from a wheel in a fresh environment, and by CMake's install target."""

from __future__ import annotations

import os
import pathlib
import subprocess
import sys
from typing import Dict, Iterator

import pytest
from conftest import ROOT

BUILD = os.environ["TARVIX_BUILD"]
LIST = "import tarvix, sys; print(tarvix.__file__, tarvix.list_adapters())"
BENCH = "from tarvix.simulator import Bench\nwith Bench() as bench, bench.adapter() as a: print(a.usb_string(2))"


def outside() -> Dict[str, str]:
    """An environment that knows nothing of this tree."""
    return {name: value for name, value in os.environ.items() if not name.startswith(("TARVIX_", "PYTHON"))}


def output(*command: object, **variables: str) -> str:
    result = subprocess.run(
        [str(word) for word in command], env={**outside(), **variables}, cwd="/", stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT, text=True, check=False,
    )
    assert result.returncode == 0, result.stdout
    return result.stdout


@pytest.fixture(scope="module")
def python(tmp_path_factory: pytest.TempPathFactory) -> Iterator[pathlib.Path]:
    """The interpreter of a fresh environment that has the wheel and, from Debian, pytest."""
    folder = tmp_path_factory.mktemp("wheel")
    output(ROOT / "script/wheel", BUILD, folder)
    (wheel,) = folder.glob("*.whl")
    assert wheel.name.endswith("-py3-none-linux_x86_64.whl") or os.uname().machine != "x86_64"
    output(sys.executable, "-m", "venv", "--without-pip", "--system-site-packages", folder / "venv")
    interpreter = folder / "venv/bin/python"
    output(sys.executable, "-m", "pip", "--quiet", "--python", interpreter, "install", "--no-index", "--no-deps", wheel)
    yield interpreter


def test_wheel(python: pathlib.Path, tmp_path: pathlib.Path) -> None:
    listed = output(python, "-c", LIST)
    assert "/venv/lib/" in listed and "[" in listed
    assert output(python, "-c", BENCH, PATH="/usr/bin:/bin") == "Tarvix Virtual Adapter\n"
    example = tmp_path / "test_board.py"
    example.write_bytes((ROOT / "python/examples/test_board.py").read_bytes())
    assert " passed" in output(python, "-m", "pytest", "-p", "no:cacheprovider", example)  # finds the plugin by itself


def test_install_target(tmp_path: pathlib.Path) -> None:
    output("cmake", "--install", BUILD, "--prefix", tmp_path)
    (package,) = tmp_path.glob("lib/python3*/*-packages")
    (library,) = tmp_path.rglob("libtarvixsdk.so.1")
    path = f"{tmp_path}/bin:/usr/bin:/bin"
    found = {"PYTHONPATH": str(package), "LD_LIBRARY_PATH": str(library.parent), "PATH": path}
    assert output(sys.executable, "-c", LIST, **found).startswith(str(package))
    assert output(sys.executable, "-c", BENCH, **found) == "Tarvix Virtual Adapter\n"
