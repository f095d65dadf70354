"""An attic room: walls, roof window, armchair, lamp, shelf, plant. Lengths in centimetres, y upwards.

The room lies between the low wall at x = LOW and the high one at x = HIGH; a camera in it looks towards -z."""

import math

from .mesh import Mesh, add, scale, subtract, unit
from .shapes import lathe, rounded
from .still_life import curve, joined, tube, turned
from .terrain import hash01, noise

LOW, HIGH, BACK, FRONT = -200.0, 200.0, -160.0, 360.0
KNEE, CEILING = 70.0, 225.0            # heights of the low wall and of the flat ceiling
SLOPE = (0.5, math.sqrt(0.75))         # up the roof, in x and y
ROOF = (CEILING - KNEE) / SLOPE[1]     # its length
WINDOW = (30.0, 152.0, -128.0, -28.0)  # along the roof, along z
WALL = 14.0                            # thickness of the roof


def under_roof(along, inward, z):
    """A point by its way up the roof from the low wall, and its distance from the roof's lower face into the room."""
    return (LOW + SLOPE[0] * along + SLOPE[1] * inward, KNEE + SLOPE[1] * along - SLOPE[0] * inward, z)


# ---- building blocks ----------------------------------------------------------------------------------------------

def panel(corner, u_edge, v_edge, columns=1, rows=1, size=1.0):
    """A flat patch. Texture coordinates count lengths of `size`."""
    mesh = Mesh()
    lengths = [math.sqrt(sum(x * x for x in edge)) / size for edge in (u_edge, v_edge)]
    mesh.grid(columns, rows, lambda u, v: add(corner, add(scale(u_edge, u), scale(v_edge, v))),
              lambda u, v: (u * lengths[0], v * lengths[1]))
    return mesh


def block(size, radius, rounding=2, pieces=1, unit_length=50.0):
    """A box around the origin with rounded edges. Texture coordinates count `unit_length` on every side."""
    mesh = Mesh()
    half = [s / 2 for s in size]

    def ticks(h):
        curve_part = [h - radius + radius * math.tan(math.pi / 4 * k / rounding) for k in range(1, rounding + 1)]
        flat = [(h - radius) * (2 * k / pieces - 1) for k in range(pieces + 1)]
        return [-x for x in reversed(curve_part)] + flat + curve_part

    def shaped(p):
        inner = tuple(min(max(x, radius - h), h - radius) for x, h in zip(p, half))
        return add(inner, scale(unit(subtract(p, inner)), radius))

    for axis in range(3):
        i, j = (axis + 1) % 3, (axis + 2) % 3
        a, b = ticks(half[i]), ticks(half[j])
        for sign in (1, -1):
            def at(s, t):
                p = [0.0, 0.0, 0.0]
                p[axis], p[i], p[j] = sign * half[axis], s, t
                return mesh.point(shaped(p)), (s / unit_length, t / unit_length)

            for s0, s1 in zip(a, a[1:]):
                for t0, t1 in zip(b, b[1:]):
                    corners = [at(s0, t0), at(s1, t0), at(s1, t1), at(s0, t1)]
                    mesh.face(corners if sign > 0 else corners[::-1])
    return mesh


def box(low, high):
    """A box with sharp edges, between two corners."""
    x, y, z = subtract(high, low)
    return joined(panel((low[0], low[1], high[2]), (x, 0, 0), (0, y, 0)),
                  panel((high[0], low[1], low[2]), (-x, 0, 0), (0, y, 0)),
                  panel(low, (0, 0, z), (0, y, 0)), panel(high, (0, 0, -z), (0, -y, 0)),
                  panel((low[0], high[1], high[2]), (x, 0, 0), (0, 0, -z)), panel(low, (x, 0, 0), (0, 0, z)))


def moved(mesh, offset):
    return mesh.map(lambda p: add(p, offset))


def tilted(mesh, degrees):
    """About the x axis; positive leans the top towards -z."""
    s, c = math.sin(math.radians(degrees)), math.cos(math.radians(degrees))
    return mesh.map(lambda p: (p[0], c * p[1] + s * p[2], c * p[2] - s * p[1]))


def roof_beam(a0, a1, i0, i1, z0, z1):
    return box((a0, i0, z0), (a1, i1, z1)).map(lambda p: under_roof(*p))


# ---- the room -----------------------------------------------------------------------------------------------------

# Surfaces run on behind each other in the corners, so that nothing shines through between them.
PAST = 6.0


def floor():
    across, deep = HIGH - LOW + 2 * PAST, FRONT - BACK + 2 * PAST
    return panel((LOW - PAST, 0, FRONT + PAST), (across, 0, 0), (0, 0, -deep), size=168)


