"""What the examples, the guide and the package's own texts show works as shown."""

from __future__ import annotations

import asyncio
import contextlib
import doctest
import pathlib
import re
import subprocess
import sys
from typing import Any, Dict, List

import pytest
import tarvix
from conftest import PYTEST, ROOT
from tarvix import aio, simulator, smbus
from tarvix.simulator import Bench

EXAMPLES = ROOT / "python/examples"

SHOWN = {
    "read_register": "23.50 °C\n",
    "log_sensor": r"5 readings, the last \d\d\.\d\d °C\n",
    "count_edges": r"pin 1: \d+ edges, pin 3: \d+ edges\n",
    "program_eeprom": "2 pages written, 100 bytes compared\n",
    "bring_up_i3c": "0x08: PID 7ffe56789002, BCR 0x22, max speed no limit\n"
    "0x0a: PID 7ffe12345001, BCR 0x27, max speed 01 01 14 00 00\nregisters 0, 1: ca fe\ninterrupt with ca fe\n",
    "test_board": r"(?s).*5 passed.*",
}


def test_every_example_is_here() -> None:
    assert {path.stem for path in EXAMPLES.glob("*.py")} == set(SHOWN)


@pytest.mark.parametrize("name", SHOWN)
def test_example(name: str, tmp_path: pathlib.Path) -> None:
    image = tmp_path / "image.bin"
    image.write_bytes(bytes(range(100)))
    arguments: Dict[str, List[str]] = {
        "log_sensor": [str(tmp_path / "picture.png"), "--readings", "5", "--every", "0.001"],
        "count_edges": ["0.3"],
        "program_eeprom": [str(image)],
    }
    if name == "log_sensor":
        pytest.importorskip("matplotlib", reason="drawing needs the package python3-matplotlib")
    runner = PYTEST if name == "test_board" else [sys.executable]
    command = [*runner, str(EXAMPLES / f"{name}.py"), *arguments.get(name, [])]
    with Bench(ROOT / "examples/boards/heater.json" if name == "log_sensor" else None) as bench:
        result = subprocess.run(command, env=bench.environment, capture_output=True, text=True, check=False)
        assert re.fullmatch(SHOWN[name], result.stdout), result.stdout + result.stderr
        assert result.returncode == 0, result.stderr
        if name == "program_eeprom":
            assert "100 of 100 bytes" in result.stderr
            again = subprocess.run(command, env=bench.environment, capture_output=True, text=True, check=True)
            assert again.stdout == "0 pages written, 100 bytes compared\n"
    if name == "log_sensor":
        assert (tmp_path / "picture.png").read_bytes().startswith(b"\x89PNG")


def play(source: str, name: str) -> None:
    """Runs a session as a reader would type it, with a virtual adapter attached unless it brings its own."""
    parsed = doctest.DocTestParser().get_doctest(source, {"asyncio": asyncio, "tarvix": tarvix}, name, name, 0)
    assert parsed.examples, name
    with contextlib.ExitStack() as stack:
        if "Bench(" not in source:
            stack.enter_context(Bench())
        if "adapter:" not in source:
            parsed.globs["adapter"] = stack.enter_context(tarvix.Adapter())
        assert doctest.DocTestRunner(optionflags=doctest.ELLIPSIS, verbose=False).run(parsed).failed == 0, name


@pytest.mark.parametrize("module", [tarvix, aio, smbus, simulator])
def test_docstrings(module: Any) -> None:
    play(module.__doc__, module.__name__)


def test_guide(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """Sessions by doctest, tests by pytest, programs as they are."""
    monkeypatch.chdir(tmp_path)
    texts = "".join(path.read_text(encoding="utf-8") for path in (ROOT / "README.md", ROOT / "docs/python.md"))
    blocks = re.findall(r"^```python\n(.*?)^```$", texts, re.M | re.S)
    assert len(blocks) > 10
    for number, text in enumerate(blocks):
        name = f"python block {number} of README.md and docs/python.md"
        if text.startswith(">>>"):
            play(text, name)
            continue
        path = tmp_path / f"test_guide_{number}.py"
        path.write_text(text, encoding="utf-8")
        assert run_as_shown(path).returncode == 0, name


def run_as_shown(path: pathlib.Path) -> "subprocess.CompletedProcess[str]":
    command = PYTEST if "def test_" in path.read_text(encoding="utf-8") else [sys.executable]
    with Bench() as bench:
        return subprocess.run([*command, str(path)], env=bench.environment, check=False, text=True)


def test_labgrid() -> None:
    """The guide shows the files of the example, and these work."""
    pytest.importorskip("labgrid", reason="needs the package python3-labgrid")
    folder = ROOT / "examples/labgrid"
    guide = (ROOT / "docs/other-machines.md").read_text(encoding="utf-8")
    assert f"```yaml\n{(folder / 'lab.yaml').read_text(encoding='utf-8')}```" in guide
    test = (folder / "test_board.py").read_text(encoding="utf-8")
    assert f"```python\n{test[test.index('def '):]}```" in guide
    command = [sys.executable, "-B", "-m", "pytest", "-p", "no:cacheprovider", "--lg-env", "lab.yaml", "test_board.py"]
    with Bench() as bench:
        result = subprocess.run(command, env=bench.environment, cwd=folder, capture_output=True, text=True, check=False)
        assert result.returncode == 0 and "1 passed" in result.stdout, result.stdout + result.stderr
