"""The program while it tracks, and the other ends of all that it is joined to."""

import fcntl
import os
import signal
import socket
import struct
import subprocess
import threading
import time

FEED_RATE = 100
# How long a rate may take to come back, and an end may take. A loaded machine is slow, a hang is not.
PATIENCE = 60
# What may come while caches fill.
GROWTH = {"memory": 6144, "descriptors": 4, "threads": 3}


class Failure(Exception):
    pass


def run(*command, **environment):
    return subprocess.run(command, env=dict(os.environ, **environment), stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL).returncode == 0


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("0.0.0.0", 0))
        return probe.getsockname()[1]


def check_datagram(data):
    """Raises unless it is /ypr with three finite floats."""
    head = b"/ypr\0\0\0\0,fff\0\0\0\0"
    if len(data) != len(head) + 12 or not data.startswith(head):
        raise Failure(f"a malformed datagram: {data!r}")
    if any(value != value or abs(value) > 360 for value in struct.unpack(">3f", data[-12:])):
        raise Failure(f"angles that are none: {data!r}")


class Receiver:
    """Counts what comes, on a thread of its own, while it is open."""

    def __init__(self):
        self.port = free_port()
        self.count = 0
        self.mistake = None
        self.socket = None
        self.open()

    def open(self):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("0.0.0.0", self.port))
        threading.Thread(target=self._read, args=(self.socket,), daemon=True).start()

    def close(self):
        closing, self.socket = self.socket, None
        # Wakes the thread, which would keep the port.
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as waker:
            closing.setblocking(False)
            waker.sendto(b"", ("127.0.0.1", self.port))
        closing.close()

    def _read(self, own):
        own.settimeout(0.2)
        while self.socket is own:
            try:
                data = own.recv(65536)
            except OSError:
                continue
            if self.socket is not own or not data:
                continue
            try:
                check_datagram(data)
            except Failure as failure:
                self.mistake = failure
            self.count += 1


class Feeder(threading.Thread):
    """A tracker that turns slowly."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self.target = ("127.0.0.1", port)
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)

    def run(self):
        step = 0
        while True:
            step += 1
            angles = (step % 360 - 180, step % 90 - 45, 0)
            self.send(struct.pack("<6d", 0, 0, 0, *angles))
            time.sleep(1 / FEED_RATE)

    def send(self, data):
        try:
            self.socket.sendto(data, self.target)
        except OSError:
            pass


class Output:
    """The program's standard output and error, read or left unread."""

    def __init__(self):
        self.reader, self.writer = os.pipe()
        fcntl.fcntl(self.writer, fcntl.F_SETPIPE_SZ, 4096)
        # A file of its own, which does not wait though the program's does.
        self.filler = os.open(f"/proc/self/fd/{self.writer}", os.O_WRONLY | os.O_NONBLOCK)
        self.is_read = threading.Event()
        self.is_read.set()
        self.tail = b""
        threading.Thread(target=self._read, daemon=True).start()

    def fill(self):
        """Nobody reads, and there is no room for another line."""
        self.is_read.clear()
        try:
            while True:
                os.write(self.filler, b"\n")
        except BlockingIOError:
            pass

    def _read(self):
        while True:
            self.is_read.wait()
            data = os.read(self.reader, 4096)
            if not data:
                return
            self.tail = (self.tail + data)[-2000:]


class Tracking:
    """A program that tracks, who receives what it sends, and who reads what it says."""

    def __init__(self, name, rate, command, environment):
        """`rate` is how many datagrams a second may be hoped for."""
        self.name = name
        self.rate = rate
        self.command = command
        self.environment = environment
        self.receiver = Receiver()
        # What it held after each fault came once; growth is what comes later.
        self.first = None
        self.output = Output()
        self.process = subprocess.Popen(
            [*self.command, "--port", str(self.receiver.port)],
            stdout=self.output.writer, stderr=subprocess.STDOUT,
            env=dict(os.environ, **self.environment))
        os.close(self.output.writer)

    def close(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGCONT)
            self.process.kill()
            self.process.wait()

    def await_rate(self):
        """Half of the rate within the patience, over a second."""
        deadline = time.monotonic() + PATIENCE
        while True:
            if self.process.poll() is not None:
                raise Failure(f"{self.name} ended with {self.process.returncode}")
            if self.receiver.mistake:
                raise self.receiver.mistake
            before = self.receiver.count
            time.sleep(1)
            if self.receiver.count - before >= self.rate / 2:
                return
            if time.monotonic() > deadline:
                raise Failure(f"{self.name} sends only {self.receiver.count - before} a second")

    def sample(self):
        base = f"/proc/{self.process.pid}"
        with open(base + "/status", encoding="ascii") as file:
            memory = next(int(line.split()[1]) for line in file if line.startswith("VmRSS"))
        return {"memory": memory, "descriptors": len(os.listdir(base + "/fd")),
                "threads": len(os.listdir(base + "/task"))}

    def compare(self):
        """Raises if it has grown and stays so: what was stopped may still be closing."""
        self.first = self.first or self.sample()
        deadline = time.monotonic() + PATIENCE
        while grown := self.growth():
            if time.monotonic() > deadline:
                raise Failure(f"{self.name}: {grown}")
            time.sleep(0.5)

    def growth(self):
        now = self.sample()
        return ", ".join(f"{what} grew from {self.first[what]} to {now[what]}"
                         for what, most in GROWTH.items() if now[what] - self.first[what] > most)

    def stop(self):
        # The hardest way to end: nobody hears its last words.
        self.output.fill()
        self.process.terminate()
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            raise Failure(f"{self.name} hangs at the end") from None
        if status != 0:
            raise Failure(f"{self.name} ended with {status}")
