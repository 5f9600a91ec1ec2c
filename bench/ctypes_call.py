"""A command from Python through ctypes, against hid_write and hid_read_timeout called so: both wait for their answer.

    tarvix-sim run -- python3 ctypes_call.py LIBRARY ROUNDS

prints the medians as job_benchmark does."""

import ctypes
import statistics
import sys
import time

CALLS = 200  # a round
PIN = 1


class Ours:
    def __init__(self, library):
        self.library = ctypes.CDLL(library)
        self.library.TarvixSDK_Create.restype = ctypes.c_void_p
        self.handle = ctypes.c_void_p(self.library.TarvixSDK_Create(2000))
        if self.library.TarvixSDK_Open(self.handle, b"", b"", 0, None) != 0:
            sys.exit("ctypes_call: the adapter cannot be opened")
        self.read = self.library.TarvixSDK_GpioDigitalRead
        self.read.argtypes = [ctypes.c_void_p, ctypes.c_uint32, ctypes.c_void_p]
        self.level = ctypes.c_uint32()

    def call(self):
        if self.read(self.handle, PIN, ctypes.byref(self.level)) != 0:
            sys.exit("ctypes_call: the adapter refused a command")

    def close(self):
        self.library.TarvixSDK_Destroy(self.handle)


class Bare:
    def __init__(self, _):
        self.hid = ctypes.CDLL(None)  # as preloaded
        self.hid.hid_open.restype = ctypes.c_void_p
        self.device = ctypes.c_void_p(self.hid.hid_open(0x1FC9, 0x82FC, None))
        if not self.device:
            sys.exit("ctypes_call: hidapi does not open the adapter")
        self.hid.hid_write.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_size_t]
        self.hid.hid_read_timeout.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_int]
        request = bytes([1, 0, 0x03, 0x14, PIN])
        self.request = (bytes([0, len(request) << 2 | 3, 0]) + request).ljust(65, b"\0")
        self.report = ctypes.create_string_buffer(64)

    def call(self):
        self.hid.hid_write(self.device, self.request, 65)
        if self.hid.hid_read_timeout(self.device, self.report, 64, 2000) != 64 or self.report.raw[6:8] != b"\0\0":
            sys.exit("ctypes_call: the adapter does not answer hidapi")

    def close(self):
        self.hid.hid_close(self.device)


def cost(side, library):
    """Seconds a call. One side at a time has the adapter open: each handle gets every answer."""
    session = side(library)
    session.call()
    begin = time.perf_counter()
    for _ in range(CALLS):
        session.call()
    used = time.perf_counter() - begin
    session.close()
    return used / CALLS


def main():
    library, rounds = sys.argv[1], int(sys.argv[2])
    costs = [(cost(Ours, library), cost(Bare, library)) for _ in range(rounds)]
    ours, bare = zip(*costs)
    print(f"bench: ctypes {statistics.median(ours):.9f} {statistics.median(bare):.9f} {max(ours):.9f}")


if __name__ == "__main__":
    main()
