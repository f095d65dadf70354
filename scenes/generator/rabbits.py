"""A rabbit that sits in a meadow: its skin, coat and whiskers, and the grass. It looks along +x, its feet on y = 0."""

import math
import random

from .hair import Skin, bent
from .mesh import Mesh, add, cross, scale, subtract, unit
from .terrain import noise

EYE = (3.42, 5.5, 1.0)
NOSE = (4.93, 4.78, 0.0)
EARS = [((2.2, 5.9, side * 0.5), (0.9, 9.3, side * 1.35)) for side in (-1, 1)]


# ---- the body: ellipsoids that have grown together ----------------------------------------------------------------

class Ellipsoid:
    """`axes` are three unit vectors at right angles, those of the radii."""

    def __init__(self, center, radii, axes=((1.0, 0.0, 0.0), (0.0, 1.0, 0.0), (0.0, 0.0, 1.0))):
        self.center, self.radii, self.axes = center, radii, axes

    def distance(self, p):
        """About: exact on the surface (the well-known bound by I. Quilez)."""
        d = (p[0] - self.center[0], p[1] - self.center[1], p[2] - self.center[2])
        near = far = 0.0
        for axis, r in zip(self.axes, self.radii):
            x = (d[0] * axis[0] + d[1] * axis[1] + d[2] * axis[2]) / r
            near += x * x
            far += x * x / (r * r)
        near, far = math.sqrt(near), math.sqrt(far)
        return near * (near - 1) / far if far > 1e-9 else -min(self.radii)


def ear(base, tip):
    along = unit(subtract(tip, base))
    across = unit(cross(along, (0.96, 0.25, 0.12 if tip[2] > 0 else -0.12)))
    middle = scale(add(base, tip), 0.5)
    return Ellipsoid(middle, (1.95, 0.62, 0.2), (along, across, cross(along, across)))


def parts():
    both = [-1, 1]
    return [
        Ellipsoid((-2.1, 2.7, 0), (2.9, 2.6, 2.25)), Ellipsoid((0.6, 2.6, 0), (2.0, 2.2, 1.7)),
        Ellipsoid((1.9, 4.0, 0), (1.35, 1.35, 1.2)), Ellipsoid((2.9, 5.05, 0), (1.6, 1.3, 1.2)),
        Ellipsoid((4.1, 4.6, 0), (0.9, 0.72, 0.72)), Ellipsoid((-4.9, 2.1, 0), (0.9, 0.95, 0.9)),
        *(Ellipsoid((3.3, 4.5, 0.7 * s), (0.85, 0.75, 0.6)) for s in both),
        *(Ellipsoid((-2.0, 1.8, 1.5 * s), (2.0, 1.8, 1.05)) for s in both),
        *(Ellipsoid((-0.6, 0.42, 1.7 * s), (1.8, 0.42, 0.6)) for s in both),
        *(Ellipsoid((1.95, 1.2, 0.7 * s), (0.6, 1.5, 0.55)) for s in both),
        *(Ellipsoid((2.35, 0.35, 0.72 * s), (0.8, 0.38, 0.45)) for s in both),
        *(ear(*e) for e in EARS),
    ]


def distance(p, body, soft=0.45):
    """To the body: a smooth minimum over its parts."""
    result = 1e9
    for part in body:
        d = part.distance(p)
        gap = soft - abs(d - result)
        result = min(d, result) - (gap * gap / (4 * soft) if gap > 0 else 0)
    return result


def surface(field, low, high, step):
    """The zeros of a field as a mesh of quads (S. Gibson, "Constrained Elastic Surface Nets", 1998)."""
    counts = [math.ceil((b - a) / step) + 1 for a, b in zip(low, high)]
    nx, ny, nz = counts
    at = [[[field((low[0] + i * step, low[1] + j * step, low[2] + k * step)) for k in range(nz)] for j in range(ny)]
          for i in range(nx)]
    corners = [(i, j, k) for i in (0, 1) for j in (0, 1) for k in (0, 1)]
    edges = [(a, b) for a in corners for b in corners if a < b and sum(x != y for x, y in zip(a, b)) == 1]
    mesh, cells = Mesh(), {}

    def vertex(i, j, k):
        if (i, j, k) not in cells:
            crossings = []
            for a, b in edges:
                va = at[i + a[0]][j + a[1]][k + a[2]]
                vb = at[i + b[0]][j + b[1]][k + b[2]]
                if (va < 0) != (vb < 0):
                    t = va / (va - vb)
                    crossings.append([x + (y - x) * t for x, y in zip(a, b)])
            mean = [sum(c[n] for c in crossings) / len(crossings) for n in range(3)]
            cells[i, j, k] = len(mesh.points)
            mesh.points.append(tuple(l + (c + m) * step for l, c, m in zip(low, (i, j, k), mean)))
        return cells[i, j, k]

    for i in range(1, nx - 1):
        for j in range(1, ny - 1):
            for k in range(1, nz - 1):
                here = at[i][j][k] < 0
                around = ((at[i + 1][j][k], [(i, j, k), (i, j - 1, k), (i, j - 1, k - 1), (i, j, k - 1)]),
                          (at[i][j + 1][k], [(i, j, k), (i, j, k - 1), (i - 1, j, k - 1), (i - 1, j, k)]),
                          (at[i][j][k + 1], [(i, j, k), (i - 1, j, k), (i - 1, j - 1, k), (i, j - 1, k)]))
                for there, quad in around:
                    if here != (there < 0):
                        # Seen from outside the four cells run counter-clockwise.
                        face = [(vertex(*c), (0.0, 0.0)) for c in (quad if here else quad[::-1])]
                        mesh.faces.append(face)
    return mesh


