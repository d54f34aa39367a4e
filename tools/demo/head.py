"""A closed 3D head made of one portrait: the face takes its depth from the canonical face laid on
the landmarks, everything else swells smoothly from the outline, as a balloon does.

Axes and lengths as in face.py; a picture's row y is -y there.
"""

from dataclasses import dataclass

import numpy as np
from scipy import interpolate, ndimage, sparse
from scipy.sparse import linalg
from scipy.spatial import Delaunay

from . import face, outline

SIDES_CM = -4.0  # depth of the outline's plane in the canonical face: a little behind the ears
PIVOT_CM = (0.0, -5.0, -4.5)  # the upper neck joints, in the canonical face
SWELL = 2.6  # how round: the outline's half width over 1.24 is the depth of the back
RIM = 2.0  # pixels inside the outline that still show the background
JAW_FORWARD_CM = 2.0  # the outline runs along the jaw there, well before the ears
SHADOW = 0.55  # how dark the neck is behind the jaw
HAIR_TURN = np.radians(50)  # from here on hair is spread evenly around the head
HAIR_RIM = 0.96  # the part of the outline's distance that lies on the outline itself


def _smooth(value, start, end):
    """0 before the start, 1 after the end, smooth between."""
    share = np.clip((value - start) / (end - start), 0, 1)
    return share**2 * (3 - 2 * share)


@dataclass
class Head:
    """Points in the portrait's axes, where each lies in the texture, and the triangles."""

    points: np.ndarray
    texture_points: np.ndarray
    shade: np.ndarray  # how much light reaches a point, 0 to 1
    triangles: np.ndarray
    follow: np.ndarray  # 1: turns with the face; 0: stays still
    pivot: np.ndarray
    pose: tuple  # yaw, pitch, roll that the portrait itself has
    texture: np.ndarray
    background: np.ndarray


def _radius(angles):
    """The outline's distance from its centre in each direction."""
    trace = np.array(outline.OUTLINE) - outline.CENTRE
    steps = np.linspace(0, 1, 40, endpoint=False)[:, None]
    closed = np.vstack([trace, trace[:1]])
    dense = np.concatenate([a + steps * (b - a) for a, b in zip(closed[:-1], closed[1:])])
    around = np.arctan2(dense[:, 1], dense[:, 0])
    order = np.argsort(around)
    regular = np.linspace(-np.pi, np.pi, 1440, endpoint=False)
    lengths = np.interp(regular, around[order], np.hypot(*dense[order].T), period=2 * np.pi)
    lengths = ndimage.gaussian_filter1d(lengths, 5, mode="wrap")
    return np.interp(angles, regular, lengths, period=2 * np.pi)


def _fill(values, unknown, source=0.0):
    """Solves laplacian(values) = -source where unknown, from the values all around."""
    number = -np.ones(unknown.shape, int)
    number[unknown] = np.arange(unknown.sum())
    rows, columns, right = [], [], np.full((unknown.sum(),) + values.shape[2:], float(source))
    y, x = np.nonzero(unknown)
    for step_y, step_x in ((0, 1), (0, -1), (1, 0), (-1, 0)):
        to_y = np.clip(y + step_y, 0, unknown.shape[0] - 1)
        to_x = np.clip(x + step_x, 0, unknown.shape[1] - 1)
        inner = unknown[to_y, to_x]
        rows.append(number[y, x][inner])
        columns.append(number[to_y, to_x][inner])
        right[~inner] += values[to_y, to_x][~inner]
    rows, columns = np.concatenate(rows), np.concatenate(columns)
    system = sparse.csr_matrix((-np.ones(len(rows)), (rows, columns)), (len(y), len(y)))
    system += sparse.diags(np.full(len(y), 4.0))
    solve = linalg.factorized(system.tocsc())
    result = values.astype(float).copy()
    flat = right.reshape(len(y), -1)
    result[unknown] = np.stack([solve(c) for c in flat.T], -1).reshape(right.shape)
    return result


