"""Polygon meshes: building, Catmull-Clark subdivision, smooth normals, and writing them in the scene language."""

import math


def add(a, b):
    return tuple(x + y for x, y in zip(a, b))


def subtract(a, b):
    return tuple(x - y for x, y in zip(a, b))


def scale(a, factor):
    return tuple(x * factor for x in a)


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def unit(a):
    length = math.sqrt(sum(x * x for x in a))
    return scale(a, 1 / length) if length > 0 else (0.0, 1.0, 0.0)


def mean(points):
    return tuple(sum(axis) / len(points) for axis in zip(*points))


class Mesh:
    """Points, and faces whose corners are (point index, (u, v)). Counter-clockwise seen from outside."""

    def __init__(self):
        self.points = []
        self.faces = []
        self.motions = None  # one vector per point: its way during the shutter interval
        self._index = {}

    def point(self, position):
        """Index of the point at this position; points that coincide are one."""
        key = tuple(round(x, 6) + 0.0 for x in position)
        if key not in self._index:
            self._index[key] = len(self.points)
            self.points.append(tuple(position))
        return self._index[key]

    def face(self, corners):
        """Adds a face. Corners that coincide collapse; what is left of fewer than three is dropped."""
        kept = [c for k, c in enumerate(corners) if c[0] != corners[k - 1][0]]
        if len(kept) >= 3:
            self.faces.append(kept)

    def grid(self, columns, rows, position, coordinate=lambda u, v: (u, v)):
        """A patch of quads over u, v from 0 to 1. Seen from outside, v runs up where u runs right."""
        for row in range(rows):
            for column in range(columns):
                corners = []
                for c, r in ((column, row), (column + 1, row), (column + 1, row + 1), (column, row + 1)):
                    u, v = c / columns, r / rows
                    corners.append((self.point(position(u, v)), coordinate(u, v)))
                self.face(corners)

    def map(self, function):
        self.points = [function(p) for p in self.points]
        self._index = {}
        return self

    def without_loose_points(self):
        used = sorted({c[0] for face in self.faces for c in face})
        new = {old: k for k, old in enumerate(used)}
        self.points = [self.points[k] for k in used]
        self.faces = [[(new[p], uv) for p, uv in face] for face in self.faces]
        self._index = {}
        return self

    def normals(self):
        """Per point, the mean of the faces around it, weighted by their area."""
        sums = [(0.0, 0.0, 0.0)] * len(self.points)
        for face in self.faces:
            p = [self.points[c[0]] for c in face]
            area = (0.0, 0.0, 0.0)
            for k in range(1, len(p) - 1):
                area = add(area, cross(subtract(p[k], p[0]), subtract(p[k + 1], p[0])))
            for c in face:
                sums[c[0]] = add(sums[c[0]], area)
        return [unit(s) for s in sums]

    def edge_uses(self):
        """How many faces use each edge: 2 everywhere on a closed mesh."""
        uses = {}
        for face in self.faces:
            for k, corner in enumerate(face):
                edge = tuple(sorted((face[k - 1][0], corner[0])))
                uses[edge] = uses.get(edge, 0) + 1
        return uses


def catmull_clark(mesh, levels):
    """Subdivides a closed mesh. Texture coordinates are divided along, without smoothing."""
    for _ in range(levels):
        mesh = _subdivide(mesh)
    return mesh


def relaxed(mesh, rounds):
    """Rounds the mesh off: each point goes half the way to the middle of its neighbours, as often as it is told. What
    this takes away from thin parts is given back by a step outwards (G. Taubin, "A signal processing approach to fair
    surface design", 1995)."""
    neighbours = [set() for _ in mesh.points]
    for face in mesh.faces:
        for k, (p, _) in enumerate(face):
            neighbours[p].add(face[k - 1][0])
            neighbours[face[k - 1][0]].add(p)
    for _ in range(rounds):
        for share in (0.5, -0.36):
            middles = [mean([mesh.points[n] for n in around]) for around in neighbours]
            mesh.points = [add(p, scale(subtract(m, p), share)) for p, m in zip(mesh.points, middles)]
    return mesh


