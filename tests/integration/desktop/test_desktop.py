"""The programs and a desktop that is played, on message buses of the test's own:
test_desktop.py TERMINAL [WINDOW STILL]. STILL is a picture of a head that is turned."""

import os
import queue
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import unittest

from gi.repository import Gio, GLib

PATIENCE = 60
PORTAL = "org.freedesktop.portal.Desktop"
PORTAL_PATH = "/org/freedesktop/portal/desktop"
INHIBIT = """<node><interface name="org.freedesktop.portal.Inhibit">
  <method name="Inhibit"><arg type="s" direction="in"/><arg type="u" direction="in"/>
    <arg type="a{sv}" direction="in"/><arg type="o" direction="out"/></method>
</interface></node>"""
SHORTCUTS = """<node><interface name="org.freedesktop.portal.GlobalShortcuts">
  <method name="CreateSession"><arg type="a{sv}" direction="in"/>
    <arg type="o" direction="out"/></method>
  <method name="BindShortcuts"><arg type="o" direction="in"/><arg type="a(sa{sv})" direction="in"/>
    <arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
    <arg type="o" direction="out"/></method>
</interface></node>"""
# It starts nobody.
BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
  "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>
  <policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
    <allow own="*"/></policy></busconfig>"""
CLOSABLE = """<node><interface name="org.freedesktop.portal.{}"><method name="Close"/></interface>
</node>"""
LOGIN = """<node><interface name="org.freedesktop.login1.Manager">
  <method name="Inhibit"><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="h" direction="out"/></method>
</interface></node>"""


class Bus:
    """A message bus, and what somebody on it was asked, in order."""

    def __init__(self):
        with tempfile.NamedTemporaryFile("w", suffix=".conf") as configuration:
            configuration.write(BUS)
            configuration.flush()
            self.daemon = subprocess.Popen(
                ["dbus-daemon", "--config-file=" + configuration.name, "--nofork",
                 "--print-address"], stdout=subprocess.PIPE, text=True)
            self.address = self.daemon.stdout.readline().strip()
        self.asked = queue.Queue()
        self.peer = self.connect()

    def connect(self):
        return Gio.DBusConnection.new_for_address_sync(
            self.address, Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
            | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)

    def own(self, name):
        self.peer.call_sync("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName",
                            GLib.Variant("(su)", (name, 0)), None, Gio.DBusCallFlags.NONE, -1, None)

    def offer(self, path, text, answer):
        """`answer` is called on the loop's thread."""
        def called(_bus, sender, at, _interface, method, parameters, invocation):
            answer(sender, at, method, parameters.unpack(), invocation)
        return self.peer.register_object(path, Gio.DBusNodeInfo.new_for_xml(text).interfaces[0],
                                         called, None, None)

    def next(self):
        return self.asked.get(timeout=PATIENCE)

    def settled(self):
        """Everything that was said to the peer before now has arrived."""
        self.connect().call_sync(self.peer.get_unique_name(), "/", "org.freedesktop.DBus.Peer",
                                 "Ping", None, None, Gio.DBusCallFlags.NONE, -1, None)
        return self.asked.empty()

    def close(self):
        self.peer.set_exit_on_close(False)
        self.peer.close_sync(None)
        self.daemon.terminate()
        self.daemon.wait()
        self.daemon.stdout.close()


class Portal:
    """The desktop's portal, as far as it is wanted."""

    def __init__(self, bus, inhibits=False, has_shortcuts=False):
        self.bus = bus
        self.session = None
        if inhibits:
            bus.offer(PORTAL_PATH, INHIBIT, self._inhibit)
        if has_shortcuts:
            bus.offer(PORTAL_PATH, SHORTCUTS, self._shortcuts)
        bus.own(PORTAL)

    def _closable(self, path, interface, word):
        def close(_sender, _path, _method, _arguments, invocation):
            self.bus.peer.unregister_object(number)
            self.bus.asked.put((word,))
            invocation.return_value(None)
        number = self.bus.offer(path, CLOSABLE.format(interface), close)

    def _inhibit(self, _sender, _path, _method, arguments, invocation):
        _window, flags, options = arguments
        request = PORTAL_PATH + "/request/inhibited"
        self._closable(request, "Request", "released")
        self.bus.asked.put(("inhibited", flags, options))
        invocation.return_value(GLib.Variant("(o)", (request,)))

    def _shortcuts(self, sender, _path, method, arguments, invocation):
        options = arguments[-1]
        caller = sender[1:].replace(".", "_")
        request = f"{PORTAL_PATH}/request/{caller}/{options['handle_token']}"
        results = {}
        if method == "CreateSession":
            self.session = f"{PORTAL_PATH}/session/{caller}/{options['session_handle_token']}"
            self._closable(self.session, "Session", "closed")
            results["session_handle"] = GLib.Variant("s", self.session)
        else:
            self.bus.asked.put((method, arguments[0], [each[0] for each in arguments[1]],
                                all(each[1]["description"] for each in arguments[1])))
        invocation.return_value(GLib.Variant("(o)", (request,)))
        self.bus.peer.emit_signal(sender, request, "org.freedesktop.portal.Request", "Response",
                                  GLib.Variant("(ua{sv})", (0, results)))

    def press(self, shortcut, session=None):
        self.bus.peer.emit_signal(
            None, PORTAL_PATH, "org.freedesktop.portal.GlobalShortcuts", "Activated",
            GLib.Variant("(osta{sv})", (session or self.session, shortcut, 1, {})))


