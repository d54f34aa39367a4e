"""The program with its window on a real Wayland compositor: test_wayland.py PROGRAM.

Needs a session bus of its own, as test_window.py does, and ends with 77 when something is missing.
"""

import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

from desk import Portal, Program, Receiver, wait_until

TOOLS = ("sway", "swaymsg", "grim", "wtype", "oscdump", "setpriv")
SKIPPED = 77
SIZE = (800, 600)
NOBODY = 65534


class Compositor:
    """One output that nobody sees. What the program reaches it by is in `environment`."""

    def __init__(self):
        self.folder = tempfile.mkdtemp()
        config = os.path.join(self.folder, "config")
        with open(config, "w", encoding="utf-8") as file:
            file.write(f"output HEADLESS-1 resolution {SIZE[0]}x{SIZE[1]}\n"
                       'for_window [app_id=".*"] floating enable, border none\nxwayland disable\n')
        command = ["sway", "-c", config]
        if os.geteuid() == 0:
            # It refuses to run as root.
            for path in (self.folder, config):
                os.chown(path, NOBODY, NOBODY)
            command = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups",
                       *command]
        variables = {name: value for name, value in os.environ.items()
                     if name not in ("DISPLAY", "WAYLAND_DISPLAY", "SWAYSOCK")}
        variables |= {"XDG_RUNTIME_DIR": self.folder, "WLR_BACKENDS": "headless",
                      "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1"}
        self.process = subprocess.Popen(command, env=variables, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        self.environment = {"XDG_RUNTIME_DIR": self.folder, "QT_QPA_PLATFORM": "wayland",
                            "WAYLAND_DISPLAY": wait_until(lambda: self.named("wayland-"), "sway"),
                            "SWAYSOCK": os.path.join(self.folder, wait_until(
                                lambda: self.named("sway-ipc."), "its socket"))}
        self.plug_keyboard()

    def named(self, start):
        return next((name for name in os.listdir(self.folder)
                     if name.startswith(start) and not name.endswith(".lock")), None)

    def ask(self, *command, text=True):
        return subprocess.run(command, check=True, capture_output=True, text=text,
                              env={**os.environ, **self.environment}).stdout

    def window(self):
        """Title, left, top, width and height of the window that it shows, if it shows one."""
        pending = [json.loads(self.ask("swaymsg", "-t", "get_tree"))]
        while pending:
            node = pending.pop()
            if node.get("app_id") == "io.github.velmaro.Velmaro" and node["visible"]:
                box = node["rect"]
                return node["name"], box["x"], box["y"], box["width"], box["height"]
            pending += node["nodes"] + node["floating_nodes"]
        return None

    def pixel(self, x, y):
        picture = self.ask("grim", "-t", "ppm", "-", text=False)
        header, pixels = picture[:picture.index(b"255\n")], picture[picture.index(b"255\n") + 4:]
        width = int(header.split()[1])
        return tuple(pixels[3 * (y * width + x):3 * (y * width + x) + 3])

    def plug_keyboard(self):
        """One that stays and waits for what it is to type. Were there none between two presses, a
        program that is busy would learn of the next one too late for its keys."""
        self.keyboard = subprocess.Popen(["wtype", "-"], stdin=subprocess.PIPE,
                                         env={**os.environ, **self.environment})
        wait_until(lambda: any(device["type"] == "keyboard" for device in
                               json.loads(self.ask("swaymsg", "-t", "get_inputs"))), "a keyboard")

    def press(self, *arguments):
        self.ask("wtype", *arguments)

    def close(self):
        self.keyboard.communicate()
        self.process.terminate()
        self.process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)


class WaylandTest(unittest.TestCase):
    def start(self, *arguments):
        program = Program("--demo", *arguments, environment=COMPOSITOR.environment, shown=False)
        self.addCleanup(program.close)
        self.window = wait_until(COMPOSITOR.window, "the window")
        return program

    def test_it_shows_itself_tracks_by_key_and_closes(self):
        receiver = Receiver()
        self.addCleanup(receiver.close)
        program = self.start("--port", str(receiver.port))
        title, left, top, width, height = self.window
        self.assertEqual((title, width, height), ("Velmaro", 250, 360))
        wait_until(lambda: self.is_blue(left + 125, top + 252), "the dot of the gauge")
        COMPOSITOR.press("-k", "space")
        receiver.wait_for(r"/ypr fff ")
        COMPOSITOR.press("-k", "space")
        wait_until(lambda: "⚠️ OSC connection cancelled" in program.printed(), "the stop")
        COMPOSITOR.press("-M", "ctrl", "-k", "q", "-m", "ctrl")
        self.assertEqual(program.wait(), 0, program.said())

    def test_large_texts_make_the_whole_window_larger(self):
        portal = Portal("0", "1.2")
        self.addCleanup(portal.close)
        program = self.start()
        for value, wanted in zip(self.window[3:], (300, 432)):
            self.assertAlmostEqual(value, wanted, delta=1)
        COMPOSITOR.press("-M", "ctrl", "-k", "q", "-m", "ctrl")
        self.assertEqual(program.wait(), 0, program.said())

    def test_another_size_of_texts_takes_effect_at_the_next_start(self):
        portal = Portal("1", "1.2")
        self.addCleanup(portal.close)
        program = self.start()
        before = self.window
        portal.tell("1.5")
        # What comes behind it has been seen once the window is light.
        portal.tell(2)
        _, left, top, *_ = before
        wait_until(lambda: sum(COMPOSITOR.pixel(left + 8, top + 200)) > 600, "a light window")
        self.assertEqual(COMPOSITOR.window(), before)
        COMPOSITOR.press("-M", "ctrl", "-k", "q", "-m", "ctrl")
        self.assertEqual(program.wait(), 0, program.said())
        self.start()
        for value, wanted in zip(self.window[3:], (375, 540)):
            self.assertAlmostEqual(value, wanted, delta=1)

    @staticmethod
    def is_blue(x, y):
        red, _, blue = COMPOSITOR.pixel(x, y)
        return blue > red + 100

    def test_started_at_once_it_ends_by_signal(self):
        receiver = Receiver()
        self.addCleanup(receiver.close)
        program = self.start("--start", "--port", str(receiver.port))
        receiver.wait_for(r"/ypr fff ")
        program.process.send_signal(signal.SIGTERM)
        self.assertEqual(program.wait(), 0, program.said())


if __name__ == "__main__":
    missing = [tool for tool in TOOLS if shutil.which(tool) is None]
    if missing:
        print("skipped: not installed:", ", ".join(missing))
        sys.exit(SKIPPED)
    COMPOSITOR = Compositor()
    try:
        # The program is read by desk.py; the rest is for the test runner.
        outcome = unittest.main(argv=[sys.argv[0], "-v", *sys.argv[2:]], exit=False).result
    finally:
        COMPOSITOR.close()
    sys.exit(0 if outcome.wasSuccessful() else 1)
