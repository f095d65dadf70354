"""Hair objects: growing hairs on meshes, and writing them in the scene language."""

import math
import random
import struct

from .mesh import add, cross, scale, subtract, unit


def write_hair(file, name, hairs, radius_at_tip=0.3, normals=False):
    """Hairs are (points, radius, (s, t), normal): a Bezier curve of four points, half the width at the root, two
    texture numbers, and for ribbons the normal. In binary, so the file is one of bytes."""
    extras = "t 2 n" if normals else "t 2"
    size = (5 if normals else 2) + 16
    file.write(f'object "{name}" visible on shadow on trace on hair degree 3 hair {extras} vertex radius '
               f'scalar [ {size * len(hairs)} ] `'.encode())
    for points, radius, coordinate, normal in hairs:
        numbers = [*coordinate, *(normal if normals else ())]
        for k, p in enumerate(points):
            numbers += (*p, radius * (1 + (radius_at_tip - 1) * k / 3))
        file.write(struct.pack(f">{size}f", *numbers))
    file.write(f"` hair [ {len(hairs) + 1} ] `".encode())
    file.write(struct.pack(f">{len(hairs) + 1}I", *range(0, size * len(hairs) + 1, size)))
    file.write(b"` end hair end object\n\n")


class Skin:
    """Places spread evenly over a mesh. The same seed gives the same places on every machine."""

    def __init__(self, mesh, seed):
        self.random = random.Random(seed)
        self.mesh, self.normals = mesh, mesh.normals()
        self.triangles, self.areas, total = [], [], 0.0
        for face in mesh.faces:
            for k in range(1, len(face) - 1):
                corners = [face[0][0], face[k][0], face[k + 1][0]]
                a, b, c = (mesh.points[i] for i in corners)
                total += math.hypot(*cross(subtract(b, a), subtract(c, a))) / 2
                self.triangles.append(corners)
                self.areas.append(total)

    def places(self, count):
        """`count` of (point, normal)."""
        for corners in self.random.choices(self.triangles, cum_weights=self.areas, k=count):
            u, v = self.random.random(), self.random.random()
            if u + v > 1:
                u, v = 1 - u, 1 - v
            weights = (1 - u - v, u, v)
            point = normal = (0.0, 0.0, 0.0)
            for i, w in zip(corners, weights):
                point = add(point, scale(self.mesh.points[i], w))
                normal = add(normal, scale(self.normals[i], w))
            yield point, unit(normal)


def bent(root, normal, comb, length, lean, curl=0.25):
    """A hair that leaves the skin between its normal and the direction in which it is combed (lean 0 to 1) and bends
    towards the latter."""
    start = unit(add(scale(normal, 1 - lean), scale(comb, lean)))
    end = unit(add(start, scale(comb, 2 * curl)))
    third = length / 3
    first = add(root, scale(start, third))
    second = add(first, scale(unit(add(start, end)), third))
    return (root, first, second, add(second, scale(end, third)))