class LoginManager:
    def __init__(self, bus):
        self.bus = bus
        bus.offer("/org/freedesktop/login1", LOGIN, self._inhibit)
        bus.own("org.freedesktop.login1")

    def _inhibit(self, _sender, _path, _method, arguments, invocation):
        mine, lock = os.pipe()
        invocation.return_value_with_unix_fd_list(GLib.Variant("(h)", (0,)),
                                                  Gio.UnixFDList.new_from_array([lock]))
        self.bus.asked.put(("inhibited", *arguments))

        def wait_for_the_end():
            os.read(mine, 1)
            os.close(mine)
            self.bus.asked.put(("released",))
        threading.Thread(target=wait_for_the_end, daemon=True).start()


class DesktopTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.loop = GLib.MainLoop()
        threading.Thread(target=cls.loop.run, daemon=True).start()

    def setUp(self):
        self.session, self.system = Bus(), Bus()
        self.addCleanup(self.session.close)
        self.addCleanup(self.system.close)
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.receiver = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(self.receiver.close)
        self.receiver.bind(("127.0.0.1", 0))
        self.receiver.settimeout(PATIENCE)
        self.variables = {**os.environ, "DBUS_SESSION_BUS_ADDRESS": self.session.address,
                          "DBUS_SYSTEM_BUS_ADDRESS": self.system.address,
                          "XDG_CONFIG_HOME": folder.name, "XDG_RUNTIME_DIR": folder.name,
                          "QT_QPA_PLATFORM": "offscreen"}

    def start(self, *arguments, program=None):
        running = subprocess.Popen(
            [program or sys.argv[1], "--port", str(self.receiver.getsockname()[1]), *arguments],
            env=self.variables, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)

        def end():
            if running.poll() is None:
                running.kill()
            running.communicate()
        self.addCleanup(end)
        return running

    def stop(self, running):
        running.send_signal(signal.SIGTERM)
        _, errors = running.communicate(timeout=PATIENCE)
        self.assertEqual(running.returncode, 0, errors)
        return errors

    def pan(self):
        return struct.unpack(">f", self.receiver.recv(256)[16:20])[0]

    def test_the_portal_keeps_the_desktop_awake_while_it_tracks(self):
        Portal(self.session, inhibits=True)
        LoginManager(self.system)
        running = self.start("--demo")
        self.assertEqual(self.session.next(), ("inhibited", 8, {"reason": "Head tracking"}))
        self.pan()
        self.assertTrue(self.session.settled())
        self.stop(running)
        self.assertEqual(self.session.next(), ("released",))
        self.assertTrue(self.system.settled())

    def test_the_login_manager_does_where_the_portal_cannot(self):
        Portal(self.session)
        LoginManager(self.system)
        running = self.start("--demo")
        self.assertEqual(self.system.next(),
                         ("inhibited", "idle", "Velmaro", "Head tracking", "block"))
        self.pan()
        self.assertTrue(self.system.settled())
        self.stop(running)
        self.assertEqual(self.system.next(), ("released",))

    def test_the_login_manager_does_where_no_session_is(self):
        LoginManager(self.system)
        del self.variables["DBUS_SESSION_BUS_ADDRESS"]
        running = self.start("--demo")
        self.assertEqual(self.system.next()[:2], ("inhibited", "idle"))
        self.stop(running)
        self.assertEqual(self.system.next(), ("released",))

    def test_nobody_is_asked_if_idling_is_allowed(self):
        Portal(self.session, inhibits=True)
        LoginManager(self.system)
        running = self.start("--demo", "--allow-idle")
        self.pan()
        self.stop(running)
        self.assertTrue(self.session.settled())
        self.assertTrue(self.system.settled())

    def test_without_a_bus_it_tracks_all_the_same(self):
        self.variables["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nowhere/session"
        self.variables["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=/nowhere/system"
        running = self.start("--demo")
        self.pan()
        errors = self.stop(running)
        self.assertNotRegex(errors, "(?i)bus|portal|login|idle|nowhere")

    def test_a_session_bus_on_which_nobody_is_stops_nothing(self):
        running = self.start("--demo")
        self.pan()
        self.assertNotRegex(self.stop(running), "(?i)bus|portal|login|idle")

    def await_pan(self, fits):
        for _ in range(2000):
            if fits(self.pan()):
                return
        self.fail("the pan does not come")

    @unittest.skipIf(len(sys.argv) < 4, "built without a window")
    def test_shortcuts_set_and_reset_the_zero_pose(self):
        portal = Portal(self.session, has_shortcuts=True)
        running = self.start("--camera-file", sys.argv[3], "--start", program=sys.argv[2])
        self.assertEqual(self.session.next(),
                         ("BindShortcuts", portal.session, ["set", "reset"], True))
        self.await_pan(lambda pan: abs(pan) > 10)
        portal.press("set", session=PORTAL_PATH + "/session/other/velmaro")
        portal.press("unknown")
        for _ in range(20):
            self.assertGreater(abs(self.pan()), 5)
        portal.press("set")
        self.await_pan(lambda pan: abs(pan) < 2)
        portal.press("reset")
        self.await_pan(lambda pan: abs(pan) > 10)
        self.stop(running)
        self.assertEqual(self.session.next(), ("closed",))

    def test_a_terminal_takes_no_keys(self):
        Portal(self.session, has_shortcuts=True)
        running = self.start("--demo")
        self.pan()
        self.stop(running)
        self.assertTrue(self.session.settled())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
