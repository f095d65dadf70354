"""Textures of the attic room: floor, rug, cloth, pictures, sky."""

import math

from .images import flower
from .still_life_images import mix
from .terrain import hash01, noise


def rounds(u, v, scale, seed):
    """Noise that repeats where u and v come round."""
    a, b = 2 * math.pi * u, 2 * math.pi * v
    return 0.5 * (noise(scale * math.cos(a) + 3.1, scale * math.sin(a) + 5.7, seed) +
                  noise(scale * math.cos(b) + 8.2, scale * math.sin(b) + 1.9, seed + 1))


def oak_floor(u, v):
    """Twelve boards side by side, running along v; repeats."""
    board = math.floor(u * 12)
    x = u * 12 - board
    start = hash01(board, 1, 5)
    piece = math.floor(v + start)
    y = v + start - piece
    serial = board + 17 * (1 if y < 0.5 else 0)
    tone = hash01(serial, 2, 5)
    a = 2 * math.pi * v
    grain = noise(x * 5 + 0.6 * math.sin(a + tone * 6) + 9 * tone, 1.2 * math.cos(a) + board * 3.7, 6)
    color = mix((0.50, 0.31, 0.17), (0.68, 0.46, 0.27), 0.15 + 0.7 * tone + 0.45 * grain)
    edge = min(x, 1 - x) / 12
    end = min(abs(y), abs(y - 0.5), abs(1 - y))
    gap = min(edge / 0.0022, end / 0.0022)
    return mix((0.16, 0.09, 0.05), color, gap) if gap < 1 else color


def kilim(u, v):
    """The rug: borders, and rows of diamonds."""
    cream, red, blue, ochre = (0.82, 0.75, 0.62), (0.52, 0.13, 0.10), (0.10, 0.16, 0.27), (0.76, 0.50, 0.18)
    x, y = u * 190, v * 128
    edge = min(x, 190 - x, y, 128 - y)
    if edge < 3 or 13 < edge < 15:
        color = blue
    elif edge < 13:
        along = x if min(y, 128 - y) < min(x, 190 - x) else y
        tooth = abs((along / 9.5) % 1 - 0.5) * 2
        color = red if (edge - 3) / 10 < tooth else cream
    else:
        cell_x, cell_y = (x - 15) / 32, (y - 15) / 32.667
        row = math.floor(cell_y)
        d = abs(cell_x % 1 - 0.5) + abs(cell_y % 1 - 0.5)
        inner = (ochre, blue, red)[(math.floor(cell_x) + 2 * row) % 3]
        outer = (blue, red)[(math.floor(cell_x) + row) % 2]
        color = inner if d < 0.2 else outer if 0.29 <= d < 0.44 else cream
    thread = 0.9 + 0.1 * math.cos(2 * math.pi * y / 1.6) + 0.12 * noise(x * 0.9, y * 0.12, 3)
    return tuple(c * thread for c in color)


def mustard(u, v):
    """Cloth of the armchair; repeats."""
    n = 40
    over = (math.floor(u * n) + math.floor(v * n)) % 2
    x, y = u * n % 1 - 0.5, v * n % 1 - 0.5
    lift = 1 - 1.6 * (x * x if over else y * y) - 0.9 * (y * y if over else x * x)
    return mix((0.54, 0.36, 0.08), (0.80, 0.55, 0.17), 0.3 + 0.7 * lift + 0.4 * rounds(u, v, 1.5, 8))


def pillow(u, v):
    """Broad stripes."""
    x = abs(2 * u - 1)
    ground, stripe = (0.86, 0.81, 0.70), (0.10, 0.24, 0.27)
    color = stripe if 0.18 < x < 0.32 or 0.40 < x < 0.44 or 0.62 < x < 0.76 else ground
    return tuple(c * (0.94 + 0.08 * math.cos(2 * math.pi * 60 * v)) for c in color)


def hills(u, v):
    """A picture: hills behind each other under an evening sky, on a mount."""
    paper = (0.90, 0.87, 0.80)
    if min(u, 1 - u) < 0.12 or min(v, 1 - v) < 0.12:
        return paper
    x, y = (u - 0.12) / 0.76, (v - 0.12) / 0.76
    color = mix((0.93, 0.66, 0.40), (0.55, 0.68, 0.72), (y - 0.35) * 1.7)
    if math.hypot((x - 0.66) * 1.3, y - 0.66) < 0.10:
        color = (0.96, 0.86, 0.62)
    for k in range(4):
        line = 0.56 - 0.15 * k + 0.09 * noise(x * (2.2 + k) + 3 * k, 0.5, 11 + k) + 0.03 * math.sin(7 * x + 2 * k)
        if y < line:
            color = mix((0.55, 0.60, 0.58), (0.09, 0.20, 0.18), k / 3)
    return color


def sprig(u, v):
    """A picture: a branch with leaves on paper."""
    color = (0.88, 0.85, 0.77)
    x, y = (u - 0.5) * 0.8, v - 0.12
    bend = 0.10 * math.sin(2.6 * y)
    if 0 < y < 0.72 and abs(x - bend) < 0.007:
        color = (0.30, 0.24, 0.14)
    for k in range(9):
        at = 0.12 + 0.072 * k
        side = 1 if k % 2 else -1
        px, py = x - 0.10 * math.sin(2.6 * at), y - at
        along, across = side * px * 0.8 + py * 0.6, -side * px * 0.6 + py * 0.8
        length = 0.25 - 0.016 * k
        t = along / length
        if 0 < t < 1 and abs(across) < 0.052 * math.sin(math.pi * t ** 0.8):
            color = mix((0.16, 0.30, 0.20), (0.34, 0.46, 0.28), 0.5 + 6 * across)
    return color


def rosette(u, v):
    """A picture: two colors and a flower."""
    color = (0.86, 0.80, 0.68)
    x, y = u - 0.5, v - 0.5
    if abs(x) < 0.38 and abs(y) < 0.38:
        color = (0.62, 0.25, 0.14)
        d = flower(x, y, 0.34, 8)
        if d < 0:
            color = (0.90, 0.74, 0.44) if math.hypot(x, y) > 0.10 else (0.12, 0.25, 0.28)
    return color


def afternoon(u, v):
    """Sky outside of the window."""
    cloud = noise(u * 2.2 + 0.7, v * 3.4, 3) + 0.5 * noise(u * 5, v * 8, 4) + 0.25 * noise(u * 11, v * 15, 5)
    return mix(mix((0.80, 0.88, 0.93), (0.42, 0.64, 0.90), v), (1.0, 0.98, 0.94), 0.25 + 1.1 * cloud)


def house_leaf(u, v):
    side = abs(2 * v - 1)
    vein = abs((u * 10 - 2.5 * side) % 1 - 0.5) * 2
    color = mix((0.05, 0.17, 0.06), (0.11, 0.28, 0.09), 0.5 + 0.6 * noise(u * 5, v * 4, 3))
    return mix(color, (0.24, 0.40, 0.16), 0.7) if side < 0.04 or vein > 0.93 else color
