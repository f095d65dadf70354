"""A motorcycle helmet: a painted shell with stripes, a smoked visor, rubber, leather and steel."""

import math

from .mesh import Mesh, add, cross, scale, subtract, unit
from .still_life import joined, tube

RADII = (10.4, 11.6, 12.6)  # to the side, up, forward
ROUNDNESS = 2.35            # exponent of the superellipsoid: 2 is an ellipsoid
PORT = (1.13, .41, .06)     # half width and height of the opening, and its middle: azimuth and elevation in radians
VISOR = (1.27, .50, .06)
STRIPE, PINSTRIPE = 2.1, .28
LOWEST = -1.25              # elevation, below the neck


def bump(x):
    return math.cos(.5 * math.pi * x) ** 2 if abs(x) < 1 else 0.0


def place(a, b):
    """Of the shell, by azimuth from the front and elevation. y is up, z forward."""
    d = (math.sin(a) * math.cos(b), math.sin(b), math.cos(a) * math.cos(b))
    r = sum(abs(x / s) ** ROUNDNESS for x, s in zip(d, RADII)) ** (-1 / ROUNDNESS)
    r *= 1 + .11 * bump(a / 1.5) * bump((b + .52) / .5)       # chin
    r *= 1 + .05 * bump((abs(a) - math.pi) / 1.3) * bump((b + .2) / .8)  # back of the head
    return scale(d, r)


def normal(a, b):
    step = 1e-4
    across = subtract(place(a + step, b), place(a - step, b))
    up = subtract(place(a, min(b + step, math.pi / 2)), place(a, b - step))
    return unit(cross(across, up))


def lifted(a, b, height):
    return add(place(a, b), scale(normal(a, b), height))


def outside(opening):
    """Above 0 outside of an opening in the front."""
    width, height, middle = opening
    return lambda a, b: abs(a / width) ** 2.7 + abs((b - middle) / height) ** 2.7 - 1


def above_neck(a, b):
    return place(a, b)[1] + 8.7


class Patch(Mesh):
    """A part of the shell: a grid over all directions, cut where one of the functions is below 0."""

    def __init__(self, regions, height=0.0, columns=120, rows=64, inward=False):
        super().__init__()
        self.height, self.inward, self.ways = height, inward, []
        for row in range(rows):
            for column in range(columns):
                cell = [(-math.pi + 2 * math.pi * (column + i) / columns,
                         LOWEST + (.4999 * math.pi - LOWEST) * (row + j) / rows)
                        for i, j in ((0, 0), (1, 0), (1, 1), (0, 1))]
                for region in regions:
                    cell = self.cut(cell, region)
                if len(cell) >= 3:
                    self.add_cell(cell)

    @staticmethod
    def cut(corners, region):
        kept = []
        for p, q in zip(corners, corners[1:] + corners[:1]):
            f, g = region(*p), region(*q)
            if f >= 0:
                kept.append(p)
            if (f >= 0) != (g >= 0):
                low, high = (p, q) if f >= 0 else (q, p)
                for _ in range(20):
                    middle = tuple(.5 * (x + y) for x, y in zip(low, high))
                    low, high = (middle, high) if region(*middle) >= 0 else (low, middle)
                kept.append(low)
        return kept

    def add_cell(self, cell):
        corners = []
        for a, b in cell:
            index = self.point(lifted(a, b, self.height))
            if index == len(self.ways):
                self.ways.append((a, b))
            corners.append((index, (0.0, 0.0)))
        self.face(corners[::-1] if self.inward else corners)

    def normals(self):
        return [scale(normal(*way), -1 if self.inward else 1) for way in self.ways]


def stripe_distance(a, b):
    return abs(place(a, b)[0])


def shell_base():
    return Patch([outside(PORT), above_neck, lambda a, b: stripe_distance(a, b) - STRIPE - PINSTRIPE])


def shell_stripe():
    return Patch([outside(PORT), above_neck, lambda a, b: STRIPE - stripe_distance(a, b)])


def shell_pinstripes():
    return Patch([outside(PORT), above_neck, lambda a, b: stripe_distance(a, b) - STRIPE,
                  lambda a, b: STRIPE + PINSTRIPE - stripe_distance(a, b)])


def liner():
    return Patch([outside(PORT), above_neck], -.9, 60, 32, inward=True)


def visor():
    edge = outside(VISOR)
    return Patch([lambda a, b: -edge(a, b)], .55)


def rim_of(opening, height, radius):
    width, size, middle = opening
    path = []
    for k in range(129):
        t = 2 * math.pi * k / 128
        c, s = math.cos(t), math.sin(t)
        r = (abs(c) ** 2.7 + abs(s) ** 2.7) ** (-1 / 2.7)
        path.append(lifted(width * r * c, middle + size * r * s, height))
    return tube(path, lambda v: radius, 12)


def gasket():
    return rim_of(PORT, .05, .34)


def visor_edge():
    return rim_of(VISOR, .52, .13)


def neck_roll():
    path = []
    for k in range(129):
        a = 2 * math.pi * k / 128
        low, high = -1.4, 0.0
        for _ in range(40):
            middle = .5 * (low + high)
            low, high = (low, middle) if above_neck(a, middle) > 0 else (middle, high)
        path.append(lifted(a, high, -.25))
    return tube(path, lambda v: .62, 14)


def button(a, b, radius, profile, height=0.0):
    """Turned around the normal of the shell; the profile has radii and heights in parts of the radius."""
    mesh, n = Mesh(), normal(a, b)
    u = unit(cross((0.0, 1.0, 0.0), n))
    v, foot = cross(n, u), lifted(a, b, height)

    def position(t, w):
        r, h = profile[round(w * (len(profile) - 1))]
        angle = 2 * math.pi * t
        out = add(scale(u, radius * r * math.cos(angle)), scale(v, radius * r * math.sin(angle)))
        return add(foot, add(out, scale(n, radius * h)))

    mesh.grid(40, len(profile) - 1, position)
    return mesh


def steel():
    """The visor's pivots, the snaps above it and the vents of the chin."""
    quarter = [.5 * math.pi * k / 8 for k in range(9)]
    dome = [(1.0, .0)] + [(math.cos(t), .55 * math.sin(t)) for t in quarter]
    pivot = [(1.0, -.4), (1.0, .22), (.97, .3), (.9, .34), (.62, .34), (.58, .3), (.54, .22), (.5, .3), (.44, .34),
             (.0, .36)]
    parts = [button(side * 1.2, .06, 1.35, pivot, .6) for side in (-1, 1)]
    parts += [button(a, .66, .38, dome, .0) for a in (-.42, 0.0, .42)]
    return joined(*parts)


def vents():
    """Three bars to each side of the chin."""
    parts = []
    for side in (-1, 1):
        for k in range(3):
            path = [lifted(side * (.16 + .085 * k + .012 * j), -.44 - .014 * j - .02 * k, .02) for j in range(7)]
            parts.append(tube(path, lambda v: .17 * math.sin(math.pi * min(max(v, .04), .96)) ** .5, 10))
    return joined(*parts)


PARTS = (shell_base, shell_stripe, shell_pinstripes, liner, visor, gasket, visor_edge, neck_roll, steel, vents)
LIFT = 9.15  # of the middle of the shell above what the neck roll stands on
