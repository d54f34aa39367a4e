"""What live cameras cost: live_cameras.py BIN CLIP. In a PipeWire session of its own with virtual cameras, as
JSON: milliseconds to list two cameras, from start to first frame, from the camera's giving a picture
to its datagram, from the unplugging to the shorter list, the share of a core of the whole program,
and what two hundred starts leave behind."""

import json
import os
import re
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

from private_session import Session

HERE = os.path.dirname(os.path.realpath(__file__))
PROGRAM = os.path.join(sys.argv[1], "velmaro-cli")
BENCHMARK = os.path.join(sys.argv[1], "benchmark_live")
CLIP = sys.argv[2]
SECONDS = 10


def listing(session):
    """Median milliseconds of `--list-inputs` with two cameras."""
    took = []
    for _ in range(9):
        begin = time.monotonic()
        process = session.run(PROGRAM, "--list-inputs", stdout=subprocess.PIPE)
        lines = process.communicate()[0].splitlines()
        took.append(1e3 * (time.monotonic() - begin))
        assert len(lines) == 2, lines
    return statistics.median(took[1:])


def unplugging(session):
    """Median milliseconds from the end of a camera to the line that counts the cameras without it."""
    took = []
    for _ in range(5):
        session.plug_in("pulled")
        process = session.run(PROGRAM, "--input", "camera_pulled", stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL)
        for line in process.stdout:
            if "Session started running" in line:
                break
        counted = threading.Event()
        moment = []

        def watch(lines=process.stdout, counted=counted, moment=moment):
            for line in lines:
                if line.startswith("📷 Found 2 cameras:"):
                    moment.append(time.monotonic())
                    counted.set()

        reader = threading.Thread(target=watch)
        reader.start()
        begin = time.monotonic()
        session.tell("unplug pulled")
        assert counted.wait(10), "the list was not shortened"
        took.append(1e3 * (moment[0] - begin))
        process.terminate()
        process.wait()
        reader.join()
    return statistics.median(took)


def starting(session):
    done = session.run(BENCHMARK, "--benchmark_format=json", stdout=subprocess.PIPE)
    run = json.loads(done.communicate()[0])["benchmarks"][0]
    return {name: run[name] for name in ("median_ms", "threads", "files", "kilobytes")}


class Timed:
    """The camera that tells when it gives its pictures."""

    def __init__(self, session, encoding):
        self.times = []
        self.process = session.run("/usr/bin/python3", "-B",
                                   os.path.join(HERE, "timed_camera.py"), CLIP, encoding,
                                   stdout=subprocess.PIPE)
        self.thread = threading.Thread(target=self.read)
        self.thread.start()
        while len(self.times) < 5 and self.process.poll() is None:
            time.sleep(0.01)
        time.sleep(1)

    def read(self):
        for line in self.process.stdout:
            self.times.append(int(line))

    def close(self):
        self.process.terminate()
        self.process.wait()
        self.thread.join()


def tracking(session, seconds, *arguments):
    """Runs the program for so long: (nanoseconds of its datagrams, processor seconds, pictures
    analysed in a second, of the seconds after the first)."""
    arrivals = []
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as receiver, \
            tempfile.TemporaryFile("w+") as errors:
        receiver.bind(("127.0.0.1", 0))
        process = session.run(PROGRAM, "--input", "camera_timed", "--duration", str(seconds),
                              "--port", str(receiver.getsockname()[1]), "--stats", *arguments,
                              stdout=subprocess.DEVNULL, stderr=errors)
        receiver.settimeout(2)
        try:
            while True:
                receiver.recv(256)
                arrivals.append(time.monotonic_ns())
        except TimeoutError:
            pass
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        assert process.returncode == 0, process.returncode
        errors.seek(0)
        analysed = [int(count) for count in re.findall(r"analysed ([0-9]+),", errors.read())][1:]
    return arrivals, usage.ru_utime + usage.ru_stime, statistics.mean(analysed or [0])


def delays(pictures, datagrams):
    """Milliseconds from the latest picture to each datagram, but for those of the first second."""
    found = []
    index = 0
    for datagram in datagrams[30:]:
        while index + 1 < len(pictures) and pictures[index + 1] < datagram:
            index += 1
        found.append((datagram - pictures[index]) / 1e6)
    return sorted(found)


def cost(session, encoding):
    camera = Timed(session, encoding)
    _, short, _ = tracking(session, 2)
    arrivals, whole, analysed = tracking(session, 2 + SECONDS, "--rate", "1000")
    camera.close()
    percent = 100 * (whole - short) / SECONDS
    return percent, delays(camera.times, arrivals), analysed


def main():
    report = {}
    with tempfile.TemporaryDirectory() as folder:
        session = Session(folder, sys.argv[1])
        try:
            session.plug_in("left")
            report.update({f"start_{name}": value for name, value in starting(session).items()})
            session.plug_in("right")
            report["list_ms"] = listing(session)
            report["unplug_ms"] = unplugging(session)
            session.tell("unplug left")
            session.tell("unplug right")
            report["raw_percent"], found, report["raw_analysed"] = cost(session, "raw")
            report["delay_p50_ms"] = found[len(found) // 2]
            report["delay_p99_ms"] = found[len(found) * 99 // 100]
            report["jpeg_percent"], _, report["jpeg_analysed"] = cost(session, "jpeg")
        finally:
            session.close()
    print(json.dumps(report))


main()
