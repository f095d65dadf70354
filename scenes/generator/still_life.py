"""A laid table: glass and pottery, fruit, books, a candle, and a cloth. Lengths in centimetres, y upwards."""

import math

from .mesh import Mesh, add, cross, scale, subtract, unit
from .shapes import lathe
from .terrain import hash01, noise


def smoothstep(low, high, x):
    t = min(1.0, max(0.0, (x - low) / (high - low)))
    return t * t * (3 - 2 * t)


def curve(points, steps):
    """A smooth line through points of any dimension (Catmull-Rom), in `steps` pieces between two of them."""
    def coordinate(a, b, c, d, t):
        return 0.5 * (2 * b + (c - a) * t + (2 * a - 5 * b + 4 * c - d) * t * t + (3 * b - a - 3 * c + d) * t ** 3)

    result = []
    for k in range(len(points) - 1):
        around = [points[min(max(k + i, 0), len(points) - 1)] for i in (-1, 0, 1, 2)]
        for step in range(steps):
            result.append(tuple(coordinate(*axis, step / steps) for axis in zip(*around)))
    return result + [points[-1]]


def turned(points, steps, pieces=2):
    """A lathe work with a smooth profile through the points."""
    profile = curve(points, pieces)
    return lathe([(max(0.0, r), y) for r, y in profile], steps)


def joined(*meshes):
    """One mesh of several. Points that coincide stay apart, so that edges between the parts stay sharp."""
    result = Mesh()
    for mesh in meshes:
        first = len(result.points)
        result.points += mesh.points
        result.faces += [[(p + first, uv) for p, uv in face] for face in mesh.faces]
    return result


def tube(path, radius, sides, uv=(1.0, 1.0)):
    """A hose along a line; radius(t) for t from 0 to 1. Open at its ends."""
    mesh = Mesh()
    last = len(path) - 1
    axis = (0.0, 0.0, 1.0)
    frames = []
    for k, point in enumerate(path):
        ahead = unit(subtract(path[min(k + 1, last)], path[max(k - 1, 0)]))
        side = unit(cross(ahead, axis))
        axis = cross(side, ahead)
        frames.append((point, side, axis))

    def position(u, v):
        point, side, up = frames[round(v * last)]
        a, r = -2 * math.pi * u, radius(v)
        return add(point, add(scale(side, r * math.cos(a)), scale(up, r * math.sin(a))))

    mesh.grid(sides, last, position, lambda u, v: (u * uv[0], v * uv[1]))
    return mesh


# ---- glass and pottery --------------------------------------------------------------------------------------------

def carafe():
    """A closed solid of glass: outside, lip, inside."""
    return turned([
        (0.0, 0.25), (2.5, 0.15), (4.4, 0.0), (5.3, 0.3), (6.3, 1.9), (7.0, 5.0), (6.9, 8.2), (5.6, 11.8), (3.6, 14.8),
        (2.2, 18.0), (1.75, 21.5), (2.0, 25.0), (2.75, 27.6), (2.85, 27.9), (2.7, 28.05), (2.5, 27.85),
        (1.7, 25.0), (1.4, 21.5), (1.85, 18.0), (3.25, 14.7), (5.25, 11.6), (6.5, 8.1), (6.6, 5.1), (5.85, 2.5),
        (4.4, 1.35), (2.5, 1.2), (0.0, 1.35)], 48)


def water():
    """Stands in the carafe, a hair's breadth away from its inside."""
    return turned([
        (0.0, 1.37), (2.5, 1.22), (4.38, 1.37), (5.83, 2.52), (6.57, 5.1), (6.47, 8.1), (6.2, 9.1), (6.15, 9.3),
        (6.05, 9.25), (5.8, 9.2), (0.0, 9.2)], 48)


def goblet():
    return turned([
        (0.0, 0.2), (2.0, 0.1), (3.3, 0.0), (3.5, 0.16), (3.2, 0.4), (1.6, 0.75), (0.65, 1.6), (0.45, 3.0), (0.45, 5.6),
        (0.75, 6.8), (2.0, 7.7), (3.35, 9.4), (3.95, 11.9), (3.85, 14.5), (3.35, 17.4), (3.25, 17.5), (3.15, 17.4),
        (3.62, 14.5), (3.7, 11.9), (3.1, 9.65), (1.75, 8.2), (0.0, 7.75)], 40)


