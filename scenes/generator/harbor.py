"""A fishing boat, a pier, a headland with a lighthouse, and rocks. Lengths in metres, y upwards, water at 0."""

import math

from .mesh import Mesh, add, scale, unit
from .shapes import lathe
from .still_life import curve, joined, smoothstep, tube
from .terrain import hash01, noise, ridged


# ---- the boat: bow at +x, 4 m from the middle ---------------------------------------------------------------------

HALF = 4.0


def sheer(x):
    """Height of the gunwale: it rises towards the ends, more towards the bow."""
    t = x / HALF
    return 0.78 + 0.2 * t * t + 0.42 * max(0.0, t) ** 2.2


def beam(x):
    """Half the width at the gunwale: a sharp bow and a narrow transom."""
    t = x / HALF
    return 1.3 * (1 - max(0.0, t) ** 2.3) ** 0.75 if t > 0 else 1.3 * (1 - 0.5 * (-t) ** 2.2)


def keel(x):
    t = x / HALF
    return -0.55 + 0.75 * max(0.0, t) ** 5 + 0.25 * max(0.0, -t) ** 4


def hull_point(x, s, side):
    """On the skin: s is 0 at the keel and 1 at the gunwale; side is 1 to port (-z) and -1 to starboard."""
    low, high = keel(x), sheer(x)
    flare = 0.16 * max(0.0, x / HALF) ** 2 * s * s
    return (x + flare, low + (high - low) * s ** 1.5, -side * beam(x) * math.sin(0.5 * math.pi * s) ** 0.62)


def hull_side(side):
    mesh = Mesh()

    def position(u, v):
        x = HALF * (2 * u - 1) * side
        return hull_point(x, v, -side)

    mesh.grid(48, 14, position)
    return mesh


def hull():
    """The planked skin and the transom."""
    transom = Mesh()

    def position(u, v):
        return add(hull_point(-HALF, v, 1), (0.0, 0.0, 2 * u * beam(-HALF) * math.sin(0.5 * math.pi * v) ** 0.62))

    transom.grid(8, 14, position)
    return joined(hull_side(1), hull_side(-1), transom)


def deck():
    mesh = Mesh()

    def position(u, v):
        x = HALF * 0.98 * (2 * u - 1)
        return (x, sheer(x) - 0.24, beam(x) * 0.97 * (1 - 2 * v))

    mesh.grid(40, 6, position, lambda u, v: (8 * u, 2 * v))
    return mesh


def rails():
    """The gunwale all around, a strake below it, and the coaming of the hold."""
    def line(drop, out):
        places = [HALF * math.sin(0.5 * math.pi * k / 14) for k in range(-14, 15)]
        port = [(x, sheer(x) - drop, -beam(x) - out) for x in places]
        return curve(port + [(x, y, -z) for x, y, z in reversed(port)] + port[:1], 2)

    hold = [(1.9, 0.72, -0.55), (1.9, 0.72, 0.55), (0.9, 0.72, 0.55), (0.9, 0.72, -0.55)]
    coaming = curve(hold + hold[:1], 2)
    return joined(tube(line(0.0, 0.0), lambda t: 0.055, 8), tube(line(0.3, 0.015), lambda t: 0.035, 6),
                  tube(coaming, lambda t: 0.06, 6))


def slab(x0, x1, y0, y1, z0, z1):
    """A box of flat sides, with edges of their own."""
    sides = []
    corner = lambda i, j, k: ((x0, x1)[i], (y0, y1)[j], (z0, z1)[k])  # noqa: E731
    for face in (((0, 0, 1), (1, 0, 1), (1, 1, 1), (0, 1, 1)), ((1, 0, 0), (0, 0, 0), (0, 1, 0), (1, 1, 0)),
                 ((1, 0, 1), (1, 0, 0), (1, 1, 0), (1, 1, 1)), ((0, 0, 0), (0, 0, 1), (0, 1, 1), (0, 1, 0)),
                 ((0, 1, 1), (1, 1, 1), (1, 1, 0), (0, 1, 0)), ((0, 0, 0), (1, 0, 0), (1, 0, 1), (0, 0, 1))):
        mesh = Mesh()
        uvs = ((0, 0), (1, 0), (1, 1), (0, 1))
        mesh.face([(mesh.point(corner(*at)), uv) for at, uv in zip(face, uvs)])
        sides.append(mesh)
    return joined(*sides)


