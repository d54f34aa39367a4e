"""How old an angle is when it arrives: angle_delay.py PROGRAM RATE prints JSON.

The demonstration plays for some seconds. The log tells of each analysed frame its angle before and
after the filter; a datagram holds the filtered angle of an earlier frame, to the last bit, and so it is
known whose it is. Times are taken outside the program, by one clock.

messages_per_second  datagrams that arrived
analysed_per_second  frames that the detector took
angle_p50_ms, _p99   from a frame's arrival to the datagram that holds its angle
filter_ms            how far the filter trails a steady turn, by arithmetic
held_ms              how far what a receiver holds trails what the frames show, as measured
"""

import bisect
import json
import re
import socket
import statistics
import struct
import subprocess
import sys
import threading
import time

SECONDS = 21
# Before it the clip has hardly begun, and the filter comes from zero.
SKIPPED = 1
# The filter's share of the newest angle.
SHARE = 0.3
CALCULATED = re.compile(r"Pan=([-0-9.]+)°.*Smoothed: Pan=([-0-9.]+)°")


def single(text):
    """The single-precision value that a decimal stands for."""
    return struct.unpack("f", struct.pack("f", float(text)))[0]


def run(program, rate):
    """(time, raw pan, filtered pan) of the frames, (time, pan) of the datagrams, the program's errors."""
    frames, datagrams, errors = [], [], []
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as receiver:
        receiver.bind(("127.0.0.1", 0))
        receiver.settimeout(0.5)
        process = subprocess.Popen(
            [program, "--demo", "--stats", "--duration", str(SECONDS), "--rate", str(rate), "--port",
             str(receiver.getsockname()[1])], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

        def read_log():
            for line in process.stdout:
                now = time.monotonic()
                if found := CALCULATED.search(line):
                    frames.append((now, single(found[1]), single(found[2])))

        readers = [threading.Thread(target=read_log),
                   threading.Thread(target=lambda: errors.extend(process.stderr))]
        for reader in readers:
            reader.start()
        while process.poll() is None:
            try:
                datagram = receiver.recv(256)
            except TimeoutError:
                continue
            datagrams.append((time.monotonic(), struct.unpack(">f", datagram[-12:-8])[0]))
        for reader in readers:
            reader.join()
    return frames, datagrams, "".join(errors)


def ages(frames, datagrams):
    """Milliseconds from the log's line of a frame to the datagram that holds its angle."""
    times = [each[0] for each in frames]
    found = []
    for when, pan in datagrams:
        # Few frames back at most. The sign is the other way round in what is sent.
        for index in range(bisect.bisect(times, when) - 1, max(bisect.bisect(times, when) - 10, -1), -1):
            if frames[index][2] == -pan:
                found.append((when - times[index]) * 1e3)
                break
    return found


def held_delay(frames, datagrams):
    """The shift, in milliseconds, at which the held pan fits best what the frames show."""
    times, pans = [each[0] for each in frames], [-each[1] for each in frames]
    sent_times, sent = [each[0] for each in datagrams], [each[1] for each in datagrams]

    def shown(when):
        after = bisect.bisect(times, when)
        share = (when - times[after - 1]) / (times[after] - times[after - 1])
        return pans[after - 1] + share * (pans[after] - pans[after - 1])

    begin, end = sent_times[0] + SKIPPED, min(sent_times[-1], times[-1])
    moments = [begin + 0.004 * step for step in range(int((end - begin) / 0.004))]
    held = [sent[bisect.bisect(sent_times, moment) - 1] for moment in moments]

    def misfit(shift):
        return sum((value - shown(moment - shift)) ** 2
                   for value, moment in zip(held, moments) if moment - shift > times[0])

    return 1e3 * min((step / 500 for step in range(0, 200)), key=misfit)


def main():
    frames, datagrams, errors = run(sys.argv[1], int(sys.argv[2]))
    lasting = datagrams[-1][0] - datagrams[0][0]
    analysed = (len(frames) - 1) / (frames[-1][0] - frames[0][0])
    age = sorted(ages(frames, datagrams))
    # From its arrival to its line in the log a frame takes about as long as to its own datagram.
    analysis = statistics.median(float(each) for each in re.findall(r"p50 ([0-9.]+) ms", errors))
    print(json.dumps({
        "messages_per_second": (len(datagrams) - 1) / lasting,
        "analysed_per_second": analysed,
        "matched": len(age) / len(datagrams),
        "angle_p50_ms": analysis + statistics.median(age),
        "angle_p99_ms": analysis + age[int(0.99 * (len(age) - 1))],
        "filter_ms": 1e3 * (1 - SHARE) / SHARE / analysed,
        "held_ms": analysis + held_delay(frames, datagrams)}))


if __name__ == "__main__":
    main()