def wine():
    """What fills the goblet, a hair's breadth away from its inside."""
    return turned([(0.0, 7.77), (1.73, 8.22), (3.08, 9.66), (3.64, 11.2), (3.68, 11.9), (3.67, 12.45),
                   (3.6, 12.42), (3.4, 12.4), (0.0, 12.4)], 40)


def pitcher():
    """Body with a spout along +x, and a handle."""
    body = turned([
        (0.0, 0.5), (3.6, 0.3), (4.2, 0.0), (4.7, 0.35), (4.6, 1.1), (5.9, 3.6), (7.1, 7.2), (7.2, 10.2), (6.0, 14.0),
        (4.6, 17.0), (4.2, 19.2), (4.7, 21.6), (5.2, 22.9), (5.05, 23.15), (4.8, 22.9), (4.3, 21.4), (3.8, 19.2),
        (4.1, 17.2), (3.6, 15.0), (0.0, 14.0)], 52)

    def pour(p):
        x, y, z = p
        away = math.atan2(z, x)
        pull = smoothstep(17.5, 23.2, y) * math.exp(-(away / 0.42) ** 2)
        narrow = 1 - 0.12 * smoothstep(17.5, 23.2, y) * math.exp(-((abs(away) - 0.75) / 0.4) ** 2)
        return (x * narrow + 2.1 * pull, y + 1.0 * pull, z * narrow * (1 - 0.25 * pull))

    path = curve([(-4.0, 20.6, 0.0), (-5.6, 21.9, 0.0), (-8.3, 20.9, 0.0), (-9.9, 17.6, 0.0), (-9.6, 13.4, 0.0),
                  (-8.0, 9.9, 0.0), (-6.4, 8.3, 0.0)], 5)
    handle = tube(path, lambda t: 0.72 + 0.22 * (2 * t - 1) ** 2, 14, (0.1, 0.02))
    return joined(body.map(pour), handle)


def bowl():
    return turned([
        (0.0, 0.5), (3.6, 0.4), (4.0, 0.0), (4.4, 0.2), (4.3, 1.2), (6.2, 2.2), (9.2, 4.4), (11.5, 7.2), (12.4, 9.0),
        (12.4, 9.3), (12.1, 9.3), (11.8, 8.9), (10.8, 7.2), (8.6, 4.9), (5.6, 3.0), (0.0, 2.0)], 60)


# ---- fruit --------------------------------------------------------------------------------------------------------

def bent(mesh, amount):
    """Leaned over towards +x, more the higher."""
    return mesh.map(lambda p: (p[0] + amount * p[1] * p[1], p[1], p[2]))


def uneven(mesh, amount, seed, centre):
    """No two sides alike."""
    def move(p):
        away = subtract(p, (0.0, centre, 0.0))
        a = math.atan2(away[2], away[0])
        n = noise(1.3 * math.cos(a) + 7.3, 1.3 * math.sin(a) + 0.12 * away[1], seed)
        return (p[0] * (1 + amount * n), p[1], p[2] * (1 + amount * n))
    return mesh.map(move)


def pear():
    body = turned([
        (0.0, 0.55), (0.5, 0.3), (1.2, 0.0), (2.4, 0.35), (3.5, 1.7), (3.9, 3.5), (3.6, 5.2), (2.7, 6.9), (2.05, 8.3),
        (1.75, 9.4), (1.25, 10.3), (0.5, 10.6), (0.0, 10.35)], 44, 3)
    return bent(uneven(body, 0.06, 3, 4.0), 0.008)


