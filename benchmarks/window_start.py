"""What the whole window costs: window_start.py VELMARO [RUNS]. On an X server of its own, as JSON:
milliseconds from start to first picture and from a key to the look of the button it presses (medians), resident
megabytes, and the share of a core: idle, tracking the demonstration clip, and the same tracking by
velmaro-cli beside it."""

import ctypes
import json
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

from cost import cpu_seconds

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../tests/integration/window"))
from desk import Screen, hands  # noqa: E402

SECONDS = 5.0
# On the start button, beside its symbol; the window stands in the corner of the screen.
START = (20, 100)


def start(*arguments, program=None):
    variables = {**os.environ, "XDG_CONFIG_HOME": FOLDER.name, "QT_QPA_PLATFORM": "xcb"}
    return subprocess.Popen([program or sys.argv[1], *arguments], env=variables, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)


def shown(screen):
    return sum(screen.pixel(40, 200)) > 60


def wait_for(condition):
    while not condition():
        time.sleep(0.001)


def first_picture(screen):
    wait_for(lambda: not shown(screen))
    begin = time.monotonic()
    process = start("--demo")
    wait_for(lambda: shown(screen))
    took = time.monotonic() - begin
    stop(process)
    return took


def stop(process):
    process.terminate()
    process.wait()


def resident(process):
    with open(f"/proc/{process.pid}/status", encoding="utf-8") as file:
        return int(re.search(r"VmRSS:\s+(\d+)", file.read()).group(1)) / 1024


def steady(*arguments, program=None):
    process = start(*arguments, program=program)
    time.sleep(3)
    before = cpu_seconds(process)
    time.sleep(SECONDS)
    cost = (cpu_seconds(process) - before) / SECONDS
    memory = resident(process)
    stop(process)
    return 100 * cost, memory


def is_red(screen):
    red, green, _ = screen.pixel(*START)
    return red > green + 60


class Keyboard:
    """Presses keys within the X server, with no program to start for it."""

    def __init__(self):
        self.x11, self.xtst = ctypes.CDLL("libX11.so.6"), ctypes.CDLL("libXtst.so.6")
        self.x11.XOpenDisplay.restype = ctypes.c_void_p
        self.x11.XStringToKeysym.restype = ctypes.c_ulong
        self.display = ctypes.c_void_p(self.x11.XOpenDisplay(None))

    def turn(self, key, down):
        symbol = ctypes.c_ulong(self.x11.XStringToKeysym(key.encode()))
        code = self.x11.XKeysymToKeycode(self.display, symbol)
        self.xtst.XTestFakeKeyEvent(self.display, code, int(down), ctypes.c_ulong(0))
        self.x11.XFlush(self.display)


def key_to_effect(screen, presses):
    """Starting and stopping, each from the key to the start button's other colour."""
    process = start("--demo")
    wait_for(lambda: shown(screen))
    hands("mousemove", 40, 200, "click", 1)
    time.sleep(0.5)
    keyboard = Keyboard()
    keyboard.turn("Control_L", True)
    took = []
    for _ in range(2 * presses):
        before = is_red(screen)
        begin = time.monotonic()
        keyboard.turn("r", True)
        wait_for(lambda: is_red(screen) != before)
        took.append(time.monotonic() - begin)
        keyboard.turn("r", False)
        time.sleep(0.7)
    keyboard.turn("Control_L", False)
    stop(process)
    return took[::2], took[1::2]


FOLDER = tempfile.TemporaryDirectory()
SCREEN = Screen(manager=False)
try:
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 9
    report = {"first_picture_ms": 1000 * statistics.median(first_picture(SCREEN)
                                                           for _ in range(runs))}
    starts, stops = key_to_effect(SCREEN, runs)
    report["key_to_start_ms"] = 1000 * statistics.median(starts)
    report["key_to_stop_ms"] = 1000 * statistics.median(stops)
    report["idle_percent"], _ = steady("--demo")
    report["tracking_percent"], report["tracking_mb"] = steady("--demo", "--start")
    TERMINAL = sys.argv[1] + "-cli"
    report["terminal_percent"], _ = steady("--demo", program=TERMINAL)
    print(json.dumps(report))
finally:
    SCREEN.close()
    FOLDER.cleanup()
