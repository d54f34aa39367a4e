"""A virtual camera of 1280x720 that says when it gives each picture: timed_camera.py CLIP ENCODING. It shows the
first picture of the clip 30 times a second until it is terminated, and prints one line a picture, of the
steady clock in nanoseconds, before the picture goes to PipeWire. ENCODING: raw or jpeg."""

import sys
import time

import gi

gi.require_version("Gst", "1.0")
from gi.repository import GLib, Gst  # noqa: E402

FREEZE = "imagefreeze is-live=true ! video/x-raw,framerate=30/1"
ENCODINGS = {"raw": f"videoconvert ! video/x-raw,format=YUY2 ! {FREEZE}",
             "jpeg": f"{FREEZE} ! jpegenc quality=80 ! image/jpeg"}

Gst.init(None)
PIPELINE = Gst.parse_launch(
    f"filesrc location={sys.argv[1]} ! decodebin ! videoconvert ! videoscale"
    " ! video/x-raw,format=I420,width=1280,height=720,pixel-aspect-ratio=1/1"
    f" ! {ENCODINGS[sys.argv[2]]} ! identity drop-allocation=true"
    " ! pipewiresink name=camera mode=provide stream-properties=\"p,media.class=Video/Source,"
    "media.role=Camera,node.name=timed,node.description=Timed\"")


def told(_pad, _info):
    sys.stdout.write(f"{time.monotonic_ns()}\n")
    sys.stdout.flush()
    return Gst.PadProbeReturn.OK


PIPELINE.get_by_name("camera").get_static_pad("sink").add_probe(Gst.PadProbeType.BUFFER, told)
PIPELINE.set_state(Gst.State.PLAYING)
GLib.MainLoop().run()
