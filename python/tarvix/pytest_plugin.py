"""pytest fixtures: a virtual adapter, or with ``--tarvix-adapter SERIAL`` a real one for the same tests."""

from __future__ import annotations

from typing import Iterator

import pytest

from .adapter import Adapter
from .simulator import Bench


def pytest_addoption(parser: pytest.Parser) -> None:
    """Adds the options."""
    parser.getgroup("tarvix").addoption(
        "--tarvix-adapter", metavar="SERIAL", help="run tests on the adapter with this serial number, not on a virtual one"
    )


def pytest_configure(config: pytest.Config) -> None:
    """Makes the marker known."""
    config.addinivalue_line("markers", "tarvix_bench(**options): options of the virtual bench, as tarvix.simulator.Bench")


@pytest.fixture
def tarvix_bench(request: pytest.FixtureRequest) -> Iterator[Bench]:
    """A fresh virtual bench for each test. Tests that ask for it are skipped on a real adapter."""
    if request.config.getoption("--tarvix-adapter"):
        pytest.skip("needs the virtual bench: run it without --tarvix-adapter")
    marker = request.node.get_closest_marker("tarvix_bench")
    with Bench(**(marker.kwargs if marker else {})) as bench:
        yield bench


@pytest.fixture
def tarvix_adapter(request: pytest.FixtureRequest) -> Iterator[Adapter]:
    """An open adapter: of a fresh virtual bench, or the real one that ``--tarvix-adapter`` names."""
    serial = request.config.getoption("--tarvix-adapter")
    if not serial:
        request.getfixturevalue("tarvix_bench")
    with Adapter(serial) as adapter:
        yield adapter