def back_wall():
    """Ends in the roof: beyond, it would be seen through the window."""
    mesh = Mesh()
    outline = [(LOW - 3, -PAST, BACK), (HIGH + PAST, -PAST, BACK), (HIGH + PAST, CEILING + PAST, BACK),
               under_roof(ROOF, -3, BACK), under_roof(0, -3, BACK)]
    mesh.face([(mesh.point(p), (p[0] / 100, p[1] / 100)) for p in outline])
    return mesh


def high_wall():
    return panel((HIGH, -PAST, BACK - PAST), (0, 0, FRONT - BACK + 2 * PAST), (0, CEILING + 2 * PAST, 0))


def whitewash():
    """Low wall, roof around the window, ceiling, and the wall behind the camera."""
    deep = FRONT - BACK + 2 * PAST
    a0, a1, z0, z1 = WINDOW

    def roof(along0, along1, front, back):
        p, q, r = under_roof(along0, 0, front), under_roof(along0, 0, back), under_roof(along1, 0, front)
        return panel(p, subtract(q, p), subtract(r, p))

    low, high = -PAST, ROOF + PAST
    return joined(
        panel((LOW, -PAST, FRONT + PAST), (0, 0, -deep), (0, KNEE + PAST, 0)),
        roof(low, a0, FRONT + PAST, BACK - PAST), roof(a1, high, FRONT + PAST, BACK - PAST),
        roof(a0, a1, FRONT + PAST, z1), roof(a0, a1, z0, BACK - PAST),
        panel((LOW, CEILING, BACK - PAST), (HIGH - LOW + PAST, 0, 0), (0, 0, deep)),
        panel((HIGH + PAST, -PAST, FRONT), (LOW - HIGH - 2 * PAST, 0, 0), (0, CEILING + 2 * PAST, 0)))


def timber():
    """Rafters under the roof, beams under the ceiling, and a purlin where they meet."""
    parts = []
    for z in (-153.0, -13.0, 127.0, 267.0):
        parts.append(roof_beam(-4, ROOF + 2, -1, 9, z - 5, z + 5))
        parts.append(box((LOW + SLOPE[0] * ROOF, CEILING - 12, z - 5), (HIGH + 1, CEILING + 1, z + 5)))
    parts.append(roof_beam(ROOF - 11, ROOF + 1, -1, 13, BACK - 1, FRONT + 1))
    return joined(*parts)


def joinery():
    """White woodwork: the lining of the window, its bars, and the skirting boards."""
    a0, a1, z0, z1 = WINDOW
    parts = [roof_beam(a0 - 6, a1 + 6, -WALL, 1.5, z0 - 6, z0), roof_beam(a0 - 6, a1 + 6, -WALL, 1.5, z1, z1 + 6),
             roof_beam(a0 - 6, a0, -WALL, 1.5, z0 - .5, z1 + .5), roof_beam(a1, a1 + 6, -WALL, 1.5, z0 - .5, z1 + .5)]
    a, z = a0 + 0.55 * (a1 - a0), (z0 + z1) / 2
    parts.append(roof_beam(a - 2, a + 2, -WALL + 2, -WALL + 6, z0, z1))
    parts.append(roof_beam(a0, a1, -WALL + 2.2, -WALL + 5.8, z - 2, z + 2))
    for low, high in (((LOW, 0, BACK - 1), (HIGH, 9, BACK + 1.6)), ((LOW - 1, 0, BACK), (LOW + 1.6, 9, FRONT)),
                      ((HIGH - 1.6, 0, BACK), (HIGH + 1, 9, FRONT))):
        parts.append(box(low, high))
    return joined(*parts)


def sky():
    """What is seen outside."""
    a0, a1, z0, z1 = WINDOW
    p, q, r = (under_roof(*x) for x in ((a0 - 40, -60, z1 + 160), (a0 - 40, -60, z0 - 160), (a1 + 160, -60, z1 + 160)))
    return panel(p, subtract(q, p), subtract(r, p), size=380)


# ---- furniture ----------------------------------------------------------------------------------------------------

def armchair():
    """Looks towards +z."""
    def puffed(mesh, size, amount):
        """Filled: swollen away from the middle plane."""
        def move(p):
            fill = max(0.0, 1 - (2 * p[0] / size[0]) ** 2) * max(0.0, 1 - (2 * p[2] / size[2]) ** 2)
            return (p[0], p[1] + math.copysign(amount, p[1]) * fill ** 0.7, p[2])
        return mesh.map(move)

    parts = [moved(block((74, 15, 70), 3), (0, 24, 0))]
    seat = (56, 13, 62)
    parts.append(moved(puffed(block(seat, 4.5, 3, 6), seat, 3.0), (0, 38, 6)))
    back = (60, 15, 66)
    parts.append(moved(tilted(block(back, 6, 3, 3), -90 + 14), (0, 62, -32)))
    pad = (54, 12, 42)
    parts.append(moved(tilted(puffed(block(pad, 5, 3, 6), pad, 3.5), -90 + 15), (0, 65, -21)))
    for side in (-1, 1):
        parts.append(moved(block((13, 40, 74), 6, 3), (side * 36, 38, 1)))
    return joined(*parts)


