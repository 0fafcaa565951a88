# SPDX-License-Identifier: GPL-3.0-or-later
"""The exchanges of bench_link with the usual Python serial client; prints the seconds that they took."""
import sys
import time

import serial

port = serial.Serial(sys.argv[1], 9600)
started = time.monotonic()


def exchange(request):
    port.write(request)
    while port.read(1) != b"\x1b":
        pass
    return port.read(2 if len(request) == 3 else 3)


for command in (37, 38):
    for address in range(256):
        exchange(bytes((27, command, address)))
for _ in range(1000):
    exchange(bytes((27, 13)))
print(time.monotonic() - started)
