"""The teapot of 1975, the test model of computer graphics: 32 bicubic Bezier patches, z up, in the published numbers.

The patches of rim, body, lid and bottom are a quarter turn of a profile; handle and spout are half of their shape. The
rest follows by symmetry.
"""

from .mesh import Mesh

QUARTER = ((1.0, 0.0), (1.0, 0.56), (0.56, 1.0), (0.0, 1.0))  # control points of a quarter circle

# (radius, height), four control points per patch; each patch begins where the one before ends.
BODY = (
    (1.4, 2.4), (1.3375, 2.53125), (1.4375, 2.53125), (1.5, 2.4),
    (1.75, 1.875), (2.0, 1.35), (2.0, 0.9),
    (2.0, 0.45), (1.5, 0.225), (1.5, 0.15),
    (1.5, 0.075), (1.425, 0.0), (0.0, 0.0),
)
LID = (
    (0.0, 3.15), (0.8, 3.15), (0.0, 2.85), (0.2, 2.7),
    (0.4, 2.55), (1.3, 2.55), (1.3, 2.4),
)

# Rows along the shape; the four points of a row go half way round it: (x, y, z).
HANDLE = (
    ((-1.6, 0, 2.025), (-1.6, -0.3, 2.025), (-1.5, -0.3, 2.25), (-1.5, 0, 2.25)),
    ((-2.3, 0, 2.025), (-2.3, -0.3, 2.025), (-2.5, -0.3, 2.25), (-2.5, 0, 2.25)),
    ((-2.7, 0, 2.025), (-2.7, -0.3, 2.025), (-3.0, -0.3, 2.25), (-3.0, 0, 2.25)),
    ((-2.7, 0, 1.8), (-2.7, -0.3, 1.8), (-3.0, -0.3, 1.8), (-3.0, 0, 1.8)),
    ((-2.7, 0, 1.575), (-2.7, -0.3, 1.575), (-3.0, -0.3, 1.35), (-3.0, 0, 1.35)),
    ((-2.5, 0, 1.125), (-2.5, -0.3, 1.125), (-2.65, -0.3, 0.9375), (-2.65, 0, 0.9375)),
    ((-2.0, 0, 0.9), (-2.0, -0.3, 0.9), (-1.9, -0.3, 0.6), (-1.9, 0, 0.6)),
)
SPOUT = (
    ((1.7, 0, 1.425), (1.7, -0.66, 1.425), (1.7, -0.66, 0.6), (1.7, 0, 0.6)),
    ((2.6, 0, 1.425), (2.6, -0.66, 1.425), (3.1, -0.66, 0.825), (3.1, 0, 0.825)),
    ((2.3, 0, 2.1), (2.3, -0.25, 2.1), (2.4, -0.25, 2.025), (2.4, 0, 2.025)),
    ((2.7, 0, 2.4), (2.7, -0.25, 2.4), (3.3, -0.25, 2.4), (3.3, 0, 2.4)),
    ((2.8, 0, 2.475), (2.8, -0.25, 2.475), (3.525, -0.25, 2.49375), (3.525, 0, 2.49375)),
    ((2.9, 0, 2.475), (2.9, -0.15, 2.475), (3.45, -0.15, 2.5125), (3.45, 0, 2.5125)),
    ((2.8, 0, 2.4), (2.8, -0.15, 2.4), (3.2, -0.15, 2.4), (3.2, 0, 2.4)),
)


def bernstein(t):
    s = 1 - t
    return (s * s * s, 3 * s * s * t, 3 * s * t * t, t * t * t)


def patch_point(rows, u, v):
    """A point of a patch of 4 x 4 control points: v selects among the rows, u within them."""
    bu, bv = bernstein(u), bernstein(v)
    return tuple(
        sum(bv[r] * bu[c] * rows[r][c][axis] for r in range(4) for c in range(4)) for axis in range(3))


def turn(point, quarters):
    x, y, z = point
    for _ in range(quarters):
        x, y = -y, x
    return (x, y, z)


def teapot(steps=6):
    """The whole pot with `steps` x `steps` quads per patch, y up, standing on y = 0, spout towards +x."""
    mesh = Mesh()

    def revolve(profile, v_range):
        patches = (len(profile) - 1) // 3
        for k in range(patches):
            rows = [[(r * c, -r * s, z) for c, s in QUARTER] for r, z in profile[3 * k:3 * k + 4]]
            for q in range(4):
                # From the top of the profile downwards: v is turned so that textures stand upright.
                def position(u, v, rows=rows, q=q):
                    return turn(patch_point(rows, 1 - u, 1 - v), q)

                def coordinate(u, v, k=k, q=q):
                    low, high = v_range
                    return ((q + u) / 4, high - (high - low) * (k + 1 - v) / patches)

                mesh.grid(steps, steps, position, coordinate)

    def mirror(rows, patches):
        for k in range(patches):
            part = rows[3 * k:3 * k + 4]
            for side in (1, -1):
                def position(u, v, part=part, side=side):
                    x, y, z = patch_point(part, u if side > 0 else 1 - u, v)
                    return (x, y * side, z)

                def coordinate(u, v, k=k, side=side):
                    return (u / 2 if side > 0 else 0.5 + u / 2, (k + v) / patches)

                mesh.grid(steps, steps, position, coordinate)

    revolve(BODY, (0.0, 0.75))
    revolve(LID, (0.75, 1.0))
    mirror(HANDLE, 2)
    mirror(SPOUT, 2)
    return mesh.map(lambda p: (p[0], p[2], -p[1]))