def _depths(inside, landmarks, plane):
    """How far the front and the back stand out from the plane of the outline, squared."""
    y, x = np.mgrid[:inside.shape[0], :inside.shape[1]].astype(float)
    first_row, middle, half_width = outline.NECK
    neck = inside & (y >= first_row)
    column = np.maximum(half_width**2 - (x - middle)**2, 0)
    column *= np.clip((outline.COLLAR - y) / 8, 0, 1)

    shape = interpolate.RBFInterpolator(landmarks[:, :2], landmarks[:, 2], smoothing=2.0)
    hull = Delaunay(landmarks[:, :2])
    cells = np.stack([x, -y], -1)
    on_face = inside & (hull.find_simplex(cells) >= 0)
    front = np.where(neck, column, 0.0)
    front[on_face] = np.maximum(shape(cells[on_face]) - plane(cells[on_face]), 1)**2
    front = _fill(front, inside & ~neck & ~on_face, SWELL)
    back = _fill(np.where(neck, column, 0.0), inside & ~neck, SWELL)
    # The depth itself has a crease where the face ends: soften it, but not at the outline.
    soft = ndimage.gaussian_filter(front, 3)
    away = ndimage.distance_transform_edt(~on_face)
    near = np.exp(-(np.minimum(away, ndimage.distance_transform_edt(on_face)) / 4)**2)
    margin = np.clip(ndimage.distance_transform_edt(inside) / 12, 0, 1)
    front += near * margin * (soft - front)
    return front, back


def _without_head(portrait, inside):
    """The portrait with the wall and the suit's ring drawn on behind the head."""
    row, column = np.mgrid[:portrait.shape[0], :portrait.shape[1]].astype(float)
    (left, left_row, left_slope), (right, right_row, right_slope) = (outline.RING_LEFT,
                                                                    outline.RING_RIGHT)
    edge = interpolate.CubicHermiteSpline([left, right], [left_row, right_row],
                                          [left_slope, right_slope])
    line = np.where(column < left, left_row, np.where(
        column > right, right_row + right_slope * (column - right), edge(column)))
    below = row - line
    hidden = ndimage.binary_dilation(inside, iterations=9) & (row < 200)

    def spread(known):
        """What is known, carried into the rest."""
        weight = ndimage.gaussian_filter(known.astype(float), 25)[..., None]
        image = ndimage.gaussian_filter(portrait * known[..., None], (25, 25, 0))
        return np.where(known[..., None], portrait, image / np.maximum(weight, 1e-6))

    wall = _fill(spread(~hidden & (below < -3)), hidden & (below < 3))
    black = np.full(portrait.shape, 12.0)
    black = _fill(np.where((~hidden & (row > 187))[..., None], portrait, black), hidden)
    share = np.clip((column - left + 3) / (right - left + 6), 0, 1)[..., None]
    at = np.clip(below, -2, outline.RING_THICKNESS + 2)

    def profile(end, end_row):
        return np.stack([ndimage.map_coordinates(plane, [end_row + at, np.full(at.shape, end)],
                                                 order=1)
                         for plane in np.moveaxis(portrait, -1, 0)], -1)

    ring = profile(left - 3, left_row) * (1 - share) + profile(right + 4, right_row + 3.6) * share
    inner = _smooth(below, outline.RING_THICKNESS - 1, outline.RING_THICKNESS + 1)[..., None]
    behind = wall + _smooth(below, -1, 1)[..., None] * (ring + inner * (black - ring) - wall)
    blend = ndimage.gaussian_filter(hidden.astype(float), 2.0)[..., None]
    return portrait + blend * (behind - portrait)


def _texture(portrait, inside):
    """The head's colours, carried on beyond the outline and softer there: on skin, what is drawn
    out sideways must not show as streaks."""
    core = ndimage.distance_transform_edt(inside) > RIM
    outside, nearest = ndimage.distance_transform_edt(~core, return_indices=True)
    texture = portrait[nearest[0], nearest[1]]
    weight = ndimage.gaussian_filter(core.astype(float), (5, 2))[..., None]
    soft = ndimage.gaussian_filter(portrait * core[..., None], (5, 2, 0)) / np.maximum(weight, 1e-6)
    soft = np.where(weight > 1e-3, soft, texture)
    row = np.arange(len(inside))[:, None]
    skin = _smooth(row, 116, 130) * (1 - _smooth(row, 182, 187))
    return texture + (skin * _smooth(outside, -1, 4))[..., None] * (soft - texture)


