"""The page of figures over versions: one line of a table for each record, appended and never changed."""

import os
import platform
import re
import subprocess

# Column, the report's row and which of its numbers. Ratios carry over to other machines; the time of
# the two networks alone says what machine it was.
COLUMNS = (
    ("networks, ms", "facemesh_720p", "reference"),
    ("720p frame / networks", "facemesh_720p", "ratio"),
    ("encode / oscpack", "encode_ypr", "ratio"),
    ("send / bare send", "send_loopback", "ratio"),
    ("live 720p p50 / networks", "live_to_datagram_720p p50", "ratio"),
    ("live raw cost / networks", "live_cost_720p30 raw", "ratio"),
    ("live JPEG cost / networks", "live_cost_720p30 MJPEG", "ratio"),
    ("held angle / filter", "held_angle_delay_60", "ratio"),
    ("headphones p50 / echo", "sample_to_datagram p50", "ratio"),
    ("window / terminal", "window_tracking", "ratio"),
    ("demo peak, MB", "demo_peak_memory", "value"),
)

HEADINGS = ("date", "version", "commit", "machine", *(column for column, _, _ in COLUMNS))


def version(root):
    with open(os.path.join(root, "CMakeLists.txt"), encoding="utf-8") as file:
        return re.search(r"^project\(velmaro VERSION (\S+)", file.read(), re.MULTILINE).group(1)


def commit(root):
    """The short name of what is measured, with a + where the work tree differs from it."""
    def git(*arguments):
        return subprocess.run(["git", "-C", root, *arguments], check=True, capture_output=True,
                              text=True).stdout.strip()
    return git("rev-parse", "--short", "HEAD") + ("+" if git("status", "--porcelain") else "")


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        found = re.search(r"^model name\s*: (.*)$", file.read(), re.MULTILINE)
    return f"{os.cpu_count()} x {found.group(1) if found else platform.machine()}"


def line(texts):
    return "| " + " | ".join(text.replace("|", "/") for text in texts) + " |\n"


def append(page, date, made, rows):
    """Appends to the page one line of `rows`, a dictionary of name to value, reference and ratio.

    `made` is the version, the commit and the machine. A figure that was not measured is a dash. Raises
    ValueError, and leaves the page as it is, where its table does not have today's columns or does not
    end the page.
    """
    with open(page, encoding="utf-8") as file:
        text = file.read()
    table = text.rpartition("\n\n")[2]
    if not table.startswith(line(HEADINGS)) or not table.endswith(" |\n"):
        raise ValueError(f"{page} does not end with the table: {line(HEADINGS).strip()}")
    numbers = []
    for _, name, which in COLUMNS:
        number = rows.get(name, {}).get(which)
        numbers.append("-" if number is None else f"{number:.3g}")
    with open(page, "a", encoding="utf-8") as file:
        file.write(line([date, *made, *numbers]))
