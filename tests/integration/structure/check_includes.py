"""Asserts from a finished build who includes whom: check_includes.py SOURCE BUILD MOTION_SOURCE...

Every object file of a room lists what the compiler read for it. A room may read itself, the rooms
named here, the standard library and the outside libraries named here, and nothing else.
"""

import os
import re
import subprocess
import sys

ROOMS = {
    "platform": ((), ()),
    "osc": (("platform",), ()),
    "receivers": (("platform", "osc"), ()),
    "headpose": (("platform",), ()),
    "camera": (("platform",), ()),
    "headphones": (("platform",), ("nlohmann",)),
    "app": (("platform", "osc", "receivers", "headpose", "camera", "headphones"), ("CLI",)),
    "app/cli": (("platform", "osc", "receivers", "headpose", "camera", "headphones", "app",
                 "app/linux"), ()),
    "app/window": (("platform", "osc", "receivers", "headpose", "camera", "headphones", "app",
                 "app/linux"),
                   ("Qt",)),
    "app/linux": (("platform", "backends/*", "receivers", "headphones", "app"), ()),
    "backends/queues": (("platform",), ("asio",)),
    "backends/net": (("platform",), ("asio",)),
    "backends/cameras": (("platform", "backends/gstreamer", "backends/posix"), ("gstreamer", "glib", "udev")),
    "backends/control": (("platform",), ("asio", "oscpack")),
    "backends/gstreamer": (("platform",), ("gstreamer", "glib")),
    "backends/networks": (("platform",), ("xnnpack", "pthreadpool", "flatbuffers")),
    "backends/facemesh": (("platform", "backends/networks"), ("eigen3", "glib", "protozero")),
    "backends/log": (("platform",), ()),
    "backends/posix": ((), ()),
    # One thread and one kind of teardown for all that talks on a message bus.
    "backends/glib": ((), ("glib",)),
    "backends/portal": (("platform", "backends/glib"), ("glib",)),
    "backends/settings": (("platform", "backends/posix"), ("glib",)),
    # What the sources of headphone motion share.
    "backends/motion": (("platform", "headphones", "backends/posix"), ()),
    "backends/replay": (("platform", "headphones", "backends/motion"), ()),
    "backends/airpods": (("platform", "backends/glib", "backends/motion", "backends/posix"),
                         ("bluetooth", "glib", "protozero")),
}
# What a source of headphone motion may include that is not named above.
MOTION_SOURCE = (("platform", "backends/motion", "backends/posix"), ())
# How to recognise an outside library by the path of a header.
LIBRARIES = {
    "asio": r"/include/asio(/|\.hpp)",
    "bluetooth": r"/include/bluetooth/",
    "nlohmann": r"/include/nlohmann/",
    "CLI": r"/include/CLI/",
    "gstreamer": r"/gstreamer-1\.0/",
    "glib": r"/glib-2\.0/|/gio-unix-2\.0/",
    "udev": r"/libudev\.h$",
    "xnnpack": r"/xnnpack\.h$",
    "pthreadpool": r"/pthreadpool\.h$",
    "flatbuffers": r"/include/flatbuffers/",
    "protozero": r"/include/protozero/",
    "eigen3": r"/eigen3/",
    "Qt": r"/qt6/",
    "liblo": r"/include/lo/",
    "oscpack": r"/include/oscpack/",
    "gtest": r"/include/g(test|mock)/",
}


def room_of(path):
    """The room that a file below src/ belongs to: the longest that is a prefix of it."""
    fitting = [room for room in ROOMS if path.startswith(room + "/")]
    return max(fitting, key=len) if fitting else None


def dependencies(build):
    """(object, [headers]) of every object that ninja knows."""
    text = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True, capture_output=True,
                          text=True).stdout
    for block in text.split("\n\n"):
        lines = block.strip().splitlines()
        if lines and "VALID" in lines[0]:
            yield lines[0].split(":")[0], [line.strip() for line in lines[1:]]


def main():
    source, build = map(os.path.realpath, sys.argv[1:3])
    for each in sys.argv[3:]:
        ROOMS.setdefault("backends/" + each, MOTION_SOURCE)
    wrong, seen = [], set()
    for name, headers in dependencies(build):
        match = re.match(r"src/(.*)/CMakeFiles/[^/]+\.dir/", name)
        if not match or "_autogen" in name:
            continue
        room = match.group(1)
        if room not in ROOMS:
            wrong.append(f"{room} is a new room: say in check_includes.py what it may include")
            continue
        seen.add(room)
        rooms, libraries = ROOMS[room]
        for header in headers:
            path = os.path.realpath(os.path.join(build, header))
            if path.startswith(source + "/src/"):
                other = room_of(path[len(source) + 5:])
                if not (other == room or other in rooms
                        or any(each.endswith("*") and other and other.startswith(each[:-1])
                               for each in rooms)):
                    wrong.append(f"{name} includes {path[len(source) + 1:]}")
            for library, pattern in LIBRARIES.items():
                if re.search(pattern, path) and library not in libraries:
                    wrong.append(f"{name} includes {library}: {path}")
    for each in sorted(set(wrong)):
        print(each)
    if not {"osc", "headpose", "camera", "headphones", "app", "app/linux"} <= seen:
        print("the build holds too few rooms to judge:", sorted(seen))
        return 1
    print(f"{len(seen)} rooms, {len(set(wrong))} wrong includes")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
