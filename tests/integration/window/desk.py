"""A person's desk: a real X server with a window manager, the program on it, what it says on the
screen, to a screen reader and over OSC, and hands for pointer and keys."""

import os
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

TOOLS = ("Xvfb", "openbox", "xdotool", "xprop", "oscdump", "gst-launch-1.0")
# Long, since a loaded machine with a sanitizer takes its time, and what passes waits for none of it.
PATIENCE = 120.0


def missing_tools():
    return [tool for tool in TOOLS if shutil.which(tool) is None]


def wait_until(condition, what, patience=PATIENCE):
    """The first true answer of `condition`; fails the test if there is none in time."""
    deadline = time.monotonic() + patience
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {patience} s for {what}")
        time.sleep(0.02)


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Screen:
    """An X server whose picture lies in a file."""

    def __init__(self, manager=True, size="800x700"):
        self.folder = tempfile.mkdtemp()
        read, write = os.pipe()
        # When its last client goes it would begin anew, and refuse who comes meanwhile.
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", f"{size}x24", "-fbdir", self.folder,
             "-nolisten", "tcp", "-noreset"], pass_fds=[write], stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as pipe:
            self.display = ":" + pipe.readline().strip()
        os.environ["DISPLAY"] = self.display
        self.manager = None
        if manager:
            self.start_manager()

    def start_manager(self):
        # It has ended at its start once, for no reason that it told.
        for _ in range(4):
            self.manager = subprocess.Popen(["openbox", "--sm-disable"], stdout=subprocess.DEVNULL,
                                            stderr=subprocess.DEVNULL)
            try:
                wait_until(lambda: "window id" in run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"),
                           "the window manager", patience=5.0)
                return
            except AssertionError:
                self.manager.kill()
                self.manager.wait()
        self.server.kill()
        raise AssertionError("there is no window manager")

    def stop_manager(self):
        self.manager.terminate()
        self.manager.wait()
        self.manager = None

    def rows(self, left, top, width, height):
        """The rows of a part of the picture, each a byte of red, green and blue for every pixel."""
        with open(os.path.join(self.folder, "Xvfb_screen0"), "rb") as file:
            dump = file.read()
        header = struct.unpack(">25I", dump[:100])
        size, row_bytes, colors = header[0], header[12], header[19]
        rows = []
        for row in range(top, top + height):
            start = size + 12 * colors + row * row_bytes + 4 * left
            pixels = dump[start:start + 4 * width]
            line = bytearray(3 * width)
            for color in range(3):
                line[color::3] = pixels[2 - color::4]
            rows.append(bytes(line))
        return rows

    def pixel(self, x, y):
        """Red, green and blue."""
        return tuple(self.rows(x, y, 1, 1)[0])

    def close(self):
        if self.manager:
            self.stop_manager()
        self.server.terminate()
        self.server.wait()
        shutil.rmtree(self.folder, ignore_errors=True)


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout


def hands(*arguments):
    subprocess.run(["xdotool", *map(str, arguments)], check=True, stdout=subprocess.DEVNULL)


def geometry_of(window):
    """Left, top, width and height on the screen."""
    values = dict(line.split("=") for line in
                  run("xdotool", "getwindowgeometry", "--shell", window).split() if "=" in line)
    return tuple(int(values[name]) for name in ("X", "Y", "WIDTH", "HEIGHT"))


class Receiver:
    """The OSC messages at a port, by an independent implementation."""

    def __init__(self):
        self.port = free_port()
        self.file = tempfile.NamedTemporaryFile(mode="w+")
        self.process = subprocess.Popen(["stdbuf", "-oL", "oscdump", "-L", str(self.port)],
                                        stdout=self.file)

    def lines(self):
        with open(self.file.name, encoding="utf-8") as file:
            return file.read().splitlines()

    def wait_for(self, pattern, after=0):
        return wait_until(lambda: [line for line in self.lines()[after:] if re.search(pattern, line)],
                          f"a message like {pattern} at port {self.port}")

    def close(self):
        self.process.terminate()
        self.process.wait()
        self.file.close()


