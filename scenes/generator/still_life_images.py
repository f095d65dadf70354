"""Textures of the still life: skins of fruit, linen, wood, glazes, paper."""

import math

from .images import flower
from .terrain import hash01, noise


def mix(a, b, t):
    t = min(1.0, max(0.0, t))
    return tuple(x + (y - x) * t for x, y in zip(a, b))


def around(u, v, scale, seed):
    """Noise on a lathe work: without a seam where u comes round. `scale` is radius and height in periods."""
    a = 2 * math.pi * u
    return noise(scale[0] * math.cos(a) + 31.7, scale[0] * math.sin(a) + scale[1] * v, seed)


def freckles(u, v, columns, rows, seed, size):
    """1 inside of one of the dots that are strewn over a grid."""
    x, y = u * columns, v * rows
    cx, cy = math.floor(x), math.floor(y)
    dot = (cx + 0.25 + 0.5 * hash01(cx, cy, seed), cy + 0.25 + 0.5 * hash01(cx, cy, seed + 1))
    return 1.0 if math.hypot(x - dot[0], y - dot[1]) < size * hash01(cx, cy, seed + 2) else 0.0


def apple(u, v):
    streak = around(u, 0.25 * v, (9.0, 2.0), 2)
    blush = 0.55 + 0.75 * around(u, v, (0.7, 0.6), 5) + 0.35 * streak - 0.5 * max(0.0, v - 0.86) * 7
    color = mix((0.80, 0.55, 0.12), (0.50, 0.045, 0.03), blush)
    color = mix(color, (0.30, 0.02, 0.03), 0.6 * (blush - 0.9))
    color = mix(color, (0.45, 0.36, 0.12), (v - 0.93) * 16)
    return mix(color, (0.85, 0.65, 0.35), 0.35 * freckles(u, v, 44, 22, 3, 0.16))


def pear(u, v):
    blush = 0.9 * around(u, v, (0.6, 0.5), 7) + 0.5 * math.sin(2 * math.pi * u) - 0.15
    color = mix((0.62, 0.58, 0.10), (0.66, 0.24, 0.06), blush)
    color = mix(color, (0.50, 0.55, 0.10), 0.5 + around(u, v, (1.5, 1.0), 9))
    color = mix(color, (0.38, 0.26, 0.10), 5 * (abs(v - 0.5) - 0.42) + 0.6 * around(u, v, (3.0, 4.0), 4))
    return mix(color, (0.33, 0.24, 0.08), 0.55 * freckles(u, v, 52, 34, 3, 0.15))


def lemon_cut(u, v):
    """Peel below the middle, above it the cut from rim to centre."""
    if v < 0.5:
        return mix((0.86, 0.66, 0.06), (0.78, 0.55, 0.04), 0.5 + around(u, v, (5.0, 9.0), 2))
    r = 1 - (v - 0.5) * 2
    if r > 0.965:
        return (0.86, 0.66, 0.08)
    pith = (0.94, 0.90, 0.70)
    if r > 0.90:
        return pith
    wedge = u * 9 % 1 - 0.5
    membrane = 0.5 - abs(wedge)  # 0 on the skin between two wedges
    across = membrane * r * 2 * math.pi / 9
    if across < 0.012 or r < 0.09 or (r > 0.86 and across < 0.06 - (0.9 - r)):
        return pith
    fibre = noise(u * 9 * 9, r * 6 + 2 * hash01(math.floor(u * 9), 1, 6), 11)
    pulp = mix((0.83, 0.64, 0.10), (0.93, 0.83, 0.36), 0.45 + 0.6 * fibre)
    return mix(pulp, pith, 0.35 * (0.05 - across) / 0.05)


def linen(u, v):
    """Undyed, with blue stripes along the hem at u = 1 and along the front; v = 0 is the lower edge."""
    thread = 0.5 * noise(u * 260, v * 34, 5) + 0.5 * noise(u * 34, v * 260, 6)
    color = mix((0.76, 0.72, 0.64), (0.86, 0.83, 0.76), 0.5 + 0.7 * thread)
    blue = mix((0.12, 0.18, 0.34), (0.20, 0.28, 0.46), 0.5 + thread)
    along = (1 - u) * 57.0  # centimetres from the hem
    for low, high in ((2.6, 3.1), (3.5, 5.3), (5.7, 6.2)):
        if low < along < high:
            return blue
    return color


def boards(u, v):
    """A dark table of boards that run along u."""
    board = math.floor(v * 4)
    y = v * 4 - board
    shift = 5.3 * hash01(board, 1, 9)
    bend = 0.35 * noise(u * 1.6 + shift, y * 1.2, 3)
    rings = noise(u * 1.1 + shift, (y + bend) * 7.0, 14 + board % 5)
    fine = noise(u * 9 + shift, y * 55, 8)
    color = mix((0.125, 0.068, 0.036), (0.24, 0.135, 0.068), 0.5 + 0.75 * rings + 0.22 * fine)
    gap = min(y, 1 - y)
    return mix(color, (0.03, 0.017, 0.01), 1 - gap / 0.02) if gap < 0.02 else color


def cream_glaze(u, v):
    """The pitcher: bands and a row of flowers in blue."""
    ground = mix((0.80, 0.75, 0.63), (0.87, 0.83, 0.73), 0.5 + 0.6 * around(u, v, (1.4, 2.0), 2))
    blue = mix((0.07, 0.13, 0.33), (0.15, 0.25, 0.50), 0.5 + around(u, v, (4.0, 7.0), 3))
    for low, high in ((0.205, 0.213), (0.222, 0.228), (0.415, 0.421), (0.430, 0.445), (0.575, 0.592)):
        if low < v < high:
            return blue
    x, y = (u * 9) % 1 - 0.5, (v - 0.32) * 8.5
    d = flower(x, y, 0.36, 6)
    if d < 0:
        return ground if 0.07 < math.hypot(x, y) < 0.105 else blue
    x = (u * 9 + 0.5) % 1 - 0.5
    if math.hypot(x, y) < 0.085 or abs(math.hypot(x, abs(y) - 0.36) - 0.1) < 0.03:
        return blue
    return ground


def plaster(u, v):
    n = noise(u * 7, v * 5, 2) + 0.5 * noise(u * 15, v * 12, 3) + 0.3 * noise(u * 37, v * 33, 4)
    return mix((0.42, 0.39, 0.31), (0.62, 0.56, 0.43), 0.5 + 0.45 * n)


def pages(u, v):
    line = noise(0.4 * u, v * 46, 3)
    return mix((0.52, 0.44, 0.31), (0.84, 0.78, 0.64), 0.55 + 0.8 * line)


def leaf(u, v):
    side = abs(2 * v - 1)
    vein = abs((u * 9 - 2.2 * side) % 1 - 0.5) * 2
    color = mix((0.10, 0.22, 0.035), (0.20, 0.33, 0.06), 0.5 + 0.6 * noise(u * 9, v * 7, 3))
    if side < 0.035 or vein > 0.93:
        return mix(color, (0.36, 0.44, 0.16), 0.6)
    return color


def flame(u, v):
    """Black at the base, blue, then white and orange."""
    if v < 0.3:
        return mix((0.02, 0.03, 0.10), (0.55, 0.25, 0.06), v / 0.3)
    return mix((1.0, 0.78, 0.36), (1.0, 0.46, 0.1), (v - 0.45) / 0.5) if v > 0.45 else \
        mix((0.55, 0.25, 0.06), (1.0, 0.78, 0.36), (v - 0.3) / 0.15)
