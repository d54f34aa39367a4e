"""How old the angle of a live camera is that a receiver holds: live_angles.py PROGRAM CLIP ANGLES [SECONDS]
prints JSON. In a PipeWire session of its own a virtual camera of 30 pictures a second shows the clip, whose
true angles are known, and the program follows it at its default rate. First the camera says what it is, so
that the delivery keeps the beat; then it says that it gives 31, for which it does not.

beat, no_beat: of each
  messages_per_second  datagrams that arrived
  angles_per_second    of those, with another angle than the one before
  pictures_per_second  that the camera gave
  held_ms              from the turn of the head to the value that a receiver holds: the shift at which
                       what is held follows the true yaw best
  fit                  the correlation at that shift
"""

import bisect
import csv
import json
import math
import os
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

from private_session import Session

HERE = os.path.dirname(os.path.realpath(__file__))
PROGRAM, CLIP, ANGLES = sys.argv[1:4]
SECONDS = int(sys.argv[4]) if len(sys.argv) > 4 else 30
# The filter comes from zero, and the beat from nothing.
SKIPPED = 2


def decoded(folder):
    path = os.path.join(folder, "pictures.yuy2")
    subprocess.run(["gst-launch-1.0", "-q", "filesrc", f"location={CLIP}", "!", "decodebin", "!",
                    "videoconvert", "!", "video/x-raw,format=YUY2,width=640,height=480", "!",
                    "filesink", f"location={path}"], check=True, stdout=subprocess.DEVNULL)
    return path


class Camera:
    """The moving one; `shown` are the numbers and times of its pictures."""

    def __init__(self, session, pictures, rate):
        self.shown = []
        self.process = session.run("/usr/bin/python3", "-B",
                                   os.path.join(HERE, "moving_camera.py"), pictures, str(rate),
                                   stdout=subprocess.PIPE)
        self.reader = threading.Thread(target=self.read)
        self.reader.start()
        while len(self.shown) < 30 and self.process.poll() is None:
            time.sleep(0.01)

    def read(self):
        for line in self.process.stdout:
            number, when = line.split()
            self.shown.append((int(number), int(when) / 1e9))

    def close(self):
        self.process.terminate()
        self.process.wait()
        self.reader.join()


def tracking(session):
    """(time, pan) of the datagrams of one run."""
    datagrams = []
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as receiver:
        receiver.bind(("127.0.0.1", 0))
        receiver.settimeout(2)
        process = session.run(PROGRAM, "--input", "camera_moving", "--duration", str(SECONDS),
                              "--port", str(receiver.getsockname()[1]),
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            while True:
                datagram = receiver.recv(256)
                datagrams.append((time.monotonic(), struct.unpack(">f", datagram[-12:-8])[0]))
        except TimeoutError:
            pass
        if process.wait() != 0:
            sys.exit("live_angles.py: the program failed")
    return [each for each in datagrams if each[0] > datagrams[0][0] + SKIPPED]


def correlation(pairs):
    count = len(pairs)
    mean = [sum(each[side] for each in pairs) / count for side in (0, 1)]
    both = sum((x - mean[0]) * (y - mean[1]) for x, y in pairs)
    return both / math.sqrt(sum((x - mean[0]) ** 2 for x, _ in pairs) *
                            sum((y - mean[1]) ** 2 for _, y in pairs))


def held_delay(shown, yaws, datagrams):
    """(milliseconds, correlation) of the best shift between what is held and what the head did."""
    times = [when for _, when in shown]
    truth = [yaws[number % len(yaws)] for number, _ in shown]
    sent = [when for when, _ in datagrams]

    def turned(when):
        after = bisect.bisect(times, when)
        share = (when - times[after - 1]) / (times[after] - times[after - 1])
        return truth[after - 1] + share * (truth[after] - truth[after - 1])

    moments = [sent[0] + 0.01 * step for step in range(int((sent[-1] - sent[0]) / 0.01))]
    held = [datagrams[bisect.bisect(sent, moment) - 1][1] for moment in moments]

    def fit(shift):
        return abs(correlation([(value, turned(moment - shift))
                                for value, moment in zip(held, moments)
                                if times[0] < moment - shift < times[-1]]))

    # In a coarse and in a fine step: it has one maximum.
    coarse = max((0.01 * step for step in range(50)), key=fit)
    best = max((coarse + 0.001 * step for step in range(-10, 11)), key=fit)
    return 1e3 * best, fit(best)


def measured(session, pictures, rate, yaws):
    camera = Camera(session, pictures, rate)
    try:
        datagrams = tracking(session)
    finally:
        camera.close()
    lasting = datagrams[-1][0] - datagrams[0][0]
    held, fit = held_delay(camera.shown, yaws, datagrams)
    changes = sum(a[1] != b[1] for a, b in zip(datagrams, datagrams[1:]))
    return {"messages_per_second": (len(datagrams) - 1) / lasting,
            "angles_per_second": changes / lasting,
            "pictures_per_second": (len(camera.shown) - 1) /
                                   (camera.shown[-1][1] - camera.shown[0][1]),
            "held_ms": held, "fit": fit}


def main():
    with open(ANGLES, newline="", encoding="utf-8") as table:
        yaws = [float(row["yaw_deg"]) for row in csv.DictReader(table)]
    with tempfile.TemporaryDirectory() as folder:
        pictures = decoded(folder)
        session = Session(folder, os.path.dirname(PROGRAM))
        try:
            report = {name: measured(session, pictures, rate, yaws)
                      for name, rate in (("beat", 30), ("no_beat", 31))}
        finally:
            session.close()
    print(json.dumps(report))


main()
