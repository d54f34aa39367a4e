"""A PipeWire session of its own with virtual cameras, for the benchmarks."""

import os
import subprocess
import sys
import time

SESSION = os.path.join(os.path.dirname(os.path.realpath(__file__)),
                       "../tests/integration/live/pipewire-session")


class Session:
    """PipeWire with its sockets in `folder`, commanded by lines. `programs` is where those of the
    build are."""

    def __init__(self, folder, programs):
        self.folder = folder
        self.answers = 0
        camera = os.path.abspath(os.path.join(programs, "virtual-camera"))
        self.process = subprocess.Popen([SESSION, folder, camera], stdin=subprocess.PIPE, text=True,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.variables = {**os.environ, "XDG_RUNTIME_DIR": folder, "XDG_CONFIG_HOME": folder,
                          "PIPEWIRE_RUNTIME_DIR": folder, "PIPEWIRE_REMOTE": "pipewire-0"}
        self.wait()

    def wait(self):
        answer = os.path.join(self.folder, f"done.{self.answers}")
        self.answers += 1
        deadline = time.monotonic() + 30
        while not os.path.exists(answer):
            if time.monotonic() > deadline or self.process.poll() is not None:
                sys.exit("the PipeWire session does not answer")
            time.sleep(0.005)

    def tell(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        self.wait()

    def plug_in(self, name, encoding="YUY2"):
        self.tell(f"camera {name} {encoding} videotestsrc is-live=true"
                  " ! video/x-raw,width=640,height=480,framerate=30/1")

    def run(self, *command, **options):
        return subprocess.Popen(command, env=self.variables, text=True, **options)

    def close(self):
        self.process.stdin.close()
        self.process.wait()
