"""What the headphones' path costs, from outside: headphones.py VELMARO_CLI [SECONDS]. As JSON: the
milliseconds from a sample's arrival by UDP to the datagram that it causes (p50, p99), the same with
nothing but an echo in between, and the share of a core at 100 samples a second.

Program and echo take turns, and each figure is the median of its rounds: what else the machine does
comes in bursts, and one burst makes the p99 of a single round."""

import json
import math
import os
import socket
import statistics
import struct
import subprocess
import sys
import tempfile
import threading
import time

from cost import cpu_seconds

PERIOD = 0.01
ROUNDS = 5


def loopback():
    sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sock.bind(("127.0.0.1", 0))
    return sock


def free_port():
    with loopback() as sock:
        return sock.getsockname()[1]


def samples():
    """A head that turns, so that every sample differs."""
    count = 0
    while True:
        yield struct.pack("<6d", 0, 0, 0, 30 * math.sin(count / 20), 10 * math.sin(count / 33), 0)
        count += 1


def drain(receiver):
    receiver.setblocking(False)
    try:
        while receiver.recv(256):
            pass
    except BlockingIOError:
        receiver.settimeout(10)


def round_trips(port, receiver, seconds):
    """Sends samples at their pace, each after the answer to the last; the times between them."""
    times, source = [], samples()
    with loopback() as sender:
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            # What came late must not pass for the next answer.
            drain(receiver)
            begin = time.perf_counter()
            sender.sendto(next(source), ("127.0.0.1", port))
            receiver.recv(256)
            times.append(time.perf_counter() - begin)
            time.sleep(max(0.0, begin + PERIOD - time.perf_counter()))
    return times


def percentiles(times):
    times = sorted(times)
    return [1e3 * times[int(share * len(times))] for share in (0.5, 0.99)]


def echo(seconds):
    """The same round trip through a thread that only sends back what comes."""
    with loopback() as server, loopback() as receiver:
        receiver.settimeout(10)
        goal = receiver.getsockname()

        def serve():
            while data := server.recv(256):
                server.sendto(data, goal)

        thread = threading.Thread(target=serve, daemon=True)
        thread.start()
        times = round_trips(server.getsockname()[1], receiver, seconds)
        server.sendto(b"", server.getsockname())
        thread.join()
    return percentiles(times)


def main():
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 10.0
    with tempfile.TemporaryDirectory() as folder, loopback() as receiver:
        receiver.settimeout(10)
        port = free_port()
        # A rate that drops no sample.
        process = subprocess.Popen(
            [sys.argv[1], "--motion-udp", str(port), "--input", "airpods", "--rate", "1000000",
             "--port", str(receiver.getsockname()[1])],
            env={**os.environ, "XDG_CONFIG_HOME": folder}, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        try:
            connect(port, receiver)
            round_trips(port, receiver, 0.5)
            path, bare, cost, count = [], [], 0, 0
            for _ in range(ROUNDS):
                before = cpu_seconds(process)
                times = round_trips(port, receiver, seconds / ROUNDS)
                cost += cpu_seconds(process) - before
                count += len(times)
                path.append(percentiles(times))
                bare.append(echo(seconds / 2 / ROUNDS))
        finally:
            process.terminate()
            process.wait()
    p50, p99 = map(statistics.median, zip(*path))
    echo_p50, echo_p99 = map(statistics.median, zip(*bare))
    print(json.dumps({"p50_ms": p50, "p99_ms": p99, "echo_p50_ms": echo_p50,
                      "echo_p99_ms": echo_p99, "samples_per_second": count / seconds,
                      "cost_percent": 100 * cost / seconds}))


def connect(port, receiver):
    """Sends until the program sends."""
    source, deadline = samples(), time.monotonic() + 10
    receiver.settimeout(0.1)
    with loopback() as sender:
        while time.monotonic() < deadline:
            sender.sendto(next(source), ("127.0.0.1", port))
            try:
                receiver.recv(256)
                return
            except TimeoutError:
                continue
    sys.exit("headphones.py: the program sends nothing")


if __name__ == "__main__":
    main()
