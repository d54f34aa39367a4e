"""What a running process has used of the processor."""

import glob


def cpu_seconds(process):
    """Of all threads, by the scheduler's clock, which counts nanoseconds."""
    total = 0
    for file in glob.glob(f"/proc/{process.pid}/task/*/schedstat"):
        with open(file, encoding="utf-8") as stat:
            total += int(stat.read().split()[0])
    return total / 1e9
