"""A light sensor on I2C: a board file names it as {"type": "process", "command": ["python3", "light_sensor.py"]}.

Register 0 is the brightness, register 1 a limit; the interrupt line is raised while the brightness is at the limit or above."""

import json
import sys


def say(message):
    print(json.dumps(message), flush=True)


registers, pointer = [20, 255], 0
for line in sys.stdin:
    request = json.loads(line)
    if request["do"] == "hello":
        say({"version": 1})
    elif request["do"] == "write":
        for position, byte in enumerate(request["bytes"]):
            if position == 0:
                pointer = byte % 2
            else:
                registers[pointer] = byte
        say({"interrupt": registers[0] >= registers[1]})
        say({"ack": True})
    elif request["do"] == "read":
        say({"bytes": (registers[pointer:] + registers[:pointer])[:request["count"]]})
    else:  # power_cycle, reset
        registers, pointer = [20, 255], 0
        say({"interrupt": False})
        say({"ack": True})
