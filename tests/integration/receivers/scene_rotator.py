"""SceneRotator of the IEM Plug-in Suite without a person: on a display and a JACK server of its own."""

import contextlib
import fcntl
import os
import shutil
import subprocess
import tempfile
import time

PROGRAM = "iem-plugin-scenerotator"
NEEDED = (PROGRAM, "jackd", "Xvfb")
# Always the same: JACK remembers eight servers, and one that was killed until its name comes again.
SERVER = "velmaro-tests"
# So that two runs of these tests do not meet there.
LOCK = os.path.join(tempfile.gettempdir(), f"{SERVER}-{os.getuid()}.lock")

# What the program keeps between runs. All is at its default, but for the port and for the input,
# which it would mute.
STATE = """<?xml version="1.0" encoding="UTF-8"?> <SceneRotator><OSCConfig ReceiverPort="{port}" \
SenderIP="" SenderPort="-1" SenderOSCAddress="/SceneRotator/" SenderInterval="100"/></SceneRotator>"""
SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>

<PROPERTIES>
  <VALUE name="filterState" val="{state}"/>
  <VALUE name="shouldMuteInput" val="0"/>
</PROPERTIES>
"""
# Six bits a character, the lowest first; the number of bytes stands before the point.
ALPHABET = ".ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+"


def encode(block):
    bits = int.from_bytes(block, "little")
    digits = [ALPHABET[bits >> 6 * index & 63] for index in range((len(block) * 8 + 5) // 6)]
    return f"{len(block)}.{''.join(digits)}"


def settings(port):
    text = STATE.format(port=port).encode()
    # A mark and the length, as the program's framework keeps XML in binary.
    block = (0x21324356).to_bytes(4, "little") + len(text).to_bytes(4, "little") + text + b"\0"
    return SETTINGS.format(state=encode(block))


def missing():
    """The first program that is needed and not there."""
    return next((each for each in NEEDED if shutil.which(each) is None), None)


def wait_until(condition, what, seconds=30):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise TimeoutError(what)
        time.sleep(0.05)


def listens(port):
    """Whether a program has bound that UDP port on any address of this machine."""
    with open("/proc/net/udp", encoding="ascii") as table, \
            open("/proc/net/udp6", encoding="ascii") as table6:
        rows = table.readlines()[1:] + table6.readlines()[1:]
    return any(int(row.split()[1].rsplit(":", 1)[1], 16) == port for row in rows)


@contextlib.contextmanager
def display(size="1024x768x24"):
    """The name of an X server of one's own."""
    end, theirs = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(theirs), "-screen", "0", size, "-nolisten",
                               "tcp", "-noreset"], pass_fds=[theirs], stderr=subprocess.DEVNULL)
    os.close(theirs)
    with os.fdopen(end) as told:
        number = told.readline().strip()
    try:
        yield f":{number}"
    finally:
        server.terminate()
        server.wait()


@contextlib.contextmanager
def scene_rotator(port):
    """The environment in which it runs and listens on `port`."""
    with tempfile.TemporaryDirectory() as home, display() as screen, \
            open(LOCK, "w", encoding="utf-8") as lock, contextlib.ExitStack() as stack:
        fcntl.flock(lock, fcntl.LOCK_EX)
        folder = os.path.join(home, ".config", "IEMAudioPlugins")
        os.makedirs(folder)
        with open(os.path.join(folder, "SceneRotator.settings"), "w", encoding="utf-8") as file:
            file.write(settings(port))
        environment = {**os.environ, "HOME": home, "DISPLAY": screen, "XDG_RUNTIME_DIR": home,
                       "XDG_CONFIG_HOME": os.path.join(home, ".config"),
                       "JACK_DEFAULT_SERVER": SERVER, "JACK_NO_AUDIO_RESERVATION": "1"}

        def start(*command):
            process = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)
            stack.callback(process.wait)
            stack.callback(process.terminate)
            return process

        server = start("jackd", "-n", SERVER, "-r", "-t", "20000", "-d", "dummy", "-C", "4", "-P", "4",
                       "-r", "48000", "-p", "1024")
        wait_until(lambda: subprocess.run(["jack_lsp"], env=environment, check=False,
                                          capture_output=True).returncode == 0, "jackd")
        start(PROGRAM)
        # Before its clients: for one that is killed it waits 20 seconds for each of its ports.
        stack.callback(server.wait)
        stack.callback(server.terminate)
        wait_until(lambda: listens(port), "SceneRotator does not listen")
        wait_until(lambda: b"SceneRotator" in subprocess.run(
            ["jack_lsp"], env=environment, check=False, capture_output=True).stdout,
            "SceneRotator has no JACK ports")
        yield environment
