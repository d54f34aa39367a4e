"""What the head does: right, left, up, down, with rests in the middle; ends as it begins."""

import math

FRAMES_PER_SECOND = 30

# From this second on, the head moves for so many seconds to this yaw and pitch (degrees), easing
# in and out along half a cosine, and rests there until the next entry.
MOVES = [
    (0.5, 1.2, 40.0, 0.0),
    (1.9, 2.0, -40.0, 0.0),
    (4.1, 1.2, 0.0, 0.0),
    (5.7, 0.9, 0.0, 20.0),
    (6.8, 1.4, 0.0, -20.0),
    (8.4, 0.9, 0.0, 0.0),
]
SECONDS = 10.0


def angles(time):
    """Yaw, pitch and roll at a time."""
    yaw = pitch = 0.0
    for start, length, to_yaw, to_pitch in MOVES:
        share = (1 - math.cos(math.pi * min(max((time - start) / length, 0), 1))) / 2
        yaw += share * (to_yaw - yaw)
        pitch += share * (to_pitch - pitch)
    return yaw, pitch, 0.0


def frames():
    """Number, time and angles of every frame."""
    for number in range(round(SECONDS * FRAMES_PER_SECOND)):
        time = number / FRAMES_PER_SECOND
        yield (number, time) + angles(time)