def apple():
    body = turned([
        (0.0, 0.95), (0.5, 0.6), (1.1, 0.1), (1.8, 0.0), (2.8, 0.7), (3.65, 2.4), (3.95, 4.2), (3.7, 5.8), (2.8, 7.05),
        (1.8, 7.4), (0.9, 7.1), (0.4, 6.5), (0.0, 6.2)], 40)
    return uneven(body, 0.05, 8, 4.0).map(
        lambda p: (p[0], p[1] + (0.14 * math.cos(5 * math.atan2(p[2], p[0])) if p[1] < 1.2 else 0.0), p[2]))


def orange():
    body = turned([
        (0.0, 0.1), (0.9, 0.0), (2.4, 0.8), (3.5, 2.3), (3.75, 3.8), (3.4, 5.3), (2.4, 6.6), (1.1, 7.25), (0.4, 7.3),
        (0.0, 7.05)], 40)
    return uneven(body, 0.02, 5, 3.6)


LEMON = [(0.0, -4.5), (0.35, -4.4), (0.65, -4.0), (1.3, -3.55), (2.2, -2.6), (2.8, -1.2), (2.95, 0.0)]


def lemon():
    """Lies along x, its middle at the origin."""
    other = [(r, -y) for r, y in reversed(LEMON[:-1])]
    body = turned(LEMON + other, 32)
    return uneven(body, 0.04, 12, 0.0).map(lambda p: (p[1], -p[0], p[2]))


def half_lemon():
    """The cut looks along +x. Its texture: v below 0.5 is peel, above it the cut from its rim to the middle."""
    peel, cut = Mesh(), Mesh()
    profile = curve(LEMON, 3)

    def turn(r, x, u):
        return (x, r * math.cos(2 * math.pi * u), r * math.sin(2 * math.pi * u))

    rows = len(profile) - 1
    peel.grid(36, rows, lambda u, v: turn(profile[round(v * rows)][0], profile[round(v * rows)][1], u),
              lambda u, v: (u, 0.45 * v))
    rim = profile[-1][0]

    def face(u, v):
        r = rim * (1 - v)
        pulp = 0.05 * abs(math.sin(4.5 * 2 * math.pi * u)) * smoothstep(0.12, 0.3, v) * smoothstep(1.0, 0.8, v)
        return turn(r, -pulp, u)

    cut.grid(72, 8, face, lambda u, v: (u, 0.5 + 0.5 * v))
    return joined(peel, cut)


def grape():
    """A berry of radius 1, a little longer than wide."""
    rows = 20
    profile = [(math.sin(math.pi * k / rows), -1.12 * math.cos(math.pi * k / rows)) for k in range(rows + 1)]
    profile[0], profile[-1] = (0.0, -1.12), (0.0, 1.12)
    return lathe(profile, 32)


def grapes(count, seed):
    """A bunch that lies on the ground along +x: (centre, radius) of each berry, pushed apart until they only touch."""
    berries = []
    for k in range(count):
        along = (k + 0.5) / count
        width = 3.4 * math.sqrt(math.sin(math.pi * min(0.97, 0.12 + along * 0.86)))
        a, r = 2 * math.pi * hash01(k, 1, seed), width * math.sqrt(hash01(k, 2, seed))
        berries.append([15.0 * along, 2.0 + 0.8 * r * math.sin(a), r * math.cos(a), 1.12 + 0.26 * hash01(k, 3, seed)])
    for turn in range(400):
        for p in berries:
            p[1] -= 0.03
            p[2] *= 0.997
        for i, p in enumerate(berries):
            for q in berries[:i]:
                way = [p[k] - q[k] for k in range(3)]
                d, apart = math.hypot(*way), 0.97 * (p[3] + q[3])
                if 1e-6 < d < apart:
                    for k in range(3):
                        push = 0.5 * (apart - d) / d * way[k]
                        p[k] += push
                        q[k] -= push
        for p in berries:
            p[1] = max(p[1], p[3])
    return [((p[0], p[1], p[2]), p[3]) for p in berries]


