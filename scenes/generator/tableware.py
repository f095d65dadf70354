"""A breakfast table of free-form surfaces: surfaces of revolution and tubes as rational B-splines, a lamp shade with holes that
are trimmed, and cushions as control meshes. Centimetres; y is up."""

import math

# A circle: a quadratic B-spline around a square, whose corners count by half the square root of 2.
HALF = math.sqrt(0.5)
CIRCLE = [(1, 0, 1), (1, 1, HALF), (0, 1, 1), (-1, 1, HALF), (-1, 0, 1), (-1, -1, HALF), (0, -1, 1), (1, -1, HALF), (1, 0, 1)]
AROUND = "0. 0. 0. .25 .25 .5 .5 .75 .75 1. 1. 1."
BASES = 'basis "around" rational bspline 2 basis "along" bezier 3 basis "path" bspline 3 basis "flat" bezier 1'


class Group:
    """Vertices and the texts of curves and surfaces of one object."""

    def __init__(self):
        self.points, self.lines = [], []

    def add(self, point):
        self.points.append(point)
        return len(self.points) - 1

    def surface(self, name, points, direction, extra=""):
        """`points`: (x, y, z, weight), u runs faster. `direction`: the basis of v with its range and parameters."""
        numbers = " ".join(f"{self.add(p[:3])} w {p[3]:.5g}" for p in points)
        self.lines.append(f'  surface "{name}" "around" 0. 1. {AROUND}\n    {direction}\n    {numbers}{extra}')

    def write(self, file, name, rules):
        file.write(f'object "{name}" visible shadow trace\n  {BASES}\n  group\n')
        for x, y, z in self.points:
            file.write(f"    {x:.4g} {y:.4g} {z:.4g}\n")
        file.write("    " + " ".join(f"v {i}" for i in range(len(self.points))) + "\n")
        file.write("\n".join(self.lines) + f"\n  {rules}\n  end group\nend object\n\n")


def bezier_direction(pieces):
    ends = " ".join(f"{k / pieces:.6g}" if 0 < k < pieces else f"{k // pieces}." for k in range(pieces + 1))
    return f'"along" 0. 1. {ends}'


def turned(profile, bend=None):
    """Control points of a profile [(radius, y)] turned about the y axis; `bend` moves those of one row and column."""
    points = []
    for row, (radius, y) in enumerate(profile):
        for column, (a, b, weight) in enumerate(CIRCLE):
            place = (radius * a, y, -radius * b)
            points.append((*(bend(row, column, place) if bend else place), weight))
    return points


