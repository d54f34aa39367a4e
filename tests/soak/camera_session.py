"""A virtual camera that can be pulled out, of a PipeWire that can be killed."""

import os
import shutil
import subprocess
import tempfile
import time

from tracking import PATIENCE, Failure, run

CAMERA_RATE = 15
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SESSION = os.path.join(ROOT, "tests", "integration", "live", "pipewire-session")
VIRTUAL_CAMERA = os.path.join(ROOT, "build", "release", "bin", "virtual-camera")
FACE = (f"filesrc location={ROOT}/assets/demo/demo.webm ! decodebin ! videoscale ! "
        "video/x-raw,width=640,height=360 ! imagefreeze is-live=true ! "
        f"video/x-raw,framerate={CAMERA_RATE}/1")
TOOLS = ("dbus-run-session", "pipewire", "wireplumber", "pw-cli", VIRTUAL_CAMERA)


class CameraSession:
    """A PipeWire of its own with one camera, which shows a face."""

    @staticmethod
    def missing():
        return ", ".join(tool for tool in TOOLS if not shutil.which(tool))

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.process = subprocess.Popen([SESSION, self.folder.name, VIRTUAL_CAMERA],
                                        stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL, text=True)
        self.answers = 0
        self._await()
        self.plug_in()

    def environment(self):
        return {"XDG_RUNTIME_DIR": self.folder.name, "PIPEWIRE_RUNTIME_DIR": self.folder.name,
                "PIPEWIRE_REMOTE": "pipewire-0"}

    def plug_in(self):
        self.tell("camera face YUY2 " + FACE)

    def tell(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        self._await()

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.folder.cleanup()

    def _await(self):
        answer = os.path.join(self.folder.name, f"done.{self.answers}")
        self.answers += 1
        deadline = time.monotonic() + 3 * PATIENCE
        while not os.path.exists(answer):
            if time.monotonic() > deadline:
                raise Failure("the PipeWire session does not answer")
            time.sleep(0.01)
