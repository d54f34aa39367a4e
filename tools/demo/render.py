"""One picture of the turned head: a pinhole camera and a z-buffer, twice as fine as the result."""

import numpy as np
from scipy import ndimage

from . import face

WIDTH, HEIGHT = 640, 480
FINE = 2
ZOOM = 1.8  # picture pixels for one portrait pixel, at the depth of the pivot
DISTANCE_CM = 75.0  # from the camera to the pivot: a person at a desk
EDGE = 1.6  # softness of the head's outline, in fine pixels
TEXELS = 4  # texture samples for one portrait pixel


def turned(head, yaw, pitch, roll):
    """The head's points at a pose: its own pose is taken away first, so that 0 is frontal."""
    share = head.follow
    towards = face.rotation(share * yaw, share * pitch, share * roll)
    own = face.rotation(*(share * angle for angle in head.pose))
    arms = np.einsum("nji,nj->ni", own, head.points - head.pivot)
    return np.einsum("nij,nj->ni", towards, arms) + head.pivot


def _soften(colour, cover):
    """Hair has no hard edge: softens the outline of what covers the picture, and nothing else."""
    soft = ndimage.gaussian_filter(cover, (EDGE, EDGE, 0))
    edge = np.clip(8 * soft * (1 - soft), 0, 1)
    colour += edge * (ndimage.gaussian_filter(colour, (EDGE, EDGE, 0)) - colour)
    cover += edge * (soft - cover)


def _coarse(image):
    return image.reshape(HEIGHT, FINE, WIDTH, FINE, -1).mean((1, 3))


class Camera:
    def __init__(self, head, scale):
        self.head = head
        self.distance = DISTANCE_CM * scale
        self.centre = np.array([head.pivot[0], -HEIGHT / ZOOM / 2])
        rows = (np.arange(HEIGHT) + 0.5) / ZOOM - 0.5
        columns = self.centre[0] + (np.arange(WIDTH) + 0.5 - WIDTH / 2) / ZOOM
        at = np.stack(np.meshgrid(rows, columns, indexing="ij"))
        self.background = self._sample(head.background, at)
        self.texture = np.stack([ndimage.zoom(plane, TEXELS, order=3, mode="nearest",
                                              grid_mode=True)
                                 for plane in np.moveaxis(head.texture, -1, 0).astype(float)], -1)

    @staticmethod
    def _sample(image, at):
        return np.stack([ndimage.map_coordinates(plane, at, order=3, mode="nearest")
                         for plane in np.moveaxis(image.astype(float), -1, 0)], -1)

    def picture(self, yaw, pitch, roll):
        points = turned(self.head, yaw, pitch, roll)
        nearness = self.distance / (self.distance - points[:, 2] + self.head.pivot[2])
        screen = (points[:, :2] - self.centre) * [1, -1] * nearness[:, None] * ZOOM * FINE
        screen += np.array([WIDTH, HEIGHT]) * FINE / 2
        colour, cover = self._raster(screen, nearness)
        return np.clip(colour + (1 - cover) * self.background + 0.5, 0, 255).astype(np.uint8)

    def _raster(self, screen, nearness):
        width, height = WIDTH * FINE, HEIGHT * FINE
        corners = screen[self.head.triangles]
        edge = corners[:, 1:] - corners[:, :1]
        area = edge[:, 0, 0] * edge[:, 1, 1] - edge[:, 0, 1] * edge[:, 1, 0]
        facing = np.nonzero(area > 1e-9)[0]
        low = np.ceil(corners.min(1) - 0.5).astype(int)
        size = (np.floor(corners.max(1) - 0.5).astype(int) - low + 1).max(1)
        attributes = np.column_stack([self.head.texture_points, self.head.shade])
        pixels, depths, places = [], [], []
        for smallest, side in ((0, 2), (2, 4), (4, 8), (8, 16), (16, 64)):
            chosen = facing[(size[facing] > smallest) & (size[facing] <= side)]
            for some in np.array_split(chosen, max(1, len(chosen) * side * side // 2_000_000)):
                y, x = np.divmod(np.arange(side * side), side)
                x, y = low[some, :1] + x, low[some, 1:] + y
                rx = x + 0.5 - corners[some, 0, :1]
                ry = y + 0.5 - corners[some, 0, 1:]
                e, a = edge[some], area[some, None]
                second = (rx * e[:, 1, 1:] - ry * e[:, 1, :1]) / a
                third = (ry * e[:, 0, :1] - rx * e[:, 0, 1:]) / a
                hit = ((second >= -1e-6) & (third >= -1e-6) & (second + third <= 1 + 1e-6)
                       & (x >= 0) & (x < width) & (y >= 0) & (y < height))
                share = np.stack([1 - second - third, second, third], -1)[hit]
                triangle = self.head.triangles[some][np.nonzero(hit)[0]]
                # Perspective: nearness is linear on the screen, the texture times it is too.
                share *= nearness[triangle]
                near = share.sum(-1)
                pixels.append((y * width + x)[hit])
                depths.append(near)
                places.append(np.einsum("nk,nkc->nc", share / near[:, None], attributes[triangle]))
        pixels, depths, places = map(np.concatenate, (pixels, depths, places))
        order = np.argsort(depths, kind="stable")
        winner = np.full(width * height, -1)
        winner[pixels[order]] = order  # the nearest is written last
        seen = winner >= 0
        colour = np.zeros((width * height, 3))
        column, row, shade = places[winner[seen]].T
        at = (np.stack([row, column]) + 0.5) * TEXELS - 0.5
        for channel in range(3):
            colour[seen, channel] = shade * ndimage.map_coordinates(
                self.texture[..., channel], at, order=1, mode="nearest")

        colour, cover = colour.reshape(height, width, 3), seen.reshape(height, width, 1) * 1.0
        _soften(colour, cover)
        return _coarse(colour), _coarse(cover)