def revolve(group, name, profile, bend=None, extra=""):
    """Cubic Bezier pieces: 3 n + 1 places. The outside lies to the right of the way that the profile goes."""
    group.surface(name, turned(profile, bend), bezier_direction((len(profile) - 1) // 3), extra)


def tube(group, name, path, radii, flat=1.0):
    """Around a B-spline through the plane z = 0, as wide as it goes; `flat` is how much thinner it is across."""
    points = []
    for k, (x, y) in enumerate(path):
        before, behind = path[max(k - 1, 0)], path[min(k + 1, len(path) - 1)]
        length = math.hypot(behind[0] - before[0], behind[1] - before[1])
        along = ((behind[0] - before[0]) / length, (behind[1] - before[1]) / length)
        for a, b, weight in CIRCLE:
            across, side = radii[k] * flat * a, radii[k] * b
            points.append((x - across * along[1], y + across * along[0], -side, weight))
    inner = len(path) - 4
    knots = ["0."] * 4 + [f"{k / (inner + 1):.6g}" for k in range(1, inner + 1)] + ["1."] * 4
    group.surface(name, points, f'"path" 0. 1. {" ".join(knots)}')


def jug():
    """Its lip is drawn out to a spout at one side, and the handle grows out of the other."""
    group = Group()
    outside = [(0, 0), (2.4, 0), (4.8, 0), (5.2, .4), (6.6, 2), (7.6, 5), (6.8, 9), (6, 13), (3.6, 14), (3.6, 17),
               (3.6, 19), (4.2, 21), (4.6, 21.6)]
    inside = [(4.6, 21.6), (4.5, 21.8), (4.3, 21.8), (4.2, 21.5), (3.8, 20), (3.2, 18.5), (3.2, 17), (3.2, 14), (5.6, 13),
              (6.4, 9), (7.2, 5), (5, 1), (0, 1)]

    def spout(rows):
        def bend(row, column, place):
            pull = rows.get(row, 0) * {0: 1, 8: 1, 1: .25, 7: .25}.get(column, 0)
            x, y, z = place
            return (x + pull, y + .45 * pull, z * (1 - .1 * pull) if column in (1, 7) else z)
        return bend

    revolve(group, "outside", outside, spout({10: .6, 11: 2, 12: 2.9}))
    revolve(group, "inside", inside, spout({0: 2.9, 1: 2.9, 2: 2.8, 3: 2.7, 4: 1.2, 5: .4}))
    tube(group, "handle", [(-3.4, 19.4), (-4.6, 20.6), (-8, 20.8), (-10.6, 17.6), (-9.8, 13), (-8, 9.6), (-6.6, 7.6)],
         [.75, .75, .7, .65, .65, .75, 1], .7)
    return group


def cup():
    group = Group()
    revolve(group, "outside", [(0, 0), (1, 0), (2, 0), (2, .3), (2, .6), (1.8, .7), (1.8, .9), (3.4, 1.2), (4.2, 3), (4.3, 6.4)])
    revolve(group, "inside", [(4.3, 6.4), (4.3, 6.6), (4.1, 6.6), (4.05, 6.4), (3.95, 3.2), (3.2, 1.5), (0, 1.3)])
    tube(group, "handle", [(3.9, 5.2), (4.8, 5.6), (6.6, 5.6), (6.9, 3.6), (5.6, 2), (4.4, 2.2), (3.7, 2.4)],
         [.45, .42, .38, .38, .38, .4, .45], .7)
    return group


def saucer():
    group = Group()
    revolve(group, "below", [(0, 0), (1, 0), (2.6, 0), (3, .1), (4, .3), (6.2, .9), (7.4, 1.7)])
    revolve(group, "above", [(7.4, 1.7), (7.5, 1.85), (7.4, 1.95), (7.2, 1.9), (6, 1.2), (4, .6), (2.4, .5), (2, .45), (1, .45),
                             (0, .45)])
    return group


def tea():
    """What is in a cup: a disc that rises a little at the edge."""
    group = Group()
    revolve(group, "tea", [(4.02, 5.3), (3.6, 5.2), (1.8, 5.2), (0, 5.2)])
    return group


def lamp_foot():
    group = Group()
    revolve(group, "foot", [(0, 0), (3, 0), (6.5, 0), (7, 0), (7, .6), (6.8, 1), (5, 1.8), (1.2, 1.6), (.9, 4), (.7, 8),
                            (2.2, 10), (2.2, 12), (2.2, 14), (.7, 15), (.7, 18), (.7, 21), (.7, 22), (.4, 22), (0, 22)])
    return group


def lamp_shade():
    """Three rows of round holes, each a closed curve in the plane of the parameters."""
    group = Group()
    holes, extra = [], []
    for row, (v, wide) in enumerate(((.26, .016), (.5, .021), (.74, .016))):
        for k in range(16):
            u = (k + .5 + .5 * (row % 2)) / 16 if row % 2 == 0 else (k + .25) / 16
            name = f"hole_{row}_{k}"
            numbers = " ".join(f"{group.add((u + wide * a, v + 2.6 * wide * b, 0))} w {w:.5g}" for a, b, w in CIRCLE)
            holes.append(f'  curve "{name}" "around" {AROUND} {numbers}')
            extra.append(f'hole "{name}" 0. 1.')
    group.lines += holes
    revolve(group, "shade", [(10.5, 0), (9.8, 5), (8, 10), (4.6, 14)], extra="\n    " + " ".join(extra))
    revolve(group, "ring", [(10.5, 0), (10.9, -.1), (10.9, .3), (10.5, .3)])
    return group


def bulb():
    group = Group()
    revolve(group, "bulb", [(0, 0), (1.2, 0), (1.3, 1), (1.4, 2), (1.6, 3.4), (2.6, 3.6), (2.6, 5), (2.6, 6.8), (1.4, 7.6), (0, 7.6)])
    return group


def table():
    """The board, with a rounded edge."""
    group = Group()
    revolve(group, "board", [(46, -3), (47.5, -3), (48, -2.4), (48, -1.5), (48, -.6), (47.5, 0), (46, 0), (30, 0), (15, 0), (0, 0)])
    return group


def cushion(file, name, material):
    """A control mesh like a thin box of 4 x 4 squares, with a seam around it that stays a little sharp."""
    count, size = 4, 22.0
    points, faces, corner = [], [], {}

    def at(i, j, side):
        edge = i in (0, count) or j in (0, count)
        key = (i, j, 0 if edge else side)
        if key not in corner:
            x, z = (2 * i / count - 1), (2 * j / count - 1)
            pinch = 1 - .12 * (1 - x * x) - .12 * (1 - z * z)
            high = 0 if edge else side * (7.5 if i == j == count // 2 else 5.6)
            corner[key] = len(points)
            points.append((x * size * (pinch if edge and i in (0, count) else 1), high,
                           z * size * (pinch if edge and j in (0, count) else 1)))
        return corner[key]

    for side in (1, -1):
        for i in range(count):
            for j in range(count):
                face = [at(i, j, side), at(i, j + 1, side), at(i + 1, j + 1, side), at(i + 1, j, side)]
                faces.append(face if side > 0 else face[::-1])
    around = ([at(i, 0, 1) for i in range(count)] + [at(count, j, 1) for j in range(count)] +
              [at(i, count, 1) for i in range(count, 0, -1)] + [at(0, j, 1) for j in range(count, 0, -1)])
    file.write(f'object "{name}" visible shadow trace\n  group\n')
    for x, y, z in points:
        file.write(f"    {x:.4g} {y:.4g} {z:.4g}\n")
    file.write("    " + " ".join(f"v {i}" for i in range(len(points))) + "\n")
    file.write(f"  ccmesh polygon {len(faces)} vertex {4 * len(faces)}\n")
    for k, face in enumerate(faces):
        heading = f'"{material}" ' if k == 0 else ""
        file.write(f"    p {heading}{' '.join(map(str, face))}\n")
    file.write(f"    crease {' '.join(map(str, around + around[:1]))} level 2.5\n  end ccmesh\n")
    file.write("  approximate ccmesh view length 6 2 5\n  end group\nend object\n\n")


PARTS = (jug, cup, saucer, tea, lamp_foot, lamp_shade, bulb, table)


def write(file):
    for part in PARTS:
        part().write(file, f"{part.__name__}_shape", "approximate surface view distance .15 angle 15 1 8")
    cushion(file, "cushion_shape", "wool")
