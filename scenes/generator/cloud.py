"""A cumulus: heaps of balls with a ragged rim, as a voxel grid."""

import array
import math
import random
import struct
import sys

SIZE = (136, 68, 78)  # voxels; the box is twice as long as it is high
MAGIC = 0x56477264    # "VGrd"


class Noise:
    """Smooth noise from random values on a lattice, 0 to 1, that repeats after 32."""

    def __init__(self, seed):
        generator = random.Random(seed)
        self.values = [generator.random() for _ in range(32 ** 3)]

    def __call__(self, x, y, z):
        i, j, k = math.floor(x), math.floor(y), math.floor(z)
        u, v, w = (t * t * (3 - 2 * t) for t in (x - i, y - j, z - k))
        i0, j0, k0 = i & 31, (j & 31) << 5, (k & 31) << 10
        i1, j1, k1 = (i + 1) & 31, ((j + 1) & 31) << 5, ((k + 1) & 31) << 10
        at = self.values

        def along_x(j, k):
            a = at[i0 + j + k]
            return a + (at[i1 + j + k] - a) * u

        a, b = along_x(j0, k0), along_x(j1, k0)
        c, d = along_x(j0, k1), along_x(j1, k1)
        a, c = a + (b - a) * v, c + (d - c) * v
        return a + (c - a) * w

    def fractal(self, x, y, z, octaves):
        result, weight, total = 0.0, 1.0, 0.0
        for _ in range(octaves):
            result += weight * self(x, y, z)
            total += weight
            x, y, z, weight = 2.03 * x + 5.2, 2.03 * y + 1.3, 2.03 * z + 8.7, 0.5 * weight
        return result / total


def balls():
    """Centres and radii in lengths of which the box is 4 long, 2 high and 2.3 deep: a broad base, and towers on it."""
    generator = random.Random(20)
    towers = [(-1.05, 0.85, 0.42), (-0.45, 1.35, 0.5), (0.2, 1.02, 0.46), (0.75, 1.25, 0.42), (1.25, 0.62, 0.36),
              (-1.55, 0.45, 0.3)]
    result = []
    for x, height, radius in towers:
        for step in range(6):
            y = 0.2 + (height - 0.2) * step / 5
            size = radius * (1.05 - 0.5 * step / 5)
            for _ in range(4):
                result.append((x + generator.uniform(-.6, .6) * size, y + generator.uniform(-.2, .3) * size,
                               generator.uniform(-.75, .75) * size, size * generator.uniform(.5, .85)))
    for _ in range(34):
        x = generator.uniform(-1.75, 1.6)
        result.append((x, generator.uniform(.18, .32), generator.uniform(-.55, .55) * (1.2 - abs(x) / 2),
                       generator.uniform(.2, .34)))
    return result


def smooth(low, high, x):
    t = min(1.0, max(0.0, (x - low) / (high - low)))
    return t * t * (3 - 2 * t)


def cumulus():
    """Densities from 0 to 1, x fastest."""
    noise, heap = Noise(5), balls()
    density = array.array("f")
    for k in range(SIZE[2]):
        z = 2.3 * ((k + 0.5) / SIZE[2] - 0.5)
        for j in range(SIZE[1]):
            y = 2.0 * (j + 0.5) / SIZE[1]
            row = [ball for ball in heap if (y - ball[1]) ** 2 + (z - ball[2]) ** 2 < 1.7 * ball[3] ** 2]
            for i in range(SIZE[0]):
                x = 4.0 * ((i + 0.5) / SIZE[0] - 0.5)
                field = max((1 - math.sqrt((x - a) ** 2 + (y - b) ** 2 + (z - c) ** 2) / r for a, b, c, r in row),
                            default=-1.0)
                if field < -0.42:
                    density.append(0.0)
                    continue
                rag = noise.fractal(3.6 * x, 3.6 * y, 3.6 * z, 5) - 0.5
                value = smooth(0.0, 0.2, field + 1.7 * rag) * smooth(0.12, 0.36, y + 0.3 * rag)
                density.append(round(value, 3) if value > 0.004 else 0.0)
    return density


def write_grid(path, size, density):
    """A file of a block "VolumeGrid": its words, and behind them what the list's start leads to."""
    head = 16  # words, of which the density's first element is the one at 6
    words = struct.pack("=4I", MAGIC, *size) + struct.pack("=iif", head - 6, len(density), 0)
    words += struct.pack("=iif", 0, 0, 0) + struct.pack("=ii4f", 0, 0, 0, 0, 0, 0)
    if sys.byteorder != "little":
        raise SystemExit("grids of the scenes are little-endian")
    with open(path, "wb") as file:
        file.write(words + density.tobytes())