def _triangles(rings, spokes):
    """Of a closed band of points, `spokes` in each of the rings."""
    i, j = np.mgrid[:rings - 1, :spokes]
    corner = [a * spokes + b % spokes for a, b in ((i, j), (i + 1, j), (i + 1, j + 1), (i, j + 1))]
    return np.concatenate([np.stack([corner[0], corner[1], corner[2]], -1).reshape(-1, 3),
                           np.stack([corner[0], corner[2], corner[3]], -1).reshape(-1, 3)])


def _angles(turn):
    return (np.degrees(np.arctan2(turn[0, 2], turn[2, 2])), np.degrees(np.arcsin(turn[1, 2])),
            np.degrees(np.arctan2(turn[1, 0], turn[1, 1])))


def _hair(share, turn_back, along, is_back):
    """How far out from the middle each point's colour is taken. `along` is the outline's height."""
    # What no portrait shows, the back, mirrors what lies along the outline. The outline itself
    # faces sideways, where one column of hair would smear over a broad band: spread it evenly.
    hair = 1 - _smooth(along, 106, 128)
    even = np.sin(HAIR_TURN) + (turn_back - HAIR_TURN) * (
        (HAIR_RIM - np.sin(HAIR_TURN)) / (np.pi / 2 - HAIR_TURN))
    spread_hair = np.where(turn_back < HAIR_TURN, share, even)
    skin = np.where(is_back[:, None], 1 + 0.15 * (1 - share), share)
    return hair * spread_hair + (1 - hair) * skin


def build(portrait, landmarks, canonical, weights, rings=64, spokes=400):
    """The head of an RGB portrait whose 468 landmarks are given in this tool's axes."""
    portrait = portrait.astype(float)
    turn, scale, shift = face.fit(canonical, weights, landmarks)
    laid = scale * canonical @ turn.T + shift
    landmarks = np.column_stack([landmarks[:, :2], laid[:, 2]])
    normal = turn[:, 2]
    base = shift + scale * SIDES_CM * normal

    def plane(cells):
        jaw = _smooth(-cells[..., 1], 125, 150) - _smooth(-cells[..., 1], 176, 196)
        return (base[2] - ((cells - base[:2]) @ normal[:2]) / normal[2]
                + JAW_FORWARD_CM * scale * jaw)

    y, x = np.mgrid[:portrait.shape[0], :portrait.shape[1]]
    from_centre = np.stack([x, y], -1) - np.array(outline.CENTRE)
    inside = np.hypot(*np.moveaxis(from_centre, -1, 0)) < _radius(
        np.arctan2(from_centre[..., 1], from_centre[..., 0]))
    front, back = _depths(inside, landmarks, plane)

    # Two sheets that meet at the outline; equal steps of angle make the rings dense there.
    angles = np.linspace(-np.pi, np.pi, spokes, endpoint=False)
    turn_back = np.concatenate([np.linspace(0, np.pi / 2, rings),
                                np.linspace(np.pi / 2, 0, rings)[1:]])[:, None]
    is_back = np.arange(len(turn_back)) >= rings
    length = _radius(angles)

    def spread(share):
        return np.stack([outline.CENTRE[0] + share * length * np.cos(angles),
                         outline.CENTRE[1] + share * length * np.sin(angles)], -1)

    share = np.sin(turn_back)
    where = spread(share)
    at = [where[..., 1], where[..., 0]]
    squared = np.where(is_back[:, None], ndimage.map_coordinates(back, at, order=1),
                       ndimage.map_coordinates(front, at, order=1))
    squared[rings - 1] = 0
    out = np.sqrt(np.maximum(squared, 0)) * np.where(is_back, -1, 1)[:, None]
    flat = np.stack([where[..., 0], -where[..., 1]], -1)
    points = np.dstack([flat, plane(flat) + out])
    texture_points = spread(_hair(share, turn_back, where[rings - 1, :, 1], is_back))
    behind = plane(flat) + 4 - points[..., 2]
    shade = 1 - SHADOW * _smooth(behind, 0, 22) * _smooth(where[..., 1], 112, 130)
    follow = 1 - _smooth(where[..., 1], outline.CHIN, outline.COLLAR)
    return Head(points.reshape(-1, 3), texture_points.reshape(-1, 2), shade.ravel(),
                _triangles(len(turn_back), spokes), follow.ravel(), scale * turn @ PIVOT_CM + shift,
                _angles(turn), _texture(portrait, inside), _without_head(portrait, inside))