def throw_pillow():
    """Thick in the middle, drawn out to its four corners. Lies flat; its middle is the origin."""
    mesh = Mesh()

    def side(sign):
        def position(u, v):
            x, y = 2 * u - 1, 2 * v - 1
            pull = 1 - 0.10 * (1 - x * x) * y * y - 0.10 * (1 - y * y) * x * x
            thick = 8.5 * (max(0.0, (1 - x ** 4) * (1 - y ** 4))) ** 0.6
            return (20 * x * pull, sign * thick, -sign * 20 * y * pull)
        return position

    mesh.grid(14, 14, side(1))
    mesh.grid(14, 14, side(-1))
    return mesh


def leg():
    """Of armchair, stool and table: 16 high."""
    return lathe([(1.5, 0.0), (2.6, 16.5)], 14)


def round_table():
    """55 high, on one foot."""
    top = lathe(rounded([(0.0, 52.2), (25.5, 52.4), (26.0, 55.0), (0.0, 55.0)], 0.7), 56)
    foot = turned([(14.0, 0.0), (14.2, 1.2), (12.0, 2.4), (4.2, 4.4), (2.5, 9.0), (2.9, 24.0), (2.2, 40.0), (3.0, 48.5),
                   (7.5, 52.4)], 32)
    return joined(top, foot)


SHELF = (118.0, 108.0, 27.0)  # width, height, depth
BOARD = 2.4
LEVELS = (6.0, 39.5, 72.5)    # top sides of the boards


def shelf():
    w, h, d = SHELF
    parts = [box((-w / 2, 0, 0), (-w / 2 + BOARD, h, d)), box((w / 2 - BOARD, 0, 0), (w / 2, h, d)),
             box((-w / 2 - 1, h, 0), (w / 2 + 1, h + BOARD + .4, d + 1)), box((-w / 2, 0, 0), (w / 2, h, 1.2))]
    for y in LEVELS:
        parts.append(box((-w / 2, y - BOARD, 0), (w / 2, y, d - .4)))
    return joined(*parts)


def book(width, height, depth):
    """Stands on y = 0 with its rounded spine towards +z; cover and pages."""
    cover, pages = Mesh(), Mesh()
    line = [(width, 0.0)] + [(width / 2 + width / 2 * math.cos(a), depth - 0.9 + 0.9 * math.sin(a))
                             for a in (0.0, 0.8, math.pi / 2, math.pi - 0.8, math.pi)] + [(0.0, 0.0)]

    line.reverse()
    last = len(line) - 1
    cover.grid(last, 1, lambda u, v: (line[round(u * last)][0], height * v, line[round(u * last)][1]))
    pages.grid(1, 1, lambda u, v: (0.1 + (width - 0.2) * u, height - 0.5, (depth - 0.6) * (1 - v)),
               lambda u, v: (v, u * width / 3.2))
    lid = Mesh()
    lid.face([(lid.point((x, height, z)), (0, 0)) for x, z in reversed(line) if z > depth - 1.0])
    return joined(cover, lid), pages


BINDINGS = 6


