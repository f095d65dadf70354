"""A fractal landscape of ridged noise behind a lake."""

import math

from .mesh import Mesh


def hash01(x, y, seed):
    """A number from 0 to 1 for a lattice point; the same on every machine."""
    h = (x * 374761393 + y * 668265263 + seed * 2147483647) & 0xFFFFFFFF
    h = ((h ^ (h >> 13)) * 1274126177) & 0xFFFFFFFF
    return ((h ^ (h >> 16)) & 0xFFFFFFFF) / 0xFFFFFFFF


def noise(x, y, seed):
    """Gradient noise, about -1 to 1."""
    ix, iy = math.floor(x), math.floor(y)
    fx, fy = x - ix, y - iy

    def corner(dx, dy):
        angle = 2 * math.pi * hash01(ix + dx, iy + dy, seed)
        return math.cos(angle) * (fx - dx) + math.sin(angle) * (fy - dy)

    def fade(t):
        return t * t * t * (t * (6 * t - 15) + 10)

    u, v = fade(fx), fade(fy)
    bottom = corner(0, 0) + (corner(1, 0) - corner(0, 0)) * u
    top = corner(0, 1) + (corner(1, 1) - corner(0, 1)) * u
    return 1.4 * (bottom + (top - bottom) * v)


def ridged(x, y, octaves, seed):
    """Sharp crests, smooth valleys: each octave is strong only where the one before is high."""
    total, amplitude, frequency, weight = 0.0, 0.5, 1.0, 1.0
    for octave in range(octaves):
        ridge = (1 - abs(noise(x * frequency, y * frequency, seed + octave))) ** 2
        total += amplitude * ridge * weight
        weight = min(1.0, ridge * 1.8)
        amplitude *= 0.5
        frequency *= 2.1
    return total


def height(x, depth, seed):
    """Height over the lake, about -0.05 to 1. `x` from -1 to 1 across, `depth` from 0 in front to 1."""
    warp = 0.25 * noise(x * 1.7 + 7, depth * 2.5, seed + 50)
    h = ridged(x * 1.25 + warp + 3.1, depth * 2.1 + warp, 6, seed)
    shore = 0.12 + 0.07 * noise(x * 2.5, 3.3, seed + 70) - 0.16 * x * x
    slope = min(1.0, max(0.0, (depth - shore) / 0.6)) ** 1.2
    return (0.05 + 0.95 * h) * slope * (0.62 + 0.38 * min(1.0, abs(x) * 1.4)) + 0.02 * slope - 0.05 * (1 - slope) ** 4


def terrain(columns, rows, width, high, seed=11):
    """A fan that widens with the distance, so that its quads look equally large from in front of it. Across x, from
    z = 0 backwards; the lake lies at height 0."""
    mesh = Mesh()

    def position(u, v):
        depth = 0.35 * v + 0.65 * v * v
        x = (2 * u - 1) * (0.42 + 0.9 * depth)
        return (x * width / 2, high * height(x, depth, seed), -width * depth)

    mesh.grid(columns, rows, position)
    # The lake hides its ground; what lies well below is left out.
    mesh.faces = [face for face in mesh.faces if any(mesh.points[c[0]][1] > -0.4 for c in face)]
    return mesh.without_loose_points()