def _subdivide(mesh):
    points = mesh.points
    centres = [mean([points[c[0]] for c in face]) for face in mesh.faces]
    edge_faces, point_faces, point_edges = {}, {}, {}
    for index, face in enumerate(mesh.faces):
        for k, corner in enumerate(face):
            edge = tuple(sorted((face[k - 1][0], corner[0])))
            edge_faces.setdefault(edge, []).append(index)
            point_faces.setdefault(corner[0], set()).add(index)
            for end in edge:
                point_edges.setdefault(end, set()).add(edge)

    result = Mesh()

    def new(position):
        result.points.append(position)
        return len(result.points) - 1

    moved = {}
    for p in point_faces:
        n = len(point_faces[p])
        around = mean([centres[f] for f in point_faces[p]])
        middles = mean([mean([points[a], points[b]]) for a, b in point_edges[p]])
        moved[p] = new(scale(add(add(around, scale(middles, 2)), scale(points[p], n - 3)), 1 / n))
    middle = {}
    for edge, faces in edge_faces.items():
        middle[edge] = new(mean([points[edge[0]], points[edge[1]]] + [centres[f] for f in faces]))
    centre = [new(c) for c in centres]

    for index, face in enumerate(mesh.faces):
        uv_centre = mean([c[1] for c in face])
        for k, (p, uv) in enumerate(face):
            before, after = face[k - 1], face[(k + 1) % len(face)]
            result.faces.append([
                (moved[p], uv),
                (middle[tuple(sorted((p, after[0])))], mean([uv, after[1]])),
                (centre[index], uv_centre),
                (middle[tuple(sorted((before[0], p)))], mean([before[1], uv])),
            ])
    return result


def voxels(cells, size=1.0):
    """The outside of a set of unit cells (x, y, z). Every square has its own texture range from 0 to 1."""
    sides = (
        ((1, 0, 0), ((1, 0, 1), (1, 0, 0), (1, 1, 0), (1, 1, 1))),
        ((-1, 0, 0), ((0, 0, 0), (0, 0, 1), (0, 1, 1), (0, 1, 0))),
        ((0, 1, 0), ((0, 1, 1), (1, 1, 1), (1, 1, 0), (0, 1, 0))),
        ((0, -1, 0), ((0, 0, 0), (1, 0, 0), (1, 0, 1), (0, 0, 1))),
        ((0, 0, 1), ((0, 0, 1), (1, 0, 1), (1, 1, 1), (0, 1, 1))),
        ((0, 0, -1), ((1, 0, 0), (0, 0, 0), (0, 1, 0), (1, 1, 0))),
    )
    uv = ((0.0, 0.0), (1.0, 0.0), (1.0, 1.0), (0.0, 1.0))
    mesh = Mesh()
    for cell in sorted(cells):
        for out, corners in sides:
            if add(cell, out) not in cells:
                mesh.face([(mesh.point(scale(add(cell, c), size)), uv[k]) for k, c in enumerate(corners)])
    return mesh


def number(x, digits=3):
    """The shortest text of a number rounded to some digits after the point."""
    text = f"{x:.{digits}f}"
    if "." in text:
        text = text.rstrip("0").rstrip(".")
    text = text.replace("-0.", "-.") if text.startswith("-0.") else text
    text = text[1:] if text.startswith("0.") else text
    return "0" if text in ("", "-0", "-", "-.") else text


def triple(vector, digits=3):
    return " ".join(number(x, digits) for x in vector)


def write_object(file, name, mesh, digits=3, flags="visible on shadow on trace on", tag=None, textured=True):
    """Writes a mesh as an object with smooth normals and, when it is textured, one texture space."""
    vectors, lines = [], []

    def vector(text):
        vectors.append(text)
        return len(vectors) - 1

    positions = [vector(triple(p, digits)) for p in mesh.points]
    normals = [vector(triple(n)) for n in mesh.normals()]
    motions = [vector(triple(m, digits)) for m in mesh.motions] if mesh.motions else None
    coordinates, vertices, faces = {}, {}, []
    for face in mesh.faces:
        corners = []
        for p, uv in face:
            text = triple((*uv, 0), 4) if textured else ""
            if textured and text not in coordinates:
                coordinates[text] = vector(text)
            key = (p, coordinates.get(text))
            if key not in vertices:
                vertices[key] = len(vertices)
                coordinate = f" t {key[1]}" if textured else ""
                motion = f" m {motions[p]}" if motions else ""
                lines.append(f"v {positions[p]} n {normals[p]}{coordinate}{motion}")
            corners.append(str(vertices[key]))
        faces.append("c " + " ".join(corners))

    label = f" tag {tag}" if tag else ""
    file.write(f'object "{name}" {flags}{label}\ngroup\n')
    for block in (vectors, lines, faces):
        file.write("\n".join(block) + "\n")
    file.write("end group\nend object\n\n")
