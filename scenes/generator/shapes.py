"""The shapes of the scenes: toys smoothed from a few cubes, turned parts, a waving flag."""

import math

from .mesh import Mesh, catmull_clark, relaxed, subtract, voxels


def box(xs, ys, zs):
    return {(x, y, z) for x in xs for y in ys for z in zs}


def dog():
    """A toy dog of about 8 x 9 x 3 units that looks along +x, its feet on y = 0, in the middle of x and z."""
    cells = box(range(0, 5), (2, 3), range(3))                       # body
    cells |= box((0, 4), (0, 1), (0, 2))                             # legs
    cells |= {(-1, 3, 1), (-1, 4, 1)}                                # tail
    cells |= {(4, 4, 1)} | box((4, 5), (5, 6), range(3))             # neck and head
    cells |= {(6, 5, 1), (4, 7, 0), (4, 7, 2)}                       # snout, ears
    mesh = catmull_clark(relaxed(catmull_clark(voxels(cells), 1), 8), 1)
    low = min(p[1] for p in mesh.points)
    return mesh.map(lambda p: (p[0] - 2.5, p[1] - low, p[2] - 1.5))


def frame():
    """The twelve edges of a cube, grown together softly; 4 units wide, around the origin."""
    cells = {c for c in box(range(4), range(4), range(4)) if sum(x in (0, 3) for x in c) >= 2}
    return catmull_clark(voxels(cells), 2).map(lambda p: tuple(x - 2 for x in p))


def lathe(profile, steps, wave=lambda angle, v: (1.0, 0.0)):
    """Turns a profile of (radius, height) around y, bottom to top. `wave` gives a factor for the radius and a lift."""
    mesh = Mesh()

    def position(u, v):
        at = min(v * (len(profile) - 1), len(profile) - 1 - 1e-9)
        k = int(at)
        (r0, y0), (r1, y1) = profile[k], profile[k + 1]
        f = at - k
        factor, lift = wave(2 * math.pi * u, v)
        radius = (r0 + (r1 - r0) * f) * factor
        # The turn goes clockwise seen from above, so that faces look outward.
        return (radius * math.cos(2 * math.pi * u), y0 + (y1 - y0) * f + lift, -radius * math.sin(2 * math.pi * u))

    mesh.grid(steps, len(profile) - 1, position)
    return mesh


def rounded(profile, radius=0.08, steps=3):
    """Rounds the corners of a profile, so that smooth normals shade it well."""
    result = [profile[0]]
    for before, corner, after in zip(profile, profile[1:], profile[2:]):
        ends = []
        for other in (before, after):
            d = math.dist(corner, other)
            f = min(radius / d, 0.45)
            ends.append(tuple(c + (o - c) * f for c, o in zip(corner, other)))
        for k in range(steps + 1):
            t = k / steps
            result.append(tuple((1 - t) ** 2 * a + 2 * t * (1 - t) * c + t * t * b
                                for a, c, b in zip(ends[0], corner, ends[1])))
    return result + [profile[-1]]


def canopy():
    """A tent roof of radius 5 with sixteen sagging gores and a scalloped edge."""
    gores = 16

    def wave(angle, v):
        sag = abs(math.sin(gores / 2 * angle))
        edge = max(0.0, 1 - v * 6)
        return (1 - 0.03 * sag * (1 - v), -0.18 * sag * math.sin(math.pi * min(1, v * 1.15)) - 0.3 * edge * sag)

    rows = 9
    profile = [(5.0, -0.45), (5.05, 0.0)]
    for k in range(1, rows):
        t = k / (rows - 1)
        profile.append((5.05 * (1 - t), 2.6 * t ** 1.35))
    return lathe(profile, gores * 6, wave)


def flag(time, columns=20, rows=12, width=2.4, height=1.3):
    """A flag that waves along +x from its pole at x = 0; `time` in periods."""
    mesh = Mesh()

    def position(u, v):
        phase = 2 * math.pi * (1.6 * u - time)
        depth = 0.34 * u ** 0.8
        return (width * u - 0.1 * u * math.cos(phase), height * (v - 0.5) + 0.1 * u * math.cos(phase + 1 + v),
                depth * math.sin(phase + 0.6 * v))

    mesh.grid(columns, rows, position)
    return mesh


def moving_flag(time, shutter):
    mesh, later = flag(time), flag(time + shutter)
    mesh.motions = [subtract(b, a) for a, b in zip(mesh.points, later.points)]
    return mesh


def sphere(columns, rows):
    """A unit sphere of 2 * columns * (rows - 1) triangles when its quads are split."""
    profile = [(math.sin(math.pi * k / rows), -math.cos(math.pi * k / rows)) for k in range(rows + 1)]
    profile[0], profile[-1] = (0.0, -1.0), (0.0, 1.0)
    return lathe(profile, columns)


def plane(half, repeats=1):
    mesh = Mesh()
    mesh.grid(repeats, repeats, lambda u, v: (half * (2 * u - 1), 0.0, half * (1 - 2 * v)))
    return mesh
