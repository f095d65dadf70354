"""A fractal landscape: ridged noise, carved by a few rounds of erosion."""

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
        weight = min(1.0, ridge * 1.6)
        amplitude *= 0.52
        frequency *= 2.05
    return total


def heights(size, seed):
    """A square of heights, 0 to about 1, falling to a lake in front (small row numbers)."""
    field = []
    for row in range(size):
        line = []
        for column in range(size):
            x, y = 5 * column / size, 5 * row / size
            warp = 0.35 * noise(x * 0.9 + 7, y * 0.9, seed + 50)
            h = ridged(x * 0.55 + warp + 3.1, y * 0.55 + warp, 6, seed)
            back = row / (size - 1)
            side = abs(2 * column / (size - 1) - 1)
            shore = 0.24 + 0.12 * noise(x * 0.8, 3.3, seed + 70) - 0.26 * side ** 2
            slope = min(1.0, max(0.0, (back - shore) / 0.5))
            line.append((0.12 + 0.9 * h) * slope ** 0.9 * (0.75 + 0.25 * side) + 0.04 * slope - 0.06 * (1 - slope))
        field.append(line)
    return field


def erode(field, rounds, angle):
    """Lets material slide to the lowest neighbour wherever the slope is steeper than `angle` (height per cell)."""
    size = len(field)
    for _ in range(rounds):
        moved = [line[:] for line in field]
        for r in range(1, size - 1):
            for c in range(1, size - 1):
                low = min(((r - 1, c), (r + 1, c), (r, c - 1), (r, c + 1)), key=lambda n: field[n[0]][n[1]])
                drop = field[r][c] - field[low[0]][low[1]] - angle
                if drop > 0:
                    moved[r][c] -= 0.25 * drop
                    moved[low[0]][low[1]] += 0.25 * drop
        field = moved
    return field


def terrain(size, height, seed=11):
    """Columns along x from 0 to size - 1, rows backwards from z = 0 to 1 - size; heights in the same unit."""
    field = erode(heights(size, seed), 6, 0.035)
    mesh = Mesh()
    n = size - 1

    def position(u, v):
        c, r = round(u * n), round(v * n)
        return (c, height * field[r][c], -r)

    mesh.grid(n, n, position)
    # The lake at height 0 hides its ground; what lies well below is left out.
    mesh.faces = [face for face in mesh.faces if any(mesh.points[c[0]][1] > -0.5 for c in face)]
    return mesh.without_loose_points()