def large_texts(folder, points):
    """The environment of a desktop whose font has that size. Its settings go into `folder`."""
    with open(os.path.join(folder, "kdeglobals"), "w", encoding="utf-8") as file:
        file.write(f"[General]\nfont=DejaVu Sans,{points},-1,5,50,0,0,0,0,0\n")
    return {"XDG_CONFIG_HOME": folder, "XDG_CURRENT_DESKTOP": "KDE", "KDE_FULL_SESSION": "true",
            "KDE_SESSION_VERSION": "5"}


class Portal:
    """A desktop's portal: see portal.py, which gets the arguments."""

    def __init__(self, *arguments):
        self.process = subprocess.Popen(
            [sys.executable, os.path.join(os.path.dirname(os.path.abspath(__file__)), "portal.py"),
             *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        if self.hear() != "ready":
            raise AssertionError("the portal does not start")

    def hear(self):
        return self.process.stdout.readline().rstrip("\n")

    def tell(self, scheme):
        self.process.stdin.write(f"{scheme}\n")
        self.process.stdin.flush()

    def close(self):
        self.process.communicate()


class Transcript:
    """What a screen reader has to tell while somebody uses a program, a line each."""

    FOCUS = "object:state-changed:focused"
    NOTICE = "object:state-changed:showing"
    NAME = "object:property-change:accessible-name"
    # A toolkit tells what somebody has asked for, and some of it only with what else is asked for.
    ALL = (FOCUS, NOTICE, NAME, "object:selection-changed", "object:state-changed:checked",
           "object:property-change:accessible-value", "object:text-changed:insert",
           "object:active-descendant-changed", "object:state-changed:selected")

    def __init__(self):
        from gi.repository import Atspi
        self.lines = []
        self._read = 0
        self._listener = Atspi.EventListener.new(self._hear)
        for event in self.ALL:
            self._listener.register(event)

    def _hear(self, event):
        from gi.repository import GLib
        try:
            role = role_of(event.source)
            if event.type == self.NAME and role == "combo box":
                self.lines.append("chosen: " + told(event.source))
            elif event.type == self.FOCUS and event.detail1:
                self.lines.append(told(event.source))
            elif event.type == self.NOTICE and event.detail1 and role == "notification":
                self.lines.append("announced: " + event.source.get_name())
        except GLib.GError:
            # It is gone by now, as a menu is after its choice.
            return

    def press(self, *keys):
        hands("key", *keys)
        self.lines.append("pressed: " + " ".join(keys))

    def wait_for(self, line):
        """The first line of that pattern behind those that were waited for so far."""
        from gi.repository import GLib

        def arrived():
            while GLib.MainContext.default().iteration(False):
                pass
            for number, each in enumerate(self.lines[self._read:], self._read + 1):
                if re.fullmatch(line, each):
                    self._read = number
                    return True
            return False

        wait_until(arrived, f"'{line}' in {self.lines[self._read:]}")

    def close(self):
        for event in self.ALL:
            self._listener.deregister(event)


def role_of(node):
    """What its role is called. Newer bindings have another name for the same number: "button"."""
    from gi.repository import Atspi
    return "push button" if node.get_role() == Atspi.Role.PUSH_BUTTON else node.get_role_name()


def told(node):
    """An element as a screen reader tells it: role, name, value, state, description."""
    from gi.repository import Atspi
    states, role = node.get_state_set(), role_of(node)
    parts = [role, f"'{node.get_name()}'"]
    if role == "text":
        parts.append("= " + Atspi.Text.get_text(node, 0, -1))
    if role in ("radio button", "check box"):
        parts.append("checked" if states.contains(Atspi.StateType.CHECKED) else "not checked")
    if not states.contains(Atspi.StateType.ENABLED):
        parts.append("disabled")
    if node.get_description():
        parts.append("(" + node.get_description().replace("\n", " ") + ")")
    return " ".join(parts)


class Program:
    """The program with its window, as a screen reader sees it."""

    def __init__(self, *arguments, environment=None, shown=True):
        self._status = None
        self.folder = tempfile.mkdtemp()
        self.output = open(os.path.join(self.folder, "output"), "w+", encoding="utf-8")
        self.errors = open(os.path.join(self.folder, "errors"), "w+", encoding="utf-8")
        variables = {**os.environ, "XDG_CONFIG_HOME": self.folder, "LANG": "C.UTF-8",
                     "LC_ALL": "C.UTF-8", "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
                     "QT_QPA_PLATFORM": "xcb", "QT_SCALE_FACTOR": "1", **(environment or {})}
        self.process = subprocess.Popen([sys.argv[1], *arguments], stdout=self.output,
                                        stderr=self.errors, env=variables)
        if shown:
            self.window = wait_until(self._find_window, "the window")

    def _find_window(self):
        if self.process.poll() is not None:
            raise AssertionError(f"ended with {self.process.returncode}: {self.said()}")
        found = run("xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid),
                    "--name", "^Velmaro$").split()
        return found[0] if found else None

    def said(self):
        with open(self.errors.name, encoding="utf-8") as file:
            return file.read()

    def printed(self):
        with open(self.output.name, encoding="utf-8") as file:
            return file.read()

    # By its accessibility tree

    def _application(self):
        from gi.repository import Atspi, GLib
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        for index in range(desktop.get_child_count()):
            child = desktop.get_child_at_index(index)
            try:
                if child and child.get_process_id() == self.process.pid and child.get_child_count():
                    return child
            except GLib.GError:
                # It has just ended.
                continue
        return None

    def everything(self):
        pending = [wait_until(self._application, "the accessibility tree")]
        while pending:
            node = pending.pop(0)
            node.clear_cache()
            yield node
            pending += [node.get_child_at_index(index) for index in range(node.get_child_count())]

    def find(self, role, name=None):
        """The first of that role, and of that name unless any will do."""
        for node in self.everything():
            if role_of(node) == role and name in (None, node.get_name()):
                return node
        raise AssertionError(f"no {role} named {name}")

    def labels(self):
        return [node.get_name() for node in self.everything() if role_of(node) == "label"]

    def status(self):
        # Asking the whole tree each time would cost more than all else in a test.
        if self._status is None:
            self._status = next(node for node in self.everything()
                                if node.get_description().partition(":")[0] == "Status")
        self._status.clear_cache()
        return self._status.get_name()

    def wait_for_status(self, text):
        wait_until(lambda: self.status() == text, f"the status '{text}'")

    def is_enabled(self, role, name):
        from gi.repository import Atspi
        return self.find(role, name).get_state_set().contains(Atspi.StateType.ENABLED)

    # By pointer and keys

    def geometry(self):
        return geometry_of(self.window)

    def popups(self):
        """Left, top, width and height of what it shows beside its window."""
        found = run("xdotool", "search", "--onlyvisible", "--all", "--pid", str(self.process.pid),
                    "--class", "velmaro").split()
        boxes = [geometry_of(window) for window in found if window != self.window]
        return [box for box in boxes if box[2] > 1]

    def origin(self):
        return self.geometry()[:2]

    def click(self, role, name=None):
        from gi.repository import Atspi
        box = self.find(role, name).get_extents(Atspi.CoordType.SCREEN)
        hands("mousemove", box.x + box.width // 2, box.y + box.height // 2, "click", 1)

    def type_into(self, name, text):
        self.click("text", name)
        hands("key", "ctrl+a")
        hands("type", "--delay", 5, text)
        wait_until(lambda: self._text(name) == text, f"'{text}' in the field {name}")

    def _text(self, name):
        from gi.repository import Atspi
        return Atspi.Text.get_text(self.find("text", name), 0, -1)

    def wait(self, patience=PATIENCE):
        return self.process.wait(patience)

    def close(self):
        if self.errors.closed:
            return
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()
        said = self.said()
        self.output.close()
        self.errors.close()
        shutil.rmtree(self.folder, ignore_errors=True)
        # One that is killed cannot tell by its exit status what a sanitizer found.
        if "Sanitizer" in said or "runtime error:" in said:
            raise AssertionError(said)
