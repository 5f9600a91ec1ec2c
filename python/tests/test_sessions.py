"""Opening, losing, closing: what a program sees, on which thread, and what it leaves behind."""

from __future__ import annotations

import os
import pickle
import re
import signal
import threading
import time
from typing import Callable, List, Type

import pytest
import tarvix
from conftest import Run
from tarvix import Adapter, TarvixError, errors
from tarvix._session import member
from tarvix.simulator import Bench, SimulatorError


def test_why_an_adapter_does_not_open(tarvix_bench: Bench) -> None:
    with pytest.raises(tarvix.NoAdapter, match="no adapter attached with serial number X: plug it in"):
        Adapter("X")
    path = tarvix.list_adapters()[0].path
    with tarvix_bench.adapter() as first:
        with pytest.raises(tarvix.AdapterInUse, match=f"{path} is in use by process {os.getpid()}") as caught:
            Adapter(path=path)
        assert caught.value.holder == os.getpid()
        with Adapter(exclusive=False) as second:
            assert (first.usb_string(1), second.usb_string(1)) == ("Tarvix", "Tarvix")
    os.rename(path + ".socket", path + ".elsewhere")
    with pytest.raises(tarvix.OpenError, match=f"cannot open {path}"):
        Adapter()


@pytest.mark.tarvix_bench(adapters=2, serial="LAB09", report_size=1024)
def test_one_of_several(tarvix_bench: Bench) -> None:
    assert [(each.serial, each.product_id, each.report_size) for each in tarvix.list_adapters()] == [
        ("LAB09", 0x82FD, 1024), ("LAB10", 0x82FD, 1024)
    ]
    with pytest.raises(tarvix.SeveralAdapters, match="2 adapters attached: choose one by path or serial number"):
        Adapter()
    with Adapter("LAB10") as adapter:
        assert adapter.usb_string(3) == "LAB10"


NO_PERMISSION = """
with Bench() as bench:
    path = tarvix.list_adapters()[0].path
    os.chmod(os.path.dirname(path), 0o755), os.chmod(bench.environment["TARVIX_SIM_SOCKET"], 0o777), os.chmod(path, 0)
    if os.getuid() == 0:
        os.seteuid(65534)
    try:
        tarvix.Adapter()
    except tarvix.NoPermission as error:
        print(error)
    os.seteuid(os.getuid())
"""


def test_no_permission_names_the_udev_rule(run: Run) -> None:
    assert "hidraw0: install the udev rule 70-tarvix.rules" in run(NO_PERMISSION).stdout


@pytest.mark.parametrize(
    "faults, expected, message",
    [
        (["drop"], tarvix.Timeout, "adapter TVX0000001: reading pin 1: no answer in time"),
        (["drop"], TimeoutError, "no answer in time"),
        (["truncate"], tarvix.BadAnswer, "the answer is cut short"),
    ],
)
def test_faulty_answers(faults: List[str], expected: Type[Exception], message: str) -> None:
    with Bench(faults=faults) as bench, bench.adapter(timeout=0.05) as adapter:
        with pytest.raises(expected, match=message):
            for _ in range(100):  # what is left of a truncated answer may be nothing
                try:
                    adapter.gpio[1].read()
                except tarvix.Timeout:
                    if expected is tarvix.BadAnswer:
                        continue
                    raise


def test_every_status_has_its_exception() -> None:
    kinds = {
        tarvix.StatusCode.NO_RESPONSE: tarvix.Timeout,
        tarvix.StatusCode.NOT_CONNECTED: tarvix.AdapterClosed,
        tarvix.StatusCode.UNEXPECTED_RESPONSE: tarvix.BadAnswer,
        tarvix.StatusCode.INVALID_ARGUMENT: tarvix.InvalidArgument,
        tarvix.StatusCode.RESPONSE_TOO_SHORT: tarvix.BadAnswer,
        tarvix.StatusCode.ADAPTER_LOST: tarvix.AdapterLost,
    }
    assert kinds == {status: type(errors.command_error(status, "")) for status in tarvix.StatusCode if status}
    with pytest.raises(tarvix.BadAnswer, match="the adapter answered 0x7, which is no GpioLogicLevel"):
        member(tarvix.GpioLogicLevel, 7)
    for status in (*tarvix.DeviceStatus, 0x0777):
        error = errors.command_error(status, "trying")
        assert isinstance(error, tarvix.DeviceError) and f"{status:#06x}" in str(error)
        copy = pickle.loads(pickle.dumps(error))
        assert (type(copy), str(copy), copy.status, copy.name) == (type(error), str(error), error.status, error.name)


def test_lost_and_found(tarvix_bench: Bench, tarvix_adapter: Adapter) -> None:
    edges = tarvix_adapter.gpio.edges()
    tarvix_bench.unplug()
    with pytest.raises(tarvix.AdapterLost, match="call reopen"):
        next(edges)
    edges.close()
    with pytest.raises(tarvix.AdapterLost, match="reading pin 0: the adapter was unplugged"):
        tarvix_adapter.gpio[0].read()
    with pytest.raises(tarvix.NoAdapter):
        tarvix_adapter.reopen(within=0.1)
    with pytest.raises(SimulatorError, match="not plugged in"):
        tarvix_bench.unplug()
    tarvix_bench.replug()
    tarvix_adapter.reopen()
    assert tarvix_adapter.gpio[0].read() == 0
    tarvix_adapter.reset()
    with pytest.raises(TarvixError):
        while True:
            tarvix_adapter.gpio[0].read()
    tarvix_adapter.reopen()
    with tarvix_adapter.gpio[1].edges() as edges:  # notifications go on, too
        tarvix_adapter.gpio[0].output(1)
        assert edges.next(5).pin == 1


