"""A wall of samples for the node gallery: balls, and cards that face the camera, in four rows of seven."""

import colorsys
import math

from .mesh import Mesh, scale
from .shapes import sphere

COLUMNS, ROWS = 7, 4
CARDS = {14, 15, 16, 17, 18, 19, 20, 21, 27}  # numbers of those that are cards; the others are balls

# From the upper left, row by row. The materials are those of scenes/nodes.mi.
MATERIALS = ["ramp_none", "ramp_linear", "ramp_smooth", "ramp_spline", "light_angle", "brightness", "normalised",
             "noise_1d", "noise_2d", "noise_3d", "noise_4d", "noise_slope", "noise_gradient", "marble",
             "picture", "blend", "clamp", "contrast", "gamma", "luminance", "remap_color",
             "remap_hsv", "rim", "highlight", "surroundings", "layers", "plain", "plate"]


def ball():
    return sphere(48, 24).map(lambda p: scale(p, 0.42))


def card():
    mesh = Mesh()
    mesh.grid(1, 1, lambda u, v: (0.8 * (u - 0.5), 0.8 * (v - 0.5), 0.0))
    return mesh


def places():
    """Shape, material and middle of each."""
    for k, material in enumerate(MATERIALS):
        row, column = divmod(k, COLUMNS)
        at = (column - (COLUMNS - 1) / 2, (ROWS - 1) / 2 - row, 0.0)
        yield "sample_card" if k in CARDS else "sample_ball", material, at


def palette(u, v):
    """All hues, from black over the full color to white; at the left a gray scale."""
    if u < 0.16:
        return (v, v, v)
    hue = (u - 0.16) / 0.84
    return colorsys.hsv_to_rgb(hue, min(1.0, 2 - 2 * v), min(1.0, 2 * v))


def backdrop(u, v):
    """Evening behind a wall: soft bands of color."""
    glow = math.exp(-((v - 0.12) / 0.3) ** 2)
    side = 0.5 + 0.5 * math.cos(2.2 * (u - 0.3))
    return (0.10 + 0.36 * glow * side, 0.12 + 0.17 * glow * side, 0.20 + 0.10 * glow + 0.06 * v)