def leaf():
    """Along +x from its stem at the origin, its upper side to +y."""
    mesh = Mesh()

    def position(u, v):
        x, side = 7.0 * u, 2 * v - 1
        half = 2.1 * math.sin(math.pi * min(1.0, u ** 0.8)) ** 0.85 * (1 + 0.03 * math.sin(40 * u))
        fold = 0.5 * abs(side) ** 1.3 * half * 0.55
        curl = 1.1 * math.sin(2.2 * u) - 1.6 * u * u
        return (x, curl + fold + 0.1 * math.sin(9 * u) * side, -side * half)

    mesh.grid(18, 10, position)
    return mesh


def stem():
    """Of an apple or a pear; 2.4 high, thicker at its end."""
    path = curve([(0.0, 0.0, 0.0), (0.02, 0.8, 0.0), (0.15, 1.6, 0.05), (0.45, 2.4, 0.1)], 3)
    return tube(path, lambda t: 0.14 + 0.1 * t * t, 8)


# ---- books and candle ---------------------------------------------------------------------------------------------

BOOK = (15.5, 22.0, 3.2)


def book_cover():
    """Two boards and a round spine at -x: an outline drawn along z, and its ends. Texture u runs around the outside."""
    (width, depth, thick), board = BOOK, 0.28
    left, right, half = -width / 2, width / 2, depth / 2
    outer = curve([(right, 0.0), (width / 4, 0.0), (left + 0.6, 0.0), (left - 0.35, 0.35), (left - 0.75, thick / 2),
                   (left - 0.35, thick - 0.35), (left + 0.6, thick), (width / 4, thick), (right, thick)], 4)
    inner = [(x if x > left + 0.7 else max(x, left + 0.05), min(max(y, board), thick - board)) for x, y in outer]
    sides, fronts, ends = Mesh(), Mesh(), Mesh()

    def strip(part, a, b, u0, u1):
        corners = (((*a, half), (u0, 0.0)), ((*a, -half), (u0, 1.0)), ((*b, -half), (u1, 1.0)), ((*b, half), (u1, 0.0)))
        part.face([(part.point(p), uv) for p, uv in corners])

    last = len(outer) - 1
    for k in range(last):
        u0, u1 = k / last, (k + 1) / last
        strip(sides, outer[k], outer[k + 1], u0, u1)
        strip(sides, inner[k + 1], inner[k], u1, u0)
        outline = (outer[k], outer[k + 1], inner[k + 1], inner[k])
        ends.face([(ends.point((*p, half)), (u0, 0.0)) for p in reversed(outline)])
        ends.face([(ends.point((*p, -half)), (u0, 1.0)) for p in outline])
    strip(fronts, inner[0], outer[0], 0.0, 0.0)
    strip(fronts, outer[last], inner[last], 1.0, 1.0)
    return joined(sides, fronts, ends)


def book_pages():
    """The block between the boards, its fore edge hollow. Texture v runs through the pages."""
    (width, depth, thick), board = BOOK, 0.28
    half = depth / 2 - 0.35
    left, right, rows = -width / 2 + 0.05, width / 2 - 0.4, 8
    fore, ends = Mesh(), Mesh()

    def edge(v):
        return right - 0.35 * math.sin(math.pi * v)

    def height(v):
        return board + (thick - 2 * board) * v

    fore.grid(1, rows, lambda u, v: (edge(v), height(v), half - 2 * half * u))
    ends.grid(1, rows, lambda u, v: (left + (edge(v) - left) * u, height(v), half), lambda u, v: (u, v))
    ends.grid(1, rows, lambda u, v: (edge(v) + (left - edge(v)) * u, height(v), -half), lambda u, v: (u, v))
    return joined(fore, ends)


