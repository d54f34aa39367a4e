"""A virtual camera of 1280x720 in which a head turns: moving_camera.py PICTURES RATE. It shows the 640x480
pictures in YUY2 of a file again and again, 30 a second, and announces RATE; until it is terminated it
prints a line for each picture that goes to PipeWire, its number and the steady clock in nanoseconds."""

import sys
import time

import gi

gi.require_version("Gst", "1.0")
from gi.repository import Gst  # noqa: E402

SIZE = 640 * 480 * 2
FRAMES_PER_SECOND = 30

Gst.init(None)
PIPELINE = Gst.parse_launch(
    f"appsrc name=source format=time is-live=true caps=video/x-raw,format=YUY2,width=640,height=480,"
    f"framerate={sys.argv[2]}/1,pixel-aspect-ratio=1/1,interlace-mode=progressive"
    " ! videoscale ! video/x-raw,width=1280,height=720,pixel-aspect-ratio=1/1"
    " ! identity drop-allocation=true"
    " ! pipewiresink name=camera sync=false mode=provide stream-properties=\"p,media.class=Video/Source,"
    "media.role=Camera,node.name=moving,node.description=Moving\"")


def told(_pad, info):
    number = round(info.get_buffer().pts * FRAMES_PER_SECOND / Gst.SECOND)
    sys.stdout.write(f"{number} {time.monotonic_ns()}\n")
    sys.stdout.flush()
    return Gst.PadProbeReturn.OK


def main():
    with open(sys.argv[1], "rb") as file:
        pictures = file.read()
    source = PIPELINE.get_by_name("source")
    PIPELINE.get_by_name("camera").get_static_pad("sink").add_probe(Gst.PadProbeType.BUFFER, told)
    PIPELINE.set_state(Gst.State.PLAYING)
    begin = time.monotonic()
    number = 0
    while True:
        time.sleep(max(0, begin + number / FRAMES_PER_SECOND - time.monotonic()))
        at = number % (len(pictures) // SIZE) * SIZE
        picture = Gst.Buffer.new_wrapped(pictures[at:at + SIZE])
        picture.pts = number * Gst.SECOND // FRAMES_PER_SECOND
        picture.duration = Gst.SECOND // FRAMES_PER_SECOND
        source.emit("push-buffer", picture)
        number += 1


main()