def cabin():
    """Walls without their panes, and a roof that sticks out."""
    floor, top = 0.5, 2.2
    roof = joined(slab(-3.0, -0.85, top, top + 0.07, -0.86, 0.86),
                  slab(-2.9, -0.95, top + 0.07, top + 0.13, -0.76, 0.76))
    return joined(slab(-2.85, -1.0, floor, top, -0.7, 0.7), roof)


def panes():
    """A little before the walls; there is light behind them."""
    side = [slab(x, x + 0.5, 1.45, 1.95, z - 0.01, z + 0.01) for x in (-2.65, -1.95) for z in (-0.7, 0.7)]
    return joined(slab(-1.01, -0.99, 1.4, 1.95, -0.55, -0.06), slab(-1.01, -0.99, 1.4, 1.95, 0.06, 0.55), *side)


MAST = (0.45, 6.6)  # where it stands, and how high it reaches


def spars():
    """Mast, boom and gaff."""
    x, top = MAST
    return joined(tube([(x, 0.3, 0.0), (x, 3.5, 0.0), (x - 0.05, top, 0.0)], lambda t: 0.09 - 0.04 * t, 10),
                  tube([(x - 0.1, 2.75, 0.0), (-1.8, 2.8, 0.0), (-3.9, 2.95, 0.0)], lambda t: 0.055 - 0.015 * t, 8),
                  tube([(x - 0.05, 3.3, 0.03), (-1.6, 3.15, 0.06), (-3.3, 3.2, 0.05)], lambda t: 0.045 - 0.015 * t, 8))


def sail():
    """Furled along the boom, and lashed every half metre."""
    places = [0.25 - 0.06 * k for k in range(65)]
    path = [(x, 2.98 + 0.02 * math.sin(2.1 * x), 0.02 * math.sin(3.3 * x)) for x in places]

    def radius(t):
        ends = smoothstep(0.0, 0.06, t) * smoothstep(0.0, 0.1, 1 - t)
        lashed = 1 - 0.32 * math.exp(-((8 * t - round(8 * t)) / 0.09) ** 2)
        return 0.02 + 0.15 * ends * lashed * (1 - 0.35 * t)

    return tube(path, radius, 14)


def rigging():
    """Stays and shrouds, a halyard, and the mooring line, which hangs."""
    x, top = MAST
    head = (x - 0.05, top - 0.15, 0.0)
    ends = [(HALF + 0.1, sheer(HALF), 0.0), (-HALF, sheer(-HALF), 0.0)]
    ends += [(x + dx, sheer(x), s * beam(x)) for s in (-1, 1) for dx in (-0.5, 0.25)]
    ropes = [tube([head, scale(add(head, end), 0.5), end], lambda t: 0.012, 5) for end in ends]
    ropes.append(tube([(x - 0.1, top - 0.4, 0.03), (-1.4, 4.6, 0.04), (-3.7, 2.98, 0.0)], lambda t: 0.01, 5))
    return joined(*ropes)


def lantern():
    return lathe([(0.0, -0.16), (0.05, -0.15), (0.1, -0.06), (0.1, 0.06), (0.05, 0.15), (0.0, 0.16)], 12)


def buoy():
    """A float with a mast; it stands in the water."""
    return lathe([(0.0, -0.6), (0.42, -0.45), (0.55, -0.05), (0.5, 0.25), (0.2, 0.45), (0.07, 0.6), (0.05, 1.55),
                  (0.0, 1.6)], 20)


# ---- the shore ----------------------------------------------------------------------------------------------------

