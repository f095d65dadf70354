"""Reads the triangles of the benchmark's scene file, so that all renderers get the same ones."""


def read(path):
    """Points, their normals, and triangles as triples of point numbers, over all objects of the file."""
    points, normals, faces = [], [], []
    vectors, first = [], 0
    with open(path, encoding="ascii") as file:
        for line in file:
            word = line.split(None, 1)[0] if line.strip() else ""
            if word == "group":
                vectors, first = [], len(points)
            elif word == "v":
                _, position, _, normal, *_ = line.split()
                points.append(vectors[int(position)])
                normals.append(vectors[int(normal)])
            elif word == "c":
                corners = [first + int(corner) for corner in line.split()[1:]]
                faces += [(corners[0], corners[k - 1], corners[k]) for k in range(2, len(corners))]
            elif word and word.lstrip("-")[0] in "0123456789.":
                vectors.append(tuple(float(x) for x in line.split()))
    return points, normals, faces
