"""The tests run on the virtual bench; TARVIX_LIBRARY and TARVIX_SIM name the build's."""

from __future__ import annotations

import os
import pathlib
import subprocess
import sys
from typing import Callable

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PRELUDE = "import os, sys, threading, time, tarvix\nfrom tarvix.simulator import Bench\n"

pytest_plugins = ["tarvix.pytest_plugin"]

PYTEST = [sys.executable, "-m", "pytest", "-p", "tarvix.pytest_plugin", "-p", "no:cacheprovider"]

Run = Callable[..., "subprocess.CompletedProcess[str]"]


@pytest.fixture
def run() -> Run:
    """Runs a program in an interpreter of its own; it imports tarvix and Bench already."""

    def run_program(program: str, **environment: str) -> "subprocess.CompletedProcess[str]":
        return subprocess.run(
            [sys.executable, "-c", PRELUDE + program], capture_output=True, text=True, timeout=60, check=False,
            env={**os.environ, **environment},
        )

    return run_program