def rabbit_skin(step=0.17):
    body = parts()
    return surface(lambda p: distance(p, body), (-6.2, -0.3, -3.2), (5.4, 9.8, 3.2), step)


# ---- the coat -----------------------------------------------------------------------------------------------------

def ear_of(p):
    """How far along an ear, 0 at its base (None elsewhere), and which."""
    for base, tip in EARS:
        way = subtract(tip, base)
        t = sum(a * b for a, b in zip(subtract(p, base), way)) / sum(a * a for a in way)
        if 0.12 < t < 1.2 and math.dist(p, add(base, scale(way, t))) < 0.95 and p[1] > 6.2:
            return t, unit(way)
    return None, None


def tangential(direction, normal):
    height = sum(a * b for a, b in zip(direction, normal))
    flat = subtract(direction, scale(normal, height))
    size = math.hypot(*flat)
    return scale(flat, 1 / size) if size > 1e-3 else unit(cross(normal, (0.0, 0.0, 1.0)))


def smooth(x, low, high):
    t = min(1.0, max(0.0, (x - low) / (high - low)))
    return t * t * (3 - 2 * t)


def rabbit_coat(skin_mesh, count, seed=3):
    """Texture numbers: s goes from the back (0) over the flanks to the belly (.6), pink insides of ears have .9; t is a
    number of the hair's own."""
    skin = Skin(skin_mesh, seed)
    chance, bell = skin.random.random, skin.random.gauss
    hairs = []
    for p, n in skin.places(count):
        eye = math.dist((p[0], p[1], abs(p[2])), EYE)
        nose = math.dist(p, NOSE)
        if eye < 0.37 or nose < 0.2 or (p[1] < 0.12 and n[1] < 0):
            continue
        along_ear, ear_axis = ear_of(p)
        face = 1 - smooth(math.dist(p, (4.0, 4.8, 0)), 1.2, 2.6)
        # Long hairs hide more than short ones.
        if face < 0.3 and along_ear is None and chance() < 0.4:
            continue
        foot = 1 - smooth(p[1], 0.5, 1.4)
        tail = 1 - smooth(math.dist(p, (-5.0, 2.1, 0)), 0.8, 1.3)
        if along_ear is not None:
            inside = n[0] > 0.35
            comb, length, lean = ear_axis, 0.22 if inside else 0.34, 0.72
            shade = 0.9 if inside else 0.12
            if inside and chance() < 0.6:
                continue
        else:
            flow = add(scale(subtract(p, (5.2, 4.6, 0)), face), scale((-1.0, -0.55, 0.0), 1 - face))
            comb = tangential(flow, n)
            length = (0.95 - 0.6 * face) * (1 - 0.6 * foot) + 0.5 * tail
            length *= 0.55 + 0.45 * smooth(eye, 0.37, 1.0)
            lean = 0.62 - 0.3 * tail + 0.04 * face
            belly = smooth(-n[1] + 0.35 * noise(p[0], p[2] + p[1], 5), 0.15, 0.75) * (1 - face)
            throat = smooth(2.2 - math.dist(p, (2.6, 3.2, 0)), 0.2, 1.4) * smooth(n[0], 0.1, 0.7)
            muzzle = (1 - smooth(math.dist(p, (4.6, 4.35, 0)), 0.5, 0.95)) * 0.8
            ring = 1 - smooth(eye, 0.4, 0.62)
            shade = 0.6 * max(belly, throat, muzzle, tail * (n[1] < 0.3), ring, 0.9 * foot * (n[1] < 0.2))
        # Neighbours lean alike, so that they stand in locks.
        sway = [0.4 * noise(2.3 * p[0] + 9 * a, 2.3 * p[1] + 2.3 * p[2], 20 + a) + bell(0, 0.13) for a in range(3)]
        comb = unit(add(comb, tuple(sway)))
        guard = chance() < 0.12
        length *= (0.7 + 0.4 * chance()) * (1.25 if guard else 1)
        root = subtract(p, scale(n, 0.05))
        shade += bell(0, 0.025)
        hairs.append((bent(root, n, comb, length, lean, 0.2 + 0.2 * chance()), 0.015 if guard else 0.011,
                      (min(0.98, max(0.02, shade)), 0.04 + 0.92 * chance()), None))
    return hairs


