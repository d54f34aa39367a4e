"""The face in the portrait: its landmarks, the canonical face, and how one lies on the other.

Axes of this tool: x to the image's right, y up, z towards the camera. Lengths in portrait pixels.
"""

import json
import struct
import subprocess

import numpy as np


def rotation(yaw, pitch, roll):
    """Turn about y by yaw, about x by -pitch, about z by roll; degrees, arrays allowed."""
    yaw, pitch, roll = (np.radians(np.asarray(angle, float)) for angle in (yaw, pitch, roll))
    one, zero = np.ones_like(yaw), np.zeros_like(yaw)

    def matrix(*rows):
        return np.stack([np.stack(row, -1) for row in rows], -2)

    sin, cos = np.sin, np.cos
    about_y = matrix((cos(yaw), zero, sin(yaw)), (zero, one, zero), (-sin(yaw), zero, cos(yaw)))
    about_x = matrix((one, zero, zero), (zero, cos(pitch), sin(pitch)),
                     (zero, -sin(pitch), cos(pitch)))
    about_z = matrix((cos(roll), -sin(roll), zero), (sin(roll), cos(roll), zero),
                     (zero, zero, one))
    return about_y @ about_x @ about_z


def probe(program, image):
    """What facemesh-probe finds in an RGB picture: a list of faces."""
    height, width, _ = image.shape
    pixmap = b"P6 %d %d 255\n" % (width, height) + image.astype(np.uint8).tobytes()
    answer = subprocess.run([program], input=pixmap, stdout=subprocess.PIPE, check=True)
    return json.loads(answer.stdout)["faces"]


def _fields(message):
    """The fields of a protobuf message, as (number, value) pairs."""
    at = 0

    def varint():
        nonlocal at
        value = shift = 0
        while True:
            byte = message[at]
            at += 1
            value |= (byte & 127) << shift
            shift += 7
            if byte < 128:
                return value

    while at < len(message):
        key = varint()
        if key & 7 == 0:
            yield key >> 3, varint()
        else:
            size = {1: 8, 5: 4}[key & 7] if key & 7 in (1, 5) else varint()
            yield key >> 3, message[at:at + size]
            at += size


def _floats(value):
    return struct.unpack(f"<{len(value) // 4}f", value)


def canonical_face(path):
    """The 468 points of the canonical face in centimetres, and the weight of each in a fit."""
    with open(path, "rb") as file:
        content = file.read()
    numbers, weights = [], np.zeros(468)
    for field, value in _fields(content):
        if field == 1:  # the mesh, whose field 3 is the vertex buffer: x, y, z, u, v
            for part, piece in _fields(value):
                if part == 3:
                    numbers.extend(_floats(piece))
        elif field == 2:  # a point of the fit: number, weight
            point = dict(_fields(value))
            weights[point.get(1, 0)] = _floats(point[2])[0]
    points = np.array(numbers).reshape(468, 5)[:, :3]
    return points, weights


def fit(canonical, weights, points):
    """Rotation, scale and shift that lay the canonical face on the points, by weighted Procrustes
    analysis (Umeyama, "Least-squares estimation of transformation parameters between two point
    patterns", 1991)."""
    share = (weights / weights.sum())[:, None]
    middle, target = (share * canonical).sum(0), (share * points).sum(0)
    source, found = canonical - middle, points - target
    u, _, vt = np.linalg.svd((share * found).T @ source)
    turn = u @ np.diag([1, 1, np.sign(np.linalg.det(u @ vt))]) @ vt
    turned = source @ turn.T
    # The depth of the found points is the least certain: the scale comes from x and y alone.
    scale = (share * turned * found)[:, :2].sum() / (share * turned**2)[:, :2].sum()
    return turn, scale, target - scale * turn @ middle