def library():
    """The books in the shelf: one mesh for each color of binding, and one for all pages."""
    bindings, pages = [[] for _ in range(BINDINGS)], []
    w, _, d = SHELF
    serial = 0
    for level, y in enumerate(LEVELS):
        # Some boards leave room at their end or in the middle, for other things.
        room = {0: [(-w / 2 + 3, w / 2 - 3)], 1: [(-w / 2 + 3, -6), (22, w / 2 - 3)], 2: [(-w / 2 + 3, 20)]}[level]
        for x, end in room:
            while True:
                serial += 1
                rnd = [hash01(serial, k, 21) for k in range(4)]
                # Volumes of a series stand together.
                series = hash01(serial // 3, 1, 22)
                width, height, depth = 2.0 + 3.2 * rnd[0], 19 + 8 * (0.3 * rnd[1] + 0.7 * series), 15 + 5 * rnd[2]
                if x + width > end:
                    break
                at = (x, y, d - depth - 1.5 - 3 * rnd[3])
                cover, paper = (moved(mesh, at) for mesh in book(width, height, depth))
                bindings[int(BINDINGS * hash01(serial // 2, 3, 23))].append(cover)
                pages.append(paper)
                x += width + 0.15
    return [joined(*b) for b in bindings], joined(*pages)


def picture_frame(width, height):
    """Around a picture of this size, whose middle is the origin; looks towards +z."""
    bar, parts = 2.2, []
    x, y = width / 2, height / 2
    for low, high in (((-x - bar, -y - bar), (x + bar, -y)), ((-x - bar, y), (x + bar, y + bar)),
                      ((-x - bar, -y), (-x, y)), ((x, -y), (x + bar, y))):
        parts.append(box((*low, -1), (*high, 1.8)))
    return joined(*parts)


def picture(width, height):
    mesh = Mesh()
    mesh.grid(1, 1, lambda u, v: (width * (u - .5), height * (v - .5), .3))
    return mesh


# ---- lamp, rug, plant ---------------------------------------------------------------------------------------------

def lamp_stand():
    return turned([(15.0, 0.0), (15.2, 1.0), (13.5, 2.2), (4.0, 3.2), (1.2, 5.0), (1.0, 30.0), (1.0, 100.0),
                   (1.0, 143.0), (1.9, 144.0), (1.9, 150.0), (0.0, 151.0)], 28)


def lamp_shade():
    """One sheet of cloth, open above and below; the middle of the bulb is at 158."""
    return lathe([(24.0, 143.0), (23.0, 147.0), (18.5, 165.0), (15.5, 177.0)], 48)


def bulb():
    return turned([(1.4, 151.0), (1.6, 153.0), (3.2, 156.0), (3.6, 158.5), (2.9, 161.2), (0.0, 162.4)], 20)


def rug():
    """190 x 128, woven, lying on the floor with small waves in it."""
    mesh = Mesh()

    def position(u, v):
        x, z = 190 * (u - .5), -128 * (v - .5)
        inside = min(u, 1 - u, v, 1 - v)
        wave = 0.35 + 0.35 * noise(x * .02, z * .02, 4)
        return (x, 0.05 + (1.1 + wave) * min(1.0, inside / 0.012) ** 0.5, z)

    # Close steps at the edges.
    steps = [0.0, 0.004, 0.012] + [0.012 + 0.976 * k / 22 for k in range(1, 22)] + [0.988, 0.996, 1.0]
    last = len(steps) - 1
    mesh.grid(last, last, lambda u, v: position(steps[round(u * last)], steps[round(v * last)]),
              lambda u, v: (steps[round(u * last)], steps[round(v * last)]))
    return mesh


def pot():
    return turned([(0.0, 0.2), (11.5, 0.1), (12.2, 1.0), (14.5, 12.0), (16.2, 22.0), (17.2, 23.0), (17.2, 26.5),
                   (16.4, 27.0), (15.6, 26.5), (15.2, 24.0), (14.8, 23.0), (0.0, 23.6)], 40)


def plant_leaf():
    """38 long, along +x from its stem at the origin; its upper side looks to +y."""
    mesh = Mesh()

    def position(u, v):
        side = 2 * v - 1
        half = 9.5 * math.sin(math.pi * min(1.0, u ** 0.75 * 0.985 + 0.015)) ** 0.9
        fold = 0.24 * abs(side) ** 1.3 * half
        return (38 * u, 5.5 * math.sin(2.2 * u) - 15 * u * u + fold + 0.5 * math.sin(11 * u) * side, -side * half)

    mesh.grid(14, 8, position)
    return mesh


def plant():
    """Leaves as (position, turn, size, lean), and the stems that hold them."""
    leaves, stems = [], []
    for k in range(17):
        turn, rise = 137.5 * k + 20, k / 16
        a = math.radians(turn)
        reach = 20 - 13 * rise + 4 * hash01(k, 1, 31)
        top = 42 + 62 * rise + 8 * hash01(k, 2, 31)
        tip = (reach * math.cos(a), top, -reach * math.sin(a))
        foot = (2.5 * math.cos(a), 22.0, -2.5 * math.sin(a))
        middle = (0.35 * tip[0], 0.6 * top + 8, 0.35 * tip[2])
        stems.append(tube(curve([foot, middle, tip], 5), lambda t: 0.75 - 0.3 * t, 7))
        leaves.append((tip, turn, 0.78 + 0.3 * hash01(k, 3, 31), 8 + 42 * rise + 12 * hash01(k, 4, 31)))
    return leaves, joined(*stems)


def cup():
    return turned([(0.0, 0.3), (2.2, 0.0), (2.4, 0.5), (3.6, 2.2), (4.3, 5.0), (4.4, 6.6), (4.25, 6.75), (4.05, 6.5),
                   (3.8, 4.6), (0.0, 4.4)], 32)


def saucer():
    return turned([(0.0, 0.5), (3.2, 0.4), (3.6, 0.0), (4.2, 0.3), (7.2, 1.3), (7.3, 1.5), (7.0, 1.6), (3.6, 0.9),
                   (0.0, 0.9)], 36)
