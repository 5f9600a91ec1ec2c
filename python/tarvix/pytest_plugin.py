"""pytest fixtures: a virtual adapter, or with ``--tarvix-adapter SERIAL`` a real one for the same tests."""

from __future__ import annotations

from typing import Any, Dict, Iterator

import pytest

from .adapter import Adapter
from .simulator import Bench


def pytest_addoption(parser: pytest.Parser) -> None:
    """Adds the options."""
    group = parser.getgroup("tarvix")
    group.addoption(
        "--tarvix-adapter", metavar="SERIAL", help="run tests on the adapter with this serial number, not a virtual one"
    )
    group.addoption("--tarvix-board", metavar="FILE", help="board file of the virtual bench")


def pytest_configure(config: pytest.Config) -> None:
    """Makes the marker known."""
    config.addinivalue_line(
        "markers", "tarvix_bench(board, **options): the virtual bench of the test, as for tarvix.simulator.Bench"
    )


@pytest.fixture
def tarvix_bench(request: pytest.FixtureRequest) -> Iterator[Bench]:
    """A fresh virtual bench for each test. Tests that ask for it are skipped on a real adapter."""
    if request.config.getoption("--tarvix-adapter"):
        pytest.skip("needs the virtual bench: run it without --tarvix-adapter")
    options: Dict[str, Any] = {"board": request.config.getoption("--tarvix-board")}
    for marker in reversed(list(request.node.iter_markers("tarvix_bench"))):  # the closest comes last
        options.update(zip(("board",), marker.args), **marker.kwargs)
    with Bench(**options) as bench:
        yield bench


@pytest.fixture
def tarvix_adapter(request: pytest.FixtureRequest) -> Iterator[Adapter]:
    """An open adapter: of a fresh virtual bench, or the real one that ``--tarvix-adapter`` names."""
    serial = request.config.getoption("--tarvix-adapter")
    if not serial:
        request.getfixturevalue("tarvix_bench")
    with Adapter(serial) as adapter:
        yield adapter
