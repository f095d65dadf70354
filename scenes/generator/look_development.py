"""Balls on stands, a tuft of hair and a card, before a sheet of paper. Lengths in centimetres, y upwards."""

import math

from .interior import block
from .mesh import Mesh, scale
from .shapes import lathe, rounded, sphere
from .still_life import curve, joined, tube
from .terrain import hash01

RADIUS = 4.2
STEPS = [((66.0, 10.0, 12.0), -14.0), ((66.0, 5.0, 24.0), -8.0)]  # width, height, depth, and where their middle is


def ball():
    return sphere(64, 32).map(lambda p: scale(p, RADIUS))


def stand():
    """A dark ring; the ball above it sinks in a little."""
    return lathe(rounded([(1.7, 0.0), (3.0, 0.0), (2.6, 0.75), (2.1, 0.95), (1.7, 0.5), (1.7, 0.0)], 0.12), 40)


def steps():
    """Wooden blocks, one behind the other."""
    return joined(*(block(size, 0.35, 3, 1, 30.0).map(lambda p: (p[0], p[1] + size[1] / 2, p[2] + z))
                    for size, z in STEPS))


def paper():
    """The table top: paper that hangs down behind and lies on the table, in one sweep."""
    profile = curve([(70.0, 0.0), (30.0, 0.0), (0.0, 0.0), (-40.0, 0.0), (-62.0, 2.0), (-77.0, 12.0), (-85.0, 30.0),
                     (-88.0, 60.0), (-89.0, 110.0)], 4)
    mesh = Mesh()
    last = len(profile) - 1

    def position(u, v):
        z, y = profile[round(v * last)]
        return (260.0 * (u - 0.5), y, z)

    mesh.grid(1, last, position)
    return mesh


def card():
    """A color chart that lies in front, propped up a little."""
    mesh = Mesh()
    mesh.grid(1, 1, lambda u, v: (8.0 * (u - 0.5), 1.9 * v, -4.6 * v))
    return mesh


# ---- hair ---------------------------------------------------------------------------------------------------------

LOCKS = 6
HAIRS = 10


def lock(number):
    """A few hairs around the y axis, from the root at 0 to about 2.4, that lean to one side. v leads to the tips."""
    hairs = []
    for k in range(HAIRS):
        a, r = 6.283 * hash01(k, number, 3), 0.36 * math.sqrt(hash01(k, number, 4))
        x, z = r * math.cos(a), r * math.sin(a)
        length = 2.1 + 0.7 * hash01(k, number, 5)
        lean = 0.5 + 0.5 * hash01(k, number, 6)
        swing = 0.5 * (hash01(k, number, 7) - 0.5)
        path = curve([(x, -0.15, z), (x * 1.1, 0.33 * length, z * 1.1 + 0.08 * lean),
                      (x * 1.15 + swing * 0.5, 0.68 * length, z + 0.4 * lean),
                      (x * 1.05 + swing, 0.92 * length, z * 0.8 + lean)], 2)
        hairs.append(tube(path, lambda t: 0.045 * (1 - 0.75 * t), 4))
    return joined(*hairs)


def tuft(count=300):
    """Where the locks grow on a ball of radius 2.5: number, turn, tilt and size of each."""
    places = []
    for k in range(count):
        height = 1 - 1.72 * (k + 0.5) / count
        turn = 137.50776 * k + 14 * (hash01(k, 1, 8) - 0.5)
        tilt = math.degrees(math.acos(height)) + 8 * (hash01(k, 2, 8) - 0.5)
        places.append((k % LOCKS, turn, tilt, 0.9 + 0.25 * hash01(k, 3, 8)))
    return places


def scalp():
    return sphere(40, 20).map(lambda p: scale(p, 2.52))


# ---- what stands where --------------------------------------------------------------------------------------------

ROWS = [(-14.6, 10.03, ["clay", "marble", "soap", "satin", "plastic"]),
        (-2.2, 5.03, ["glass", "amber", "frosted", "bubble", "ceramic"]),
        (11.0, 0.03, ["chrome", "gold", "brushed", "paint", "hair"])]
SPACING = 11.2
LIFT = RADIUS + 0.42  # of the balls on their stands


def places():
    """(what, x, y, z): the feet of the stands, row by row. What is a material, or hair."""
    return [(what, (k - 2) * SPACING, y, z) for z, y, row in ROWS for k, what in enumerate(row)]


CARD_AT = (-6.5, 0.1, 22.5)