def candle():
    """Wax with a hollow top and drips; 11 high."""
    drips = ((1.2, 4.4, 0.16), (2.5, 6.8, 0.12), (-0.4, 5.4, 0.14), (0.35, 7.9, 0.1), (1.75, 8.2, 0.11))

    def drip(p):
        x, y, z = p
        a, r, grow = math.atan2(z, x), math.hypot(x, z), 0.0
        for angle, low, wide in drips:
            away = (a - angle + math.pi) % (2 * math.pi) - math.pi
            tip = 1 + 0.9 * math.exp(-((y - low - 0.5) / 0.55) ** 2)
            grow += 0.26 * math.exp(-(away / wide) ** 2) * smoothstep(low - 0.3, low + 0.5, y) * tip
        if r < 1.7 or y > 11.2:
            return p
        k = (r + grow * smoothstep(11.15, 10.2, y)) / r
        return (x * k, y - 0.25 * smoothstep(9.8, 11.0, y) * (1 + math.sin(a + 0.5)), z * k)

    body = turned([
        (2.35, 0.0), (2.4, 0.2), (2.38, 1.5), (2.35, 3.0), (2.34, 4.0), (2.33, 5.0), (2.32, 6.0), (2.31, 7.0),
        (2.3, 8.0), (2.3, 9.2), (2.3, 10.4), (2.28, 10.9), (2.1, 11.1), (1.9, 10.95),
        (1.5, 10.35), (0.9, 10.15), (0.0, 10.1)], 64)
    return body.map(drip)


def flame():
    """From the wick upwards, 4.4 high; its texture's v goes from base to tip."""
    body = turned([
        (0.0, 0.0), (0.3, 0.12), (0.55, 0.55), (0.68, 1.1), (0.62, 1.8), (0.43, 2.6), (0.2, 3.6), (0.0, 4.4)], 24)
    return body.map(lambda p: (p[0] + 0.02 * p[1] * p[1], p[1], p[2]))


def candlestick():
    """A low dish with a socket and a ring to hold it by, at +x."""
    dish = turned([
        (0.0, 0.15), (3.0, 0.05), (4.6, 0.0), (4.9, 0.2), (5.9, 0.9), (6.5, 1.7), (6.65, 1.85), (6.5, 1.95),
        (6.3, 1.75), (5.6, 1.1), (4.6, 0.6), (3.2, 0.5), (2.95, 0.8), (2.75, 1.4), (2.75, 2.4), (2.95, 2.75),
        (2.9, 2.95), (2.6, 2.9), (2.45, 2.4), (2.3, 1.2), (0.0, 1.2)], 48)
    ring = [(8.0 - 1.7 * math.cos(a), 1.6 + 0.55 * (1 - math.cos(a)) * 0.5, 1.7 * math.sin(a))
            for a in (2 * math.pi * k / 24 for k in range(25))]
    return joined(dish, tube(ring, lambda t: 0.32, 10))


# ---- cloth and room -----------------------------------------------------------------------------------------------

TABLE_EDGE = 20.0  # z of the table's front

# Folds that the cloth was left with: a line from (x, z) to (x, z), height, width, and how much it wanders.
FOLDS = [
    ((-34, -13), (2, -19), 0.9, 1.5, 0.8), ((-30, 6), (-16, 12), 0.8, 1.2, 0.6), ((-14, 14), (9, 7.5), 1.0, 1.3, 0.9),
    ((-8, 20), (-4, 12), 0.9, 1.5, 0.6), ((-22, 20), (-17, 12), 1.1, 1.3, 0.5), ((3, 20), (8, 12), 1.2, 1.2, 0.5),
    ((-30, 18), (-38, 2), 1.2, 1.6, 0.7), ((-2, -12), (13, -20), 0.8, 1.4, 0.6), ((-12, 4), (-5, 0), 0.5, 1.0, 0.4),
]
# What stands on it presses it flat: (x, z, radius).
PRESSED = [(-19.0, -2.0, 4.4), (-11.0, 8.5, 3.5), (0.5, -5.0, 4.4), (-1.5, 14.0, 3.4), (-23.5, 9.5, 3.4)]


def cloth_height(x, z):
    folds = 0.0
    for k, ((ax, az), (bx, bz), high, wide, wander) in enumerate(FOLDS):
        dx, dz = bx - ax, bz - az
        length = math.hypot(dx, dz)
        along = ((x - ax) * dx + (z - az) * dz) / (length * length)
        across = ((x - ax) * dz - (z - az) * dx) / length
        across += wander * math.sin(0.35 * along * length + k) + 0.4 * noise(0.2 * x, 0.2 * z, 20 + k)
        ends = smoothstep(-0.15, 0.2, along) * smoothstep(1.15, 0.75, along)
        folds += 0.75 * high * ends * math.exp(-(across / (1.15 * wide)) ** 2)
    folds += 0.16 * noise(0.11 * x, 0.13 * z, 3) + 0.05 * noise(0.4 * x, 0.35 * z, 4)
    for px, pz, radius in PRESSED:
        folds *= smoothstep(radius * 0.96, radius * 1.55, math.hypot(x - px, z - pz))
    return max(0.0, folds)