@pytest.mark.tarvix_bench(faults=["drop"])
def test_closing_ends_what_waits(tarvix_bench: Bench) -> None:
    adapter = tarvix_bench.adapter(timeout=None)
    ended: List[str] = []

    def command() -> None:
        with pytest.raises(tarvix.AdapterClosed):
            adapter.gpio[0].read()
        ended.append("command")

    def iteration() -> None:
        ended.extend(str(edge) for edge in adapter.notifications())
        ended.append("iteration")

    threads = [threading.Thread(target=command), threading.Thread(target=iteration)]
    for thread in threads:
        thread.start()
    while threading.active_count() < 4:  # the notifications' own
        time.sleep(0.001)
    adapter.close()
    for thread in threads:
        thread.join(10)
    assert sorted(ended) == ["command", "iteration"]
    with pytest.raises(tarvix.AdapterClosed, match="open it again"):
        adapter.gpio[0].read()
    assert not adapter.is_open and repr(adapter).endswith("closed>")


def test_other_threads_run_during_a_call(tarvix_bench: Bench) -> None:
    stop = threading.Event()
    ticks = 0

    def tick() -> None:
        nonlocal ticks
        while not stop.wait(0.001):
            ticks += 1

    def ticks_of(action: Callable[[], object]) -> int:
        before = ticks
        action()
        return ticks - before

    def ticks_of_closing() -> int:  # it waits for the reader, sometimes for long
        adapter = tarvix_bench.adapter()
        time.sleep(0.15)
        return ticks_of(adapter.close)

    thread = threading.Thread(target=tick)
    thread.start()
    try:
        assert any(ticks_of_closing() > 3 for _ in range(50))
    finally:
        stop.set()
        thread.join()


def test_other_threads_run_while_an_adapter_opens(tarvix_bench: Bench) -> None:
    host = tarvix_bench._process.pid
    os.kill(host, signal.SIGSTOP)  # what opens waits for it, for 5 seconds at most
    threading.Timer(0.1, os.kill, (host, signal.SIGCONT)).start()
    with tarvix_bench.adapter():
        pass


def test_an_adapter_that_nobody_closed_is_let_go(tarvix_bench: Bench) -> None:
    for subscribe in (Adapter.notifications, lambda adapter: adapter.on_notification(print), repr):
        adapter = tarvix_bench.adapter()
        subscribe(adapter)
        assert adapter.gpio[0].read() == 0
        del adapter
    with tarvix_bench.adapter():
        pass


CLOSED = "tarvix.errors.AdapterClosed: adapter TVX0000001: reading pin 0: the adapter is closed: open it again"
EXIT = """
bench = Bench(faults=["drop"])
adapter = bench.adapter(timeout=None)
{use}
time.sleep(0.1)
print("end")
"""


@pytest.mark.parametrize(
    "use",
    [
        "",
        "adapter.notifications()",
        "threading.Thread(target=adapter.gpio[0].read, daemon=True).start()",
        "threading.Thread(target=list, args=[adapter.notifications()], daemon=True).start()",
        "threading.Thread(target=lambda: globals().update(other=tarvix.Adapter(exclusive=False))).start()",
    ],
)
def test_the_interpreter_exits_with_an_open_adapter(run: Run, use: str) -> None:
    result = run(EXIT.format(use=use))  # which fails when it takes a minute
    assert result.returncode == 0 and set(re.findall(r"^tarvix.*", result.stderr, re.M)) <= {CLOSED}, result.stderr
    assert result.stdout == "end\n"


FORK = """
with Bench() as bench, bench.adapter(timeout=1) as adapter:
    adapter.notifications()
    child = os.fork()
    if child == 0:
        try:
            adapter.gpio[0].read()
        except tarvix.AdapterClosed:
            with tarvix.Adapter(exclusive=False) as other:
                os._exit(other.gpio[0].read())
        os._exit(9)
    print(os.waitpid(child, 0)[1], int(adapter.gpio[0].read()))
"""


def test_fork(run: Run) -> None:
    assert run(FORK).stdout == "0 0\n"


LIBRARIES = [
    ("", {"TARVIX_LIBRARY": "/nowhere.so"}, "cannot load /nowhere.so: install the Tarvix SDK"),
    ("", {"TARVIX_LIBRARY": "libc.so.6"}, "libc.so.6 is not the Tarvix library"),
    ("tarvix._flat.VERSION = '1.99.0'", {}, "is version 1.3.0: this package needs 1.99 or a later 1; update"),
    ("tarvix._flat.VERSION = '2.0.0'", {}, "this package needs 2.0 or a later 2"),
    ("tarvix._flat.FUNCTIONS['Later'] = (None, ())", {}, "is not the Tarvix library that this package needs: .*Later"),
]


@pytest.mark.parametrize("change, environment, message", LIBRARIES)
def test_a_wrong_library_is_one_clear_error(run: Run, change: str, environment: "dict[str, str]", message: str) -> None:
    program = f"{change}\ntry: tarvix.list_adapters()\nexcept tarvix.LibraryError as error: sys.exit(str(error))"
    result = run(program, **environment)
    assert (result.returncode, result.stderr.count("\n")) == (1, 1)
    assert re.search(message, result.stderr), result.stderr