def whiskers(seed=8):
    source = random.Random(seed)
    hairs = []
    for side in (-1, 1):
        for k in range(11):
            root = (4.45 + source.uniform(-0.25, 0.25), 4.5 + source.uniform(-0.18, 0.2), side * 0.52)
            out = unit((0.25 + source.uniform(-0.35, 0.25), source.uniform(-0.15, 0.35), side))
            hairs.append((bent(root, out, (0.0, -1.0, 0.0), source.uniform(1.7, 2.8), 0.02, 0.12), 0.012,
                          (0.5, source.random()), None))
    return hairs


# ---- colors: tips in the upper half of a picture, roots in the lower one; upwards in each they get brighter ------

def coat_colors(tips, roots):
    def pixel(u, v):
        stops = tips if v >= 0.5 else roots
        color = stops[-1][1]
        for (low, a), (high, b) in zip(stops, stops[1:]):
            if low <= u <= high:
                color = [x + (y - x) * (u - low) / (high - low) for x, y in zip(a, b)]
                break
        return [c * (0.72 + 0.56 * (2 * v % 1)) for c in color]
    return pixel


coat_brown = coat_colors(
    [(0, (.50, .33, .19)), (.3, (.60, .44, .28)), (.6, (.90, .84, .74)), (.8, (.86, .80, .70)), (.9, (.85, .62, .54)),
     (1, (.85, .62, .54))],
    [(0, (.20, .14, .10)), (.3, (.30, .24, .19)), (.6, (.72, .66, .60)), (.8, (.70, .62, .56)), (.9, (.72, .45, .38)),
     (1, (.72, .45, .38))])
coat_grey = coat_colors(
    [(0, (.50, .50, .52)), (.3, (.62, .61, .61)), (.6, (.93, .91, .88)), (.8, (.90, .86, .82)), (.9, (.86, .66, .60)),
     (1, (.86, .66, .60))],
    [(0, (.24, .24, .26)), (.3, (.38, .37, .37)), (.6, (.74, .71, .68)), (.8, (.70, .66, .62)), (.9, (.72, .47, .42)),
     (1, (.72, .47, .42))])
blades = coat_colors(
    [(0, (.30, .36, .10)), (.4, (.36, .46, .12)), (.8, (.55, .56, .20)), (1, (.70, .60, .32))],
    [(0, (.06, .10, .03)), (.4, (.09, .15, .04)), (.8, (.16, .18, .06)), (1, (.24, .20, .10))])


# ---- the meadow ---------------------------------------------------------------------------------------------------

def grass(count, far, clear, seed=5):
    """Blades on the plane y = 0 as ribbons, denser in front. `clear` are (x, z, radius) without high ones."""
    source = random.Random(seed)
    blades = []
    while len(blades) < count:
        depth = source.random() ** 1.6
        z = 17 - (17 + far) * depth
        x = source.uniform(-1, 1) * (9 + 0.62 * (24 - z))
        low = min([1.0] + [math.hypot(x - a, z - b) / r for a, b, r in clear])
        if low < 0.55:
            continue
        patch = 0.5 + 0.5 * noise(0.23 * x, 0.23 * z, 4)
        length = (0.9 + 1.5 * patch + source.gauss(0, 0.3)) * (0.35 + 0.65 * smooth(low, 0.55, 1.0))
        turn = source.uniform(0, 2 * math.pi)
        comb = unit((math.cos(turn) + 0.5, 0.12, math.sin(turn)))
        up = unit((source.gauss(0, 0.16), 1.0, source.gauss(0, 0.16)))
        curve = bent((x, -0.05, z), up, comb, max(0.3, length), 0.12, 0.25 + 0.35 * source.random())
        # The flat side looks up along the bend.
        normal = unit(cross(cross(up, comb), up))
        width, shade = 0.035 + 0.025 * source.random(), source.gauss(0.3 + 0.4 * patch, 0.15)
        blades.append((curve, width, (min(0.97, max(0.03, shade)), source.uniform(0.05, 0.95)), scale(normal, -1)))
    return blades