def pier_planks(length=26.0, width=2.3):
    """Uneven boards across, from z = 0 backwards, their tops at about 1.05."""
    boards, z, k = [], 0.0, 0
    while z > -length:
        wide = 0.2 + 0.05 * hash01(k, 1, 5)
        lift, out = 0.022 * hash01(k, 2, 5), 0.09 * (hash01(k, 3, 5) - 0.5)
        boards.append(slab(-width / 2 + out, width / 2 + out, 0.97 + lift, 1.04 + lift, z - wide, z))
        z -= wide + 0.012 + 0.012 * hash01(k, 4, 5)
        k += 1
    beams = [slab(s * 0.85 - 0.09, s * 0.85 + 0.09, 0.75, 0.965, -length, 0.0) for s in (-1, 1)]
    return joined(*boards, *beams)


def pier_posts(length=26.0):
    posts = []
    for k in range(int(length / 3.2) + 1):
        for side in (-1, 1):
            lean, high = 0.05 * (hash01(k, side + 2, 6) - 0.5), 1.35 + 0.5 * hash01(k, side + 4, 6)
            x, z = side * 1.22, -0.3 - 3.2 * k
            post = lathe([(0.0, -2.5), (0.17, -2.5), (0.165, 0.2), (0.15, high - 0.05), (0.12, high),
                          (0.0, high + 0.01)], 14)
            posts.append(post.map(lambda p, x=x, z=z, lean=lean: (p[0] + x + lean * p[1], p[1], p[2] + z)))
    return joined(*posts)


def headland():
    """A ridge that falls into the sea at its end, x from 0 to 260."""
    mesh = Mesh()

    def position(u, v):
        x, z = 260.0 * u, 120.0 * (0.5 - v)
        cliff = smoothstep(0.0, 0.16, u + 0.03 * noise(4 * v, 1.5, 3))
        across = max(0.0, 1 - (2 * abs(v - 0.5)) ** 2.2)
        h = (9.0 + 16.0 * u + 16.0 * (ridged(3.1 * u + 1.2, 1.6 * v, 5, 21) - 0.5)) * across * cliff
        return (x, h - 1.5, z)

    mesh.grid(84, 32, position)
    return mesh


def lighthouse():
    """Stands at height 0, 15 m high."""
    return lathe([(0.0, 0.0), (2.3, 0.0), (2.2, 0.6), (1.9, 0.7), (1.45, 10.8), (2.0, 11.0), (2.0, 11.5), (1.2, 11.5),
                  (1.2, 11.8), (1.15, 11.8), (1.15, 13.4), (1.55, 13.4), (0.9, 14.4), (0.15, 14.7), (0.12, 15.4),
                  (0.0, 15.4)], 32)


def rock(seed):
    """A worn boulder of radius 1."""
    mesh = Mesh()

    def position(u, v):
        a, b = 2 * math.pi * u, math.pi * (v - 0.5)
        d = unit((math.cos(b) * math.cos(a), math.sin(b), -math.cos(b) * math.sin(a)))
        bump = sum(noise(f * d[0] + 3.1 * d[1] + seed, f * d[2] - 2.3 * d[1], seed + k) / f
                   for k, f in enumerate((1.3, 2.9, 6.1)))
        flat = 0.72 if d[1] < 0 else 0.62
        r = 1 + 0.42 * bump
        return (r * d[0], flat * r * d[1], r * d[2])

    mesh.grid(32, 18, position)
    return mesh


PARTS = [hull, deck, rails, cabin, panes, spars, sail, rigging, lantern, buoy, pier_planks, pier_posts, headland,
         lighthouse]
# Wet stones at the near end of the pier: place, turn, size.
ROCKS = [((3.3, -0.1, -3.6), 20, 0.9), ((4.5, -0.2, -4.6), 200, 1.15), ((2.3, -0.25, -4.6), 95, 0.6),
         ((5.6, -0.1, -3.4), 310, 1.2), ((3.5, -0.3, -6.0), 150, 0.65), ((6.9, -0.2, -5.4), 60, 0.95),
         ((1.6, -0.2, -3.1), 255, 0.5)]
