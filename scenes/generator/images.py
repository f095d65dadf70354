"""Textures, painted by formulas and written as PNG files."""

import math
import struct
import zlib


def write_png(path, width, height, pixel, side=3):
    """Writes an RGB image; pixel(u, v) gives three numbers from 0 to 1, v upwards, sampled side x side per pixel."""
    rows = []
    for y in range(height):
        row = bytearray([0])
        for x in range(width):
            sums = [0.0, 0.0, 0.0]
            for sy in range(side):
                for sx in range(side):
                    color = pixel((x + (sx + 0.5) / side) / width, 1 - (y + (sy + 0.5) / side) / height)
                    for k in range(3):
                        sums[k] += min(1.0, max(0.0, color[k]))
            row += bytes(round(255 * s / side ** 2) for s in sums)
        rows.append(bytes(row))

    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))

    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header))
        file.write(chunk(b"IDAT", zlib.compress(b"".join(rows), 9)) + chunk(b"IEND", b""))


def write_hdr(path, width, height, pixel, side=2):
    """Writes an RGB image with values above 1 (Radiance RGBE, run lengths); pixel as of write_png."""
    rows = []
    for y in range(height):
        row = []
        for x in range(width):
            samples = [pixel((x + (sx + 0.5) / side) / width, 1 - (y + (sy + 0.5) / side) / height)
                       for sy in range(side) for sx in range(side)]
            color = [sum(s[k] for s in samples) / side ** 2 for k in range(3)]
            mantissa, exponent = math.frexp(max(color))
            if max(color) < 1e-32:
                row.append((0, 0, 0, 0))
            else:
                row.append(tuple(int(c / max(color) * mantissa * 256) for c in color) + (exponent + 128,))
        packed = bytearray((2, 2, width >> 8, width & 255))
        for channel in zip(*row):
            packed += run_lengths(channel)
        rows.append(bytes(packed))
    with open(path, "wb") as file:
        file.write(b"#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y %d +X %d\n" % (height, width) + b"".join(rows))


def run_lengths(values):
    """Runs of four and more as (128 + length, value), all else as (length, values)."""
    result, loose, k = bytearray(), bytearray(), 0

    def spill():
        for start in range(0, len(loose), 128):
            part = loose[start:start + 128]
            result.extend((len(part), *part))
        loose.clear()

    while k < len(values):
        run = 1
        while k + run < len(values) and run < 127 and values[k + run] == values[k]:
            run += 1
        if run >= 4:
            spill()
            result.extend((128 + run, values[k]))
        else:
            loose.extend(values[k:k + run])
        k += run
    spill()
    return result


WHITE, BLUE, DEEP = (0.95, 0.95, 0.92), (0.16, 0.32, 0.66), (0.06, 0.14, 0.40)


def flower(x, y, radius, petals):
    """Below 0 inside of a flower around the origin."""
    r, a = math.hypot(x, y), math.atan2(y, x)
    return r - radius * (0.62 + 0.38 * abs(math.cos(petals * a / 2)))


def porcelain(u, v):
    """Half way round a pot: flowers and leaves between borders, v from the foot to the knob of the lid. About as wide as
    high on the pot, so that circles stay round."""
    for low, high in ((0.20, 0.212), (0.225, 0.23), (0.625, 0.63), (0.645, 0.66), (0.72, 0.735), (0.93, 0.94)):
        if low < v < high:
            return DEEP
    if v < 0.23:  # the lowest part lies below the pot
        return WHITE
    if v > 0.72:  # lid: a row of leaves
        x = (u * 8) % 1 - 0.5
        return BLUE if abs(x) < 0.32 * math.sin(math.pi * min(1, max(0, (v - 0.75) / 0.15))) else WHITE
    if v > 0.66:  # shoulder: dots
        return BLUE if math.hypot((u * 24) % 1 - 0.5, (v - 0.69) * 24) < 0.34 else WHITE

    y = v - 0.43
    for at, size in ((0.25, 1.0), (0.75, 0.8)):
        x = (u - at + 0.5) % 1 - 0.5
        d = flower(x, y, 0.155 * size, 8)
        if d < 0:
            r = math.hypot(x, y)
            if r < 0.035 * size:
                return DEEP
            return WHITE if r < 0.05 * size or -0.018 < d < -0.010 else BLUE
    for at, height in ((0.0, 0.14), (0.0, -0.14), (0.5, 0.14), (0.5, -0.14), (0.5, 0.0), (0.0, 0.0)):
        x = (u - at + 0.5) % 1 - 0.5
        if flower(x, y - height, 0.055, 5) < 0:
            return BLUE if math.hypot(x, y - height) > 0.015 else WHITE
    for phase in (0.0, 0.5):  # two tendrils
        if abs(y - 0.1 * math.sin(2 * math.pi * (u + phase))) < 0.006:
            return DEEP
    return WHITE


def tile(u, v):
    """A floor tile with a rosette and quarter circles in the corners; repeats in both directions."""
    edge = min(u, 1 - u, v, 1 - v)
    if edge < 0.012:
        return (0.55, 0.52, 0.47)
    x, y = u - 0.5, v - 0.5
    corner = math.hypot(0.5 - abs(x), 0.5 - abs(y))
    if corner < 0.34:
        if corner < 0.10 or 0.20 < corner < 0.23:
            return (0.62, 0.30, 0.16)
        return (0.82, 0.66, 0.42) if corner < 0.31 else (0.22, 0.30, 0.33)
    if flower(x, y, 0.25, 8) < 0:
        return (0.22, 0.30, 0.33) if flower(x, y, 0.15, 8) > 0 else (0.62, 0.30, 0.16)
    return (0.88, 0.83, 0.73)


def stripes(u, v):
    """Red and white gores with a golden edge below, for the tent roof."""
    if v < 0.10:
        return (0.85, 0.62, 0.15) if (u * 32) % 1 < 0.94 else (0.5, 0.3, 0.05)
    return (0.78, 0.10, 0.10) if (u * 8) % 1 < 0.5 else (0.95, 0.92, 0.85)


def pennant(u, v):
    """Two colors and a star."""
    x, y = (u - 0.36) * 1.85, v - 0.5
    r, a = math.hypot(x, y), math.atan2(y, x) - math.pi / 2
    point = abs(((a / (2 * math.pi) * 5) % 1) - 0.5) * 2
    if r < 0.14 + 0.22 * (point ** 1.6 if point > 0 else 0):
        return (0.98, 0.84, 0.25)
    return (0.10, 0.24, 0.55) if v > 0.5 else (0.09, 0.45, 0.50)
