"""The program with its window on a real X server: test_window.py PROGRAM [TEST].

Needs a session bus of its own: session python3 test_window.py PROGRAM.
Ends with 77 when something that it needs is not installed.
"""

import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import desk
from desk import Portal, Program, Receiver, Screen, hands, run, wait_until

SKIPPED = 77


def make_clip(name, pattern):
    file = os.path.join(CLIPS.name, name)
    subprocess.run(["gst-launch-1.0", "-q", "videotestsrc", "num-buffers=60", f"pattern={pattern}",
                    "!", "video/x-raw,width=320,height=240,framerate=30/1", "!", "vp8enc",
                    "deadline=1", "!", "webmmux", "!", "filesink", f"location={file}"], check=True)
    return file


class WindowTest(unittest.TestCase):
    def start(self, *arguments, **options):
        program = Program(*arguments, **options)
        self.addCleanup(program.close)
        return program

    def receiver(self):
        receiver = Receiver()
        self.addCleanup(receiver.close)
        return receiver

    def test_first_appearance(self):
        program = self.start("--camera-file", CLIP)
        self.assertEqual(program.status(), "Stopped")
        self.assertEqual(self.shown_input(program), "clip.webm")
        labels = program.labels()
        for text in ("Input:", "Pan", "Tilt", "0.0", "-0.0", "Stopped"):
            self.assertIn(text, labels)
        for button, enabled in (("Start tracking", True), ("Set zero pose", False),
                                ("Reset zero pose", False)):
            self.assertEqual(program.is_enabled("push button", button), enabled, button)
        self.assertFalse(program.is_enabled("check box", "Tilt"))
        size = run("xdotool", "getwindowgeometry", "--shell", program.window)
        self.assertIn("WIDTH=250\n", size)
        self.assertIn("HEIGHT=360\n", size)

    def test_task_bar_knows_name_and_icon(self):
        program = self.start("--camera-file", CLIP)
        properties = run("xprop", "-id", program.window)
        self.assertRegex(properties, r'_NET_WM_NAME\(UTF8_STRING\) = "Velmaro"')
        self.assertRegex(properties, r'WM_CLASS\(STRING\) = "velmaro", "velmaro"')
        self.assertIn("_NET_WM_ICON", properties)
        self.assertNotIn("_NET_WM_STATE_SKIP_TASKBAR", properties)
        self.assertRegex(properties, r"program specified (minimum|maximum) size: 250 by 360")

    def test_start_sends_and_stop_says_so(self):
        receiver = self.receiver()
        program = self.start("--camera-file", CLIP, "--port", str(receiver.port))
        program.click("push button", "Start tracking")
        receiver.wait_for(r"/ypr fff ")
        program.wait_for_status("Running")
        for role, name in (("push button", "Set zero pose"), ("push button", "Reset zero pose"),
                           ("check box", "Tilt")):
            self.assertTrue(program.is_enabled(role, name), name)
        program.click("push button", "Stop tracking")
        program.wait_for_status("Stopped")
        self.assertFalse(program.is_enabled("push button", "Set zero pose"))
        self.assertIn("⚠️ OSC connection cancelled", program.printed())

    def test_fields_edited_while_running_count_after_stop_and_start(self):
        first, second = self.receiver(), self.receiver()
        program = self.start("--camera-file", CLIP, "--port", str(first.port))
        program.click("push button", "Start tracking")
        first.wait_for(r"/ypr fff ")
        program.type_into("OSC address", "/head")
        first.wait_for(r"/head fff ")
        program.type_into("Port", str(second.port))
        before = len(first.lines())
        first.wait_for(r"/head fff ", after=before + 5)
        self.assertEqual(second.lines(), [], "the connection that is there is kept")
        hands("key", "ctrl+r")
        # Not by the status: a frame that was on its way may still say "Running".
        wait_until(lambda: not program.is_enabled("push button", "Set zero pose"), "the stop")
        hands("key", "ctrl+r")
        second.wait_for(r"/head fff ")

    def test_change_of_input_while_stopped_and_while_running(self):
        receiver = self.receiver()
        program = self.start("--camera-file", CLIP, "--camera-file", OTHER, "--port",
                             str(receiver.port))
        program.click("combo box")
        hands("key", "Down", "Return")
        wait_until(lambda: self.shown_input(program) == os.path.basename(OTHER), "the other input")
        self.assertEqual(program.status(), "Stopped")
        program.click("push button", "Start tracking")
        program.wait_for_status("Running")
        self.assertIn(f"📹 Setting up capture with: {os.path.basename(OTHER)}", program.printed())
        program.click("combo box")
        hands("key", "Up", "Return")
        wait_until(lambda: f"📹 Setting up capture with: {os.path.basename(CLIP)}"
                   in program.printed(), "the restart")
        before = len(receiver.lines())
        receiver.wait_for(r"/ypr fff ", after=before)
        program.wait_for_status("Running")

    @staticmethod
    def shown_input(program):
        # A combo box is named by what it shows; what it is for is told by its label.
        return program.find("combo box").get_name()

    def test_rate_and_tilt(self):
        receiver = self.receiver()
        program = self.start("--camera-file", CLIP, "--port", str(receiver.port), "--start")
        receiver.wait_for(r"/ypr fff ")
        program.click("radio button", "60 messages per second")
        from gi.repository import Atspi
        wait_until(lambda: program.find("radio button", "60 messages per second").get_state_set()
                   .contains(Atspi.StateType.CHECKED), "the rate of 60")
        wait_until(lambda: "-0.0" in program.labels(), "a tilt of -0.0")
        program.click("check box", "Tilt")
        wait_until(lambda: "-0.0" not in program.labels(), "a tilt of 0.0")

    def test_keyboard_alone(self):
        program = self.start("--camera-file", CLIP)
        hands("windowfocus", "--sync", program.window)
        hands("key", "space")
        program.wait_for_status("Running")
        hands("key", "Return")
        program.wait_for_status("Stopped")
        hands("key", "ctrl+w")
        self.assertEqual(program.wait(), 0)

    def test_close_by_key_manager_and_button(self):
        program = self.start("--camera-file", CLIP)
        hands("windowfocus", "--sync", program.window, "key", "ctrl+q")
        self.assertEqual(program.wait(), 0)
        program = self.start("--camera-file", CLIP, "--start")
        hands("windowfocus", "--sync", program.window, "key", "alt+F4")
        self.assertEqual(program.wait(), 0)
        program = self.start("--camera-file", CLIP)
        program.click("push button", "Close")
        self.assertEqual(program.wait(), 0)

    def test_screen_reader_hears_changes_of_the_status(self):
        program = self.start("--camera-file", CLIP)
        self.assertEqual(program.find("frame").get_name(), "Velmaro")
        transcript = self.transcript()
        hands("windowfocus", "--sync", program.window)
        hands("key", "space")
        transcript.wait_for("announced: Running")
        hands("key", "space")
        transcript.wait_for("announced: Stopped")

    def test_screen_reader_hears_why_no_angle_comes(self):
        program = self.start("--camera-file", CLIP)
        program.find("frame")
        transcript = self.transcript()
        hands("windowfocus", "--sync", program.window)
        hands("key", "space")
        transcript.wait_for("announced: No face is seen: come into the picture, or make it brighter.")
        hands("key", "space")
        transcript.wait_for("announced: Stopped")

    def transcript(self):
        transcript = desk.Transcript()
        self.addCleanup(transcript.close)
        return transcript

    def test_transcript_of_a_whole_use_by_keyboard(self):
        receiver = self.receiver()
        transcript = self.transcript()
        self.addCleanup(self.keep, transcript)
        program = self.start("--demo", "--camera-file", CLIP)
        hands("windowfocus", "--sync", program.window)
        transcript.wait_for(r"push button 'Start tracking' \(Start tracking \(Ctrl\+R\)\)")
        for keys, line in (
                ("shift+Tab", r"text 'OSC address' = /ypr \(The OSC address .*; acts at once\)"),
                ("shift+Tab", r"text 'Port' = 8000 \(The receiver's UDP port; .*\)"),
                ("shift+Tab", r"text 'IP address' = 127\.0\.0\.1 \(The receiver's IP .*\)"),
                ("shift+Tab", r"combo box '\S+' \(What the head's orientation is taken from\)"),
                ("Down", r"chosen: combo box 'clip\.webm' .*"),
                ("Up", r"chosen: combo box 'Demonstration' .*"),
                ("Tab", "text 'IP address' .*"),
                ("Tab", "text 'Port' .*")):
            transcript.press(keys)
            if line:
                transcript.wait_for(line)
        hands("key", "ctrl+a")
        hands("type", "--delay", 5, receiver.port)
        for keys, line in (
                ("Tab", "text 'OSC address' .*"),
                ("shift+Tab", rf"text 'Port' = {receiver.port} .*"),
                ("Tab", "text 'OSC address' .*"),
                ("Tab", "push button 'Start tracking' .*"),
                ("space", "announced: Running"),
                ("Tab", r"push button 'Set zero pose' \(Make this pose the zero pose \(Ctrl\+S\)\)"),
                ("space", None),
                ("Tab", r"push button 'Reset zero pose' \(Undo the zero pose \(Ctrl\+Shift\+S\)\)"),
                ("space", None),
                ("Tab", "radio button '30 messages per second' checked .*"),
                ("Right", "radio button '60 messages per second' .*"),
                ("Tab", r"check box 'Tilt' checked \(Send tilt \(Ctrl\+T\)\)"),
                ("shift+Tab", "radio button '60 messages per second' checked .*"),
                ("ctrl+r", "announced: Stopped"),
                ("shift+F10", None),
                ("Down", "menu item 'Receiver'"),
                ("Right", "menu item 'iem'"),
                ("Left", None),
                ("Up", "menu item 'Quit'"),
                ("Return", None)):
            transcript.press(keys)
            if line:
                transcript.wait_for(line)
        self.assertEqual(program.wait(), 0)
        self.assertTrue(receiver.lines(), "it sent where it was told to")

    def test_menu_keeps_settings_forgets_the_pose_and_opens_the_log(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        kept, pose = (os.path.join(folder.name, "velmaro", name)
                      for name in ("velmaro.toml", "headphoneCalibration"))
        os.mkdir(os.path.dirname(pose))
        with open(pose, "w", encoding="utf-8") as file:
            file.write('{"idleW": 1}')
        opener, opened = (os.path.join(folder.name, name) for name in ("xdg-open", "opened"))
        with open(opener, "w", encoding="utf-8") as file:
            file.write(f'#!/bin/sh\necho "$1" >"{opened}.new" && mv "{opened}.new" "{opened}"\n')
        os.chmod(opener, 0o755)
        program = self.start("--camera-file", CLIP, "--rate", "60", environment={
            "XDG_CONFIG_HOME": folder.name, "PATH": folder.name + ":" + os.environ["PATH"]})
        transcript = self.transcript()
        hands("windowfocus", "--sync", program.window)
        self.choose("Down", "Down")
        transcript.wait_for(f"announced: The settings are kept in {kept}")
        with open(kept, encoding="utf-8") as file:
            self.assertIn("rate = 60", file.read())
        self.choose("Down", "Down", "Down")
        transcript.wait_for("announced: The stored pose of the headphones is forgotten: the next "
                            "start begins without it")
        self.assertFalse(os.path.exists(pose))
        self.choose("Up", "Up", "Up")
        wait_until(lambda: os.path.exists(opened), "the log to be opened")
        with open(opened, encoding="utf-8") as file:
            self.assertEqual(file.read(), f"file://{program.output.name}\n")
        # By the pointer too.
        os.remove(kept)
        x, y = program.origin()
        hands("mousemove", x + 20, y + 300, "click", 3)
        left, top, _, height = wait_until(program.popups, "the menu")[0]
        # The second of seven entries, between which two lines take little room.
        hands("mousemove", left + 30, top + height // 5, "click", 1)
        wait_until(lambda: os.path.exists(kept), "the settings to be kept again")

    @staticmethod
    def choose(*keys):
        """From the menu, by keyboard."""
        hands("key", "shift+F10", "sleep", "0.3", "key", *keys, "Return")

    @staticmethod
    def keep(transcript):
        """Beside the program's folder, for whoever wants to read it."""
        folder = os.path.dirname(os.path.dirname(os.path.abspath(sys.argv[1])))
        with open(os.path.join(folder, "transcript.txt"), "w", encoding="utf-8") as file:
            file.write("\n".join(transcript.lines) + "\n")

    def test_held_enter_starts_once(self):
        program = self.start("--camera-file", CLIP)
        hands("windowfocus", "--sync", program.window)
        hands("keydown", "Return", "sleep", "1.5", "keyup", "Return")
        program.wait_for_status("Running")
        self.assertEqual(program.printed().count("📹 Setting up capture with: clip.webm"), 1)

    def test_every_press_counts_however_fast(self):
        program = self.start("--camera-file", CLIP)
        hands("windowfocus", "--sync", program.window)
        starts = 0
        for milliseconds in (5, 20, 60, 120, 250):
            hands("key", "--delay", milliseconds, *4 * ("Return",))
            starts += 2
            wait_until(lambda s=starts: program.printed().count(
                "📹 Setting up capture with: clip.webm") == s, f"{starts} starts")
        hands("key", "Return")
        program.wait_for_status("Running")
        hands("key", "Return")
        program.wait_for_status("Stopped")

    def test_minimise_by_button(self):
        program = self.start("--camera-file", CLIP)
        program.click("push button", "Minimise")
        wait_until(lambda: "Iconic" in run("xprop", "-id", program.window, "WM_STATE"),
                   "the window to be minimised")

    def test_arabic_changes_no_direction(self):
        program = self.start("--camera-file", CLIP)
        plain, picture = self.places(program), SCREEN.rows(*program.geometry())
        program.close()
        program = self.start("--camera-file", CLIP,
                             environment={"LANG": "ar_EG.UTF-8", "LC_ALL": "ar_EG.UTF-8"})
        self.assertEqual(self.places(program), plain)
        # It has no texts in this language, so that only a direction could make a difference.
        wait_until(lambda: SCREEN.rows(*program.geometry()) == picture, "the same picture")

    # The menu, the list of its first entry beside it, and that of the sources.
    OPENERS = ((1, ("shift+F10",)), (2, ("Down", "Right")),
               (1, ("Escape", "Escape", *4 * ("shift+Tab",), "space")))

    def test_arabic_changes_no_direction_of_menu_and_lists(self):
        program = self.start("--camera-file", CLIP, "--camera-file", OTHER)
        wanted = []
        hands("windowfocus", "--sync", program.window)
        for count, keys in self.OPENERS:
            hands("key", "--delay", 100, *keys)
            wanted.append(self.settled(program, count))
        program.close()
        program = self.start("--camera-file", CLIP, "--camera-file", OTHER,
                             environment={"LANG": "ar_EG.UTF-8", "LC_ALL": "ar_EG.UTF-8"})
        hands("windowfocus", "--sync", program.window)
        for (_, keys), lists in zip(self.OPENERS, wanted):
            hands("key", "--delay", 100, *keys)
            wait_until(lambda p=lists: self.lists(program) == p, f"the same lists after {keys}")

    def settled(self, program, count):
        """That many open lists, once they stay as they are."""
        seen = [None]

        def stays():
            seen.append(self.lists(program))
            time.sleep(0.5)
            return len(seen[-1]) == count and seen[-1] == seen[-2]

        wait_until(stays, f"{count} lists that stay as they are")
        return seen[-1]

    @staticmethod
    def lists(program):
        """Where in the window what is open beside it lies, and its pictures."""
        x, y = program.origin()
        return [((left - x, top - y, width, height), SCREEN.rows(left, top, width, height))
                for left, top, width, height in sorted(program.popups())]

    @staticmethod
    def places(program):
        from gi.repository import Atspi
        boxes = []
        for node in program.everything():
            if desk.role_of(node) in ("push button", "text", "combo box", "check box", "label"):
                box = node.get_extents(Atspi.CoordType.WINDOW)
                boxes.append((box.x, box.y, box.width, box.height))
        return boxes

    def test_what_lies_at_a_place_is_found_there_at_every_scale(self):
        from gi.repository import Atspi
        for scale in (1, 1.25, 1.5):
            program = self.start("--camera-file", CLIP,
                                 environment={"QT_SCALE_FACTOR": str(scale)})
            frame = program.find("frame")
            whole = frame.get_extents(Atspi.CoordType.SCREEN)
            # In pixels, or as older toolkits have it in those of the unscaled window.
            unit = program.geometry()[2] / whole.width
            self.assertLess(min(abs(unit - 1), abs(unit - scale)), 0.01)
            for value, wanted in zip((whole.x, whole.y, whole.height),
                                     (program.geometry()[side] for side in (0, 1, 3))):
                self.assertAlmostEqual(value * unit, wanted, delta=2 * scale)
            places = {}
            for role, name in (("push button", "Start tracking"), ("text", "Port"),
                               ("text", "OSC address"), ("check box", "Tilt"),
                               ("radio button", "60 messages per second")):
                box = program.find(role, name).get_extents(Atspi.CoordType.SCREEN)
                middle = box.x + box.width // 2, box.y + box.height // 2
                found = frame.get_accessible_at_point(*middle, Atspi.CoordType.SCREEN)
                places[name] = found.get_name()
                hands("mousemove", *(round(value * unit) for value in middle), "click", 1)
            self.assertEqual(list(places), list(places.values()))
            # The first of them was pressed where it is said to be.
            program.wait_for_status("Running")
            program.close()

    def test_large_texts_make_the_whole_window_larger(self):
        for points, size in ((11, (250, 360)), (12, (300, 432)), (30, (375, 540))):
            program = self.start("--camera-file", CLIP, environment=desk.large_texts(CLIPS.name, points))
            self.assert_size(program, size)
            hands("windowfocus", "--sync", program.window, "key", "ctrl+r")
            program.wait_for_status("Running")
            program.close()

    def test_dots_per_inch_make_the_whole_window_larger(self):
        run("xprop", "-root", "-f", "RESOURCE_MANAGER", "8s", "-set", "RESOURCE_MANAGER",
            "Xft.dpi:\t120\n")
        self.addCleanup(run, "xprop", "-root", "-remove", "RESOURCE_MANAGER")
        program = self.start("--camera-file", CLIP)
        self.assert_size(program, (313, 450))

    def assert_size(self, program, wanted):
        for value, wanted_value in zip(program.geometry()[2:], wanted):
            self.assertAlmostEqual(value, wanted_value, delta=1)

    def test_signals(self):
        program = self.start("--camera-file", CLIP, "--start")
        program.wait_for_status("Running")
        for number in (signal.SIGUSR1, signal.SIGUSR2):
            program.process.send_signal(number)
        program.wait_for_status("Running")
        program.process.send_signal(signal.SIGTERM)
        self.assertEqual(program.wait(), 0)

    def drag(self, program, by, least):
        x, y = program.origin()
        hands("mousemove", x + 20, y + 300)
        hands("mousedown", 1)
        # In steps, as a hand does: a window manager takes over only after some.
        for step in range(1, 11):
            hands("mousemove", x + 20 + by * step // 10, y + 300 + by * step // 10, "sleep", "0.02")
        hands("mouseup", 1)
        wait_until(lambda: least <= program.origin()[0] - x <= by
                   and program.origin()[0] - x == program.origin()[1] - y,
                   f"a move by {least} to {by} from {x}, {y}; it is at {program.origin()}")

    def test_drag_moves_it_under_a_window_manager(self):
        # The manager takes the window over where the pointer has come to by then.
        self.drag(self.start("--camera-file", CLIP), 60, least=10)

    def test_drag_moves_it_without_a_window_manager(self):
        bare = Screen(manager=False)
        self.addCleanup(os.environ.update, {"DISPLAY": SCREEN.display})
        self.addCleanup(bare.close)
        self.drag(self.start("--camera-file", CLIP), 60, least=60)

    def start_portal(self, scheme):
        portal = Portal(str(scheme))
        self.addCleanup(portal.close)
        return portal

    def test_nobody_counts_as_absent_while_it_tracks(self):
        portal = self.start_portal(0)
        program = self.start("--camera-file", CLIP)
        hands("windowfocus", "--sync", program.window)
        for _ in range(2):
            hands("key", "ctrl+r")
            self.assertEqual(portal.hear(), "inhibited 8")
            program.wait_for_status("Running")
            hands("key", "ctrl+r")
            self.assertEqual(portal.hear(), "released")
        hands("key", "ctrl+r")
        self.assertEqual(portal.hear(), "inhibited 8")
        hands("key", "ctrl+q")
        self.assertEqual(portal.hear(), "released")
        self.assertEqual(program.wait(), 0)

    def test_colour_scheme_is_followed_live(self):
        self.assert_scheme_is_followed({})

    def test_colour_scheme_is_followed_live_with_large_texts(self):
        # There an application object before the one that stays has connected to the bus.
        self.assert_scheme_is_followed(desk.large_texts(CLIPS.name, 14))

    def assert_scheme_is_followed(self, environment):
        portal = self.start_portal(1)
        program = self.start("--camera-file", CLIP, environment=environment)

        def ground():
            x, y = program.origin()
            return SCREEN.pixel(x + 8, y + 200)

        wait_until(lambda: sum(ground()) < 200, "a dark window")
        for value, dark in ((2, False), (1, True), (0, False)):
            portal.tell(value)
            wait_until(lambda d=dark: (sum(ground()) < 200) == d, f"scheme {value}")

    def test_german_and_french(self):
        for language, text in (("de_DE.UTF-8", "Quelle:"), ("fr_FR.UTF-8", "Source :")):
            program = self.start("--camera-file", CLIP,
                                 environment={"LANG": language, "LC_ALL": language})
            self.assertIn(text, program.labels())
            program.close()

    def test_what_cannot_be_is_said_and_ends_with_1(self):
        for arguments, reason in (
                (["--camera-file", "/nowhere"], "cannot read '/nowhere': No such file"),
                (["--camera-file", "/"], "cannot read '/': it is a directory"),
                (["--camera-file", CLIP, "--input", "camera_x"], "there is no source 'camera_x'")):
            program = self.start(*arguments, shown=False)
            self.assertEqual(program.wait(), 1)
            self.assertIn("velmaro: " + reason, program.said())

    def test_missing_models_end_it(self):
        program = self.start("--camera-file", CLIP, shown=False,
                             environment={"VELMARO_DATA_DIR": CLIPS.name})
        self.assertEqual(program.wait(), 1)
        self.assertIn("models", program.said())

    def test_without_a_display_it_points_to_the_other_program(self):
        program = self.start("--camera-file", CLIP, shown=False,
                             environment={"DISPLAY": "", "WAYLAND_DISPLAY": ""})
        self.assertEqual(program.wait(), 1)
        self.assertIn("velmaro-cli", program.said())

    def test_list_inputs_needs_no_display(self):
        program = self.start("--camera-file", CLIP, "--list-inputs", shown=False,
                             environment={"DISPLAY": ""})
        self.assertEqual(program.wait(), 0)
        self.assertRegex(program.printed(), r"camera_\S+\tclip.webm\n")


def skip(reason):
    print("skipped:", reason)
    sys.exit(SKIPPED)


if __name__ == "__main__":
    if desk.missing_tools():
        skip("not installed: " + ", ".join(desk.missing_tools()))
    SCREEN = Screen()
    CLIPS = tempfile.TemporaryDirectory()
    try:
        try:
            import gi
            gi.require_version("Atspi", "2.0")
        except (ImportError, ValueError) as error:
            skip(f"no accessibility bindings: {error}")
        CLIP, OTHER = make_clip("clip.webm", "smpte"), make_clip("other.webm", "ball")
        # The program is read by desk.py; the rest is for the test runner.
        outcome = unittest.main(argv=[sys.argv[0], "-v", *sys.argv[2:]], exit=False).result
    finally:
        SCREEN.close()
        CLIPS.cleanup()
    sys.exit(0 if outcome.wasSuccessful() else 1)
