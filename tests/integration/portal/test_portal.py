"""The program and the desktop's real camera portal: test_portal.py PROGRAM SESSION CAMERA.

SESSION starts a PipeWire session with virtual cameras, which CAMERA plays. Only the person who
answers the dialog is played. Ends with 77 when something is missing.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest

SKIPPED = 77
TOOLS = ("dbus-run-session", "pipewire", "wireplumber", "pw-cli")
PORTAL = "/usr/libexec/xdg-desktop-portal"
# The portal's name for those who answer its questions, and for the desktop that uses them.
ANSWERER = "org.freedesktop.impl.portal.desktop.velmarotest"
DESKTOP = "velmarotest"
ACCESS = """<node><interface name="org.freedesktop.impl.portal.Access"><method name="AccessDialog">
  <arg type="o" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
  <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
  <arg type="a{sv}" direction="in"/>
  <arg type="u" direction="out"/><arg type="a{sv}" direction="out"/>
</method></interface></node>"""
MEMORY = ("org.freedesktop.impl.portal.PermissionStore",
          "/org/freedesktop/impl/portal/PermissionStore",
          "org.freedesktop.impl.portal.PermissionStore")
ALLOWED, REFUSED = 0, 1
STARTED = "✅ Session started running notification received\n"
# Seconds after which something hangs rather than being slow.
PATIENCE = 120


def missing():
    absent = [tool for tool in TOOLS if not shutil.which(tool)]
    if not os.path.exists(PORTAL):
        absent.append(PORTAL)
    try:
        import gi  # noqa: F401
    except ImportError:
        absent.append("GLib's bindings for Python")
    return absent


def enter_session():
    """Starts this program again on a bus whose services see folders of the test's own."""
    folder = tempfile.mkdtemp()
    portals = os.path.join(folder, "portals")
    os.mkdir(portals)
    with open(os.path.join(portals, "test.portal"), "w", encoding="utf-8") as file:
        file.write(f"[portal]\nDBusName={ANSWERER}\n"
                   f"Interfaces=org.freedesktop.impl.portal.Access;\nUseIn={DESKTOP}\n")
    environment = {name: value for name, value in os.environ.items()
                   if name not in ("DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS",
                                   "PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR")}
    environment |= {"XDG_RUNTIME_DIR": folder, "XDG_DATA_HOME": folder, "XDG_STATE_HOME": folder,
                    "XDG_CONFIG_HOME": folder, "XDG_DESKTOP_PORTAL_DIR": portals,
                    "XDG_CURRENT_DESKTOP": DESKTOP, "INSIDE_SESSION": "1", "TEST_FOLDER": folder}
    try:
        return subprocess.run(["dbus-run-session", "--", sys.executable, *sys.argv],
                              env=environment).returncode
    finally:
        remove(folder)


def remove(folder):
    """The portal's own file system in it goes a moment after the portal."""
    for _ in range(50):
        try:
            shutil.rmtree(folder)
            return
        except OSError:
            time.sleep(0.1)
    print("left behind:", folder)


class Person:
    """Who answers the portal's dialogs. Runs on a thread of its own."""

    def __init__(self):
        from gi.repository import Gio, GLib
        self.answer, self.dialogs = ALLOWED, 0
        self.loop = GLib.MainLoop()
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
        node = Gio.DBusNodeInfo.new_for_xml(ACCESS)
        self.bus.register_object("/org/freedesktop/portal/desktop", node.interfaces[0],
                                 self._asked, None, None)
        Gio.bus_own_name_on_connection(self.bus, ANSWERER, Gio.BusNameOwnerFlags.NONE, None, None)
        threading.Thread(target=self.loop.run, daemon=True).start()

    def _asked(self, _bus, _sender, _path, _interface, _method, _parameters, invocation):
        from gi.repository import GLib
        self.dialogs += 1
        invocation.return_value(GLib.Variant("(ua{sv})", (self.answer, {})))

    def ask_memory(self, method, signature, *arguments):
        from gi.repository import Gio, GLib
        return self.bus.call_sync(*MEMORY, method, GLib.Variant(signature, arguments), None,
                                  Gio.DBusCallFlags.NONE, -1, None).unpack()

    def remembered(self):
        """What the desktop remembers of cameras: {application: ["yes" or "no"]}."""
        from gi.repository import GLib
        try:
            return self.ask_memory("Lookup", "(ss)", "devices", "camera")[0]
        except GLib.Error:
            return {}

    def forget(self):
        if self.remembered():
            self.ask_memory("Delete", "(ss)", "devices", "camera")

    def change_mind(self, answer):
        for application in self.remembered():
            self.ask_memory("SetPermission", "(sbssas)", "devices", True, "camera", application,
                            [answer])


class PortalTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = os.environ["TEST_FOLDER"]
        cls.person = Person()
        cls.session = subprocess.Popen([sys.argv[2], cls.folder, sys.argv[3]],
                                       stdin=subprocess.PIPE, text=True)
        cls.answers = 0
        cls.await_session()
        cls.session.stdin.write("camera front YUY2 videotestsrc is-live=true ! "
                                "video/x-raw,width=640,height=480,framerate=30/1\n")
        cls.session.stdin.flush()
        cls.await_session()
        # The first look at GStreamer's plug-ins is slow and not what is tested.
        subprocess.run([sys.argv[1], "--list-inputs"], check=True, capture_output=True)

    @classmethod
    def tearDownClass(cls):
        cls.session.stdin.close()
        cls.session.wait()

    @classmethod
    def await_session(cls):
        answer = os.path.join(cls.folder, f"done.{cls.answers}")
        cls.answers += 1
        deadline = time.monotonic() + PATIENCE
        while not os.path.exists(answer):
            if time.monotonic() > deadline:
                raise AssertionError("the PipeWire session does not answer")
            time.sleep(0.01)

    def setUp(self):
        self.person.forget()
        self.person.dialogs = 0
        self.person.answer = ALLOWED

    def track(self):
        """Tracks until the camera has started or the program has ended by itself, however long the
        desktop takes: a time of the program's own would end it before its answer."""
        with tempfile.TemporaryFile("w+") as errors:
            program = subprocess.Popen([sys.argv[1], "--input", "camera_front"], text=True,
                                       stdout=subprocess.PIPE, stderr=errors)
            hang = threading.Timer(PATIENCE, program.kill)
            hang.start()
            lines = []
            for line in program.stdout:
                lines.append(line)
                if line == STARTED:
                    program.terminate()
            status = program.wait()
            hang.cancel()
            program.stdout.close()
            errors.seek(0)
            return subprocess.CompletedProcess(program.args, status, "".join(lines), errors.read())

    def assert_tracks(self):
        ended = self.track()
        self.assertIn(STARTED, ended.stdout, ended.stderr)
        self.assertEqual(ended.returncode, 0, ended.stderr)

    def assert_is_denied(self):
        ended = self.track()
        self.assertTrue(ended.stdout.endswith("❌ Camera access denied\n"), ended.stdout)
        self.assertIn("velmaro-cli: the desktop denies access to cameras: allow it", ended.stderr)
        self.assertNotIn("Setting up", ended.stdout)
        self.assertEqual(ended.returncode, 1)

    def test_is_asked_once_and_the_permission_remembered(self):
        self.assert_tracks()
        self.assertEqual(self.person.dialogs, 1)
        self.assertEqual(list(self.person.remembered().values()), [["yes"]])
        self.assert_tracks()
        self.assertEqual(self.person.dialogs, 1)

    def test_a_refusal_is_remembered(self):
        self.person.answer = REFUSED
        self.assert_is_denied()
        self.assertEqual(self.person.dialogs, 1)
        self.assertEqual(list(self.person.remembered().values()), [["no"]])
        self.assert_is_denied()
        self.assertEqual(self.person.dialogs, 1)

    def test_a_permission_that_is_taken_back_is_gone_at_the_next_start(self):
        self.assert_tracks()
        self.person.change_mind("no")
        self.assert_is_denied()
        self.person.change_mind("yes")
        self.assert_tracks()
        self.assertEqual(self.person.dialogs, 1)

    def test_a_listing_asks_nobody(self):
        listed = subprocess.run([sys.argv[1], "--list-inputs"], capture_output=True, text=True,
                                timeout=PATIENCE)
        self.assertEqual(listed.stdout, "camera_front\tCamera-front\n")
        self.assertEqual(self.person.dialogs, 0)


if __name__ == "__main__":
    if missing():
        print("skipped, missing:", ", ".join(missing()))
        sys.exit(SKIPPED)
    if "TEST_FOLDER" not in os.environ:
        sys.exit(enter_session())
    unittest.main(argv=sys.argv[:1])
