"""Pictures in and out, by way of ffmpeg."""

import subprocess

import numpy as np

_QUIET = ["ffmpeg", "-v", "error", "-y"]
_RAW = ["-f", "rawvideo", "-pix_fmt", "rgb24"]


def read(path, width, height):
    """Every picture of a file, as RGB."""
    command = _QUIET + ["-i", str(path), *_RAW, "-"]
    with subprocess.Popen(command, stdout=subprocess.PIPE) as process:
        size = width * height * 3
        while len(data := process.stdout.read(size)) == size:
            yield np.frombuffer(data, np.uint8).reshape(height, width, 3)
    if process.returncode != 0 or data:
        raise SystemExit(f"ffmpeg could not read {path}")


def write_lossless(path, pictures, width, height, rate):
    command = _QUIET + [*_RAW, "-s", f"{width}x{height}", "-r", str(rate), "-i", "-",
                        "-c:v", "ffv1", str(path)]
    with subprocess.Popen(command, stdin=subprocess.PIPE) as process:
        for picture in pictures:
            process.stdin.write(picture.tobytes())
        process.stdin.close()
    if process.returncode != 0:
        raise SystemExit("ffmpeg could not keep the pictures")


def encode(source, path, log, kilobits):
    """VP8 in two passes. One thread, so that the same pictures give the same file."""
    common = ["-i", str(source), "-an", "-c:v", "libvpx", "-b:v", f"{kilobits}k", "-g", "60",
              "-deadline", "best", "-auto-alt-ref", "1", "-lag-in-frames", "16", "-threads", "1",
              "-pix_fmt", "yuv420p", "-colorspace", "smpte170m", "-color_range", "tv",
              "-fflags", "+bitexact", "-flags:v", "+bitexact", "-passlogfile", str(log)]
    subprocess.run(_QUIET + common + ["-pass", "1", "-f", "null", "-"], check=True)
    subprocess.run(_QUIET + common + ["-pass", "2", "-f", "webm", str(path)], check=True)


def write_picture(path, picture):
    height, width, _ = picture.shape
    subprocess.run(_QUIET + [*_RAW, "-s", f"{width}x{height}", "-i", "-", str(path)],
                   input=picture.tobytes(), check=True)
