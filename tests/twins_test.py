#!/usr/bin/env python3
"""Every blocking command has an asynchronous twin of the same name, and the other way round."""
import re
import sys
from pathlib import Path

include = Path(sys.argv[1])


def commands(header):
    public = (include / header).read_text().split("private:")[0]
    return set(re.findall(r"^\s+StatusCode (\w+)\(", public, re.MULTILINE))


# Composed of other commands, or readers of one answer.
BLOCKING_ONLY = {"getDeviceInfo", "gpioGetVoltage", "i2cGetBusVoltage", "spiGetBusVoltage", "uartGetBusVoltage",
                 "i3cGetBusVoltage"}
# Read by the voltage getters.
ASYNC_ONLY = {"getAnalogMeasurements"}

blocking = commands("sdk.hpp")
asynchronous = commands("async_sdk.hpp")
assert len(blocking) > 80, f"only {len(blocking)} commands found in sdk.hpp"
unexpected = ((blocking - asynchronous) ^ BLOCKING_ONLY) | ((asynchronous - blocking) ^ ASYNC_ONLY)
if unexpected:
    sys.exit(f"without a twin, or no longer without one: {', '.join(sorted(unexpected))}")
print(f"{len(blocking)} blocking and {len(asynchronous)} asynchronous commands")
