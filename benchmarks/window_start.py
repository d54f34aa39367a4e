"""What the window costs beside its drawing: window_start.py PROGRAM [RUNS]. On an X server of its
own: milliseconds from start to first picture (the median), resident megabytes, and the share of a
core, idle and tracking the demonstration clip."""

import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../tests/integration/window"))
from desk import Screen  # noqa: E402

SECONDS = 5.0


def start(*arguments):
    variables = {**os.environ, "XDG_CONFIG_HOME": FOLDER.name, "QT_QPA_PLATFORM": "xcb"}
    return subprocess.Popen([sys.argv[1], *arguments], env=variables, stdout=subprocess.DEVNULL,
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


def cpu_seconds(process):
    with open(f"/proc/{process.pid}/stat", encoding="utf-8") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def resident(process):
    with open(f"/proc/{process.pid}/status", encoding="utf-8") as file:
        return int(re.search(r"VmRSS:\s+(\d+)", file.read()).group(1)) / 1024


def steady(*arguments):
    process = start(*arguments)
    time.sleep(3)
    before = cpu_seconds(process)
    time.sleep(SECONDS)
    cost = (cpu_seconds(process) - before) / SECONDS
    memory = resident(process)
    stop(process)
    return cost, memory


FOLDER = tempfile.TemporaryDirectory()
SCREEN = Screen(manager=False)
try:
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 9
    times = [first_picture(SCREEN) for _ in range(runs)]
    print(f"start to first picture {1000 * statistics.median(times):.0f} ms "
          f"(best {1000 * min(times):.0f}, worst {1000 * max(times):.0f})")
    for name, arguments in (("idle", ("--demo",)), ("tracking", ("--demo", "--start"))):
        cost, memory = steady(*arguments)
        print(f"{name}: {100 * cost:.1f} % of a core, {memory:.0f} MB resident")
finally:
    SCREEN.close()
    FOLDER.cleanup()