def cloth():
    """Lies on the table left of a wandering hem and hangs over the front edge."""
    mesh = Mesh()
    back, bend, drop = -30.0, 1.2, 7.0
    arc = bend * math.pi / 2
    flat = TABLE_EDGE - back
    total = flat + arc + drop

    def way(t):
        """From the far side, t from 0 to 1: close steps where the cloth goes over the edge."""
        for t0, t1, s0, s1 in ((0, 0.25, 0, flat - 20), (0.25, 0.7, flat - 20, flat), (0.7, 0.85, flat, flat + arc)):
            if t <= t1:
                return s0 + (s1 - s0) * (t - t0) / (t1 - t0)
        return flat + arc + drop * (t - 0.85) / 0.15

    def position(u, v):
        # v = 1 is the far side; s is the way from there.
        s = way(1 - v)
        left, right = -46.0, 11.0 + 1.2 * math.sin(0.21 * s + 0.6) + 0.05 * (s - 20)
        x = left + (right - left) * u
        hem = smoothstep(1.6, 0.2, right - x)
        if s <= flat:
            z = back + s
            lift = cloth_height(x, z) * (1 - 0.6 * hem) + 0.25 * hem * max(0.0, noise(0.17 * s, 1.7, 9)) + 0.1
            return (x, lift, z)
        wave = 0.35 * math.sin(0.42 * x + 1.2 * math.sin(0.13 * x)) + 0.12 * math.sin(0.93 * x + 2.0)
        top = cloth_height(x, TABLE_EDGE) + 0.1
        if s <= flat + arc:
            a = (s - flat) / bend
            out = (bend + top) * math.sin(a)
            return (x, -bend + (bend + top) * math.cos(a), TABLE_EDGE + out)
        down = s - flat - arc
        sway = smoothstep(0.0, 9.0, down)
        return (x + 0.25 * sway * wave, -bend - down, TABLE_EDGE + bend + top * (1 - sway) + sway * (0.4 + wave))

    mesh.grid(84, 60, position, lambda u, v: (u, 1 - way(1 - v) / total))
    return mesh


def table():
    """The board, with a rounded front edge."""
    mesh = Mesh()
    edge = [(-34.0, -0.02), (TABLE_EDGE - 0.6, -0.02)]
    edge += [(TABLE_EDGE - 0.6 + 0.6 * math.sin(a), -0.62 + 0.6 * math.cos(a)) for a in (0.3, 0.7, 1.1, math.pi / 2)]
    edge += [(TABLE_EDGE, -12.0)]
    way = [0.0]
    for a, b in zip(edge, edge[1:]):
        way.append(way[-1] + math.dist(a, b))
    rows = len(edge) - 1

    def position(u, v):
        z, y = edge[rows - round(v * rows)]
        return (-60 + 120 * u, y, z)

    mesh.grid(6, rows, position, lambda u, v: (3 * u, way[rows - round(v * rows)] / 40))
    return mesh


def wall():
    """Behind the table."""
    mesh = Mesh()
    mesh.grid(2, 2, lambda u, v: (-110 + 220 * u, -40 + 130 * v, -46.0))
    return mesh


def window():
    """Four bright panes in the plane z = 0, looking along -z."""
    panes = []
    for x in (-1, 1):
        for y in (-1, 1):
            pane = Mesh()
            pane.grid(1, 1, lambda u, v: (x * 5.2 + 4.7 * (1 - 2 * u), y * 6.7 + 6.2 * (2 * v - 1), 0.0))
            panes.append(pane)
    return joined(*panes)
