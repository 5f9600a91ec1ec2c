"""A program that talks to adapters as a test tells it to, and prints what they say: replay_client.py WORD...

open:N      opens the Nth adapter, as soon as it is there
close       closes it
HEX...      sends this frame
read        prints the next report's part of a frame, without padding, or 'gone'
stop        stops tarvix-sim until this program has ended
end:STATUS  ends so
"""

import os
import signal
import sys
import time

from captures import reports

node = None
size = int(os.environ.get("REPORT_SIZE", "64"))
for word in sys.argv[1:]:
    if word.startswith("open:"):
        path = os.path.join(os.path.dirname(os.environ["TARVIX_SIM_SOCKET"]), f"hidraw{word[5:]}")
        while node is None:
            try:
                node = os.open(path, os.O_RDWR)
            except FileNotFoundError:
                time.sleep(0.01)
    elif word == "close":
        os.close(node)
        node = None
    elif word == "read":
        try:
            report = os.read(node, size)
            print(report[2:2 + (report[0] | report[1] << 8) // 4].hex(" "), flush=True)
        except OSError:
            print("gone", flush=True)
    elif word == "stop":
        simulator = os.getppid()
        os.kill(simulator, signal.SIGSTOP)
        if os.fork() == 0:
            me = os.getppid()
            while os.getppid() == me:
                time.sleep(0.01)
            os.kill(simulator, signal.SIGCONT)
            os._exit(0)
    elif word.startswith("end:"):
        sys.exit(int(word[4:]))
    else:
        for report in reports(bytes.fromhex(word), size):
            try:
                os.write(node, b"\0" + report)
            except OSError:
                print("gone", flush=True)
