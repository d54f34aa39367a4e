"""The installed unit, run by a service manager of its own: test_unit.py BUILD.

The manager sees the installed files at /usr/local, in a mount namespace that nobody else sees. Ends
with 77 when this machine has no service manager or allows no such namespace.
"""

import os
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

SKIPPED = 77
MANAGER = "/lib/systemd/systemd"
PATIENCE = 60


def skip(reason):
    print("skipped:", reason)
    sys.exit(SKIPPED)


def enter(build):
    """Installs the programs and starts this test again where only it sees them."""
    if not os.path.exists(MANAGER):
        skip("no systemd")
    if subprocess.run(["unshare", "-mC", "true"], capture_output=True, check=False).returncode:
        skip("no namespaces for this user")
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["cmake", "--install", build, "--prefix", folder + "/prefix"], check=True,
                       stdout=subprocess.DEVNULL)
        variables = {name: os.environ[name] for name in ("PATH", "LANG", "SYSTEMD_IGNORE_CHROOT")
                     if name in os.environ}
        for name in ("HOME", "XDG_CONFIG_HOME"):
            variables[name] = os.path.join(folder, name)
            os.mkdir(variables[name])
        variables |= {"XDG_RUNTIME_DIR": "/run/user/0", "INSTALLED": folder + "/prefix"}
        sys.exit(subprocess.run(["unshare", "-mC", sys.executable, "-B", *sys.argv],
                                env=variables, check=False).returncode)


def systemctl(*arguments):
    return subprocess.run(["systemctl", "--user", *arguments], capture_output=True, text=True,
                          check=True, timeout=PATIENCE).stdout


def shown(name):
    return systemctl("show", "--value", "-p", name, "velmaro").strip()


def await_true(condition, what):
    deadline = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"{what} does not come: {systemctl('show', 'velmaro')}")
        time.sleep(0.05)


def start_manager():
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/run"], check=True)
    subprocess.run(["mount", "--bind", os.environ["INSTALLED"], "/usr/local"], check=True)
    # The manager asks whether the machine was started by its like.
    os.makedirs("/run/systemd/system")
    os.makedirs("/run/user/0")
    with open(os.path.join(os.environ["HOME"], "log"), "w", encoding="utf-8") as log:
        manager = subprocess.Popen([MANAGER, "--user", "--log-target=console"], stdout=log,
                                   stderr=log)
    while not os.path.exists("/run/user/0/systemd/private"):
        if manager.poll() is not None:
            with open(log.name, encoding="utf-8") as text:
                skip("the service manager does not run here: " + text.read())
        time.sleep(0.05)
    return manager


class UnitTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.manager = start_manager()

    @classmethod
    def tearDownClass(cls):
        cls.manager.terminate()
        cls.manager.wait()

    def setUp(self):
        self.receiver = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(self.receiver.close)
        self.receiver.bind(("127.0.0.1", 0))
        self.receiver.settimeout(PATIENCE)

    def set_options(self, options):
        folder = os.path.join(os.environ["XDG_CONFIG_HOME"], "systemd/user/velmaro.service.d")
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "override.conf"), "w", encoding="utf-8") as file:
            file.write(f'[Service]\nEnvironment="VELMARO_OPTIONS={options}"\n')
        systemctl("daemon-reload")

    def test_it_tracks_comes_back_after_a_failure_and_stops_cleanly(self):
        motion = os.path.join(os.environ["HOME"], "motion")
        with open(motion, "w", encoding="utf-8") as file:
            file.write("# velmaro motion 1\ntime yaw pitch roll\n0.00 10 0 0\n0.05 20 0 0\n")
        port = self.receiver.getsockname()[1]
        self.set_options(f"--motion-file {motion} --input airpods --port {port}")
        systemctl("enable", "--now", "velmaro")
        self.assertTrue(self.receiver.recv(256).startswith(b"/ypr\0"))
        process = int(shown("MainPID"))
        with open(f"/proc/{process}/cmdline", encoding="utf-8") as file:
            self.assertIn("--quiet", file.read().split("\0"))
        os.kill(process, signal.SIGKILL)
        await_true(lambda: shown("NRestarts") == "1" and shown("SubState") == "running",
                   "a second start")
        self.assertNotEqual(int(shown("MainPID")), process)
        # What the first one sent has been read by now.
        self.receiver.setblocking(False)
        try:
            while self.receiver.recv(256):
                pass
        except BlockingIOError:
            pass
        self.receiver.settimeout(PATIENCE)
        self.receiver.recv(256)
        systemctl("disable", "--now", "velmaro")
        self.assertEqual((shown("ActiveState"), shown("Result"), shown("ExecMainStatus")),
                         ("inactive", "success", "0"))

    def test_wrong_options_stay_wrong(self):
        self.set_options("--nonsense")
        systemctl("start", "velmaro")
        await_true(lambda: shown("ActiveState") == "failed", "the failure")
        self.assertEqual((shown("ExecMainStatus"), shown("NRestarts")), ("2", "0"))
        systemctl("reset-failed", "velmaro")


if __name__ == "__main__":
    BUILD = sys.argv[1]
    if "INSTALLED" not in os.environ:
        enter(BUILD)
    unittest.main(argv=sys.argv[:1], verbosity=2)
