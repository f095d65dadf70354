"""Surroundings of the look development scene, and the pictures that lie in it."""

import math

from .still_life_images import around, mix
from .terrain import noise

# Lamps of the studio as a camera at the middle sees them, which looks along -z: middle and half size in degrees to the
# right and up, softness of the edge, color. They stand where the scene's area lights are.
LAMPS = [
    ((-128.0, 38.0), (17.0, 17.0), 1.5, (10.0, 9.4, 8.6)),   # key: to the left of the camera
    ((62.0, 30.0), (7.0, 24.0), 1.5, (7.0, 8.0, 9.5)),       # rim: behind the things, to the right
    ((126.0, 22.0), (20.0, 13.0), 4.0, (1.1, 1.15, 1.25)),   # reflector
]


def studio(u, v):
    """All directions: u once around from behind the camera, v from below to above. Values above 1 are lamps."""
    x, y = 360 * (u - 0.5), 180 * (v - 0.5)
    if y < 0:
        color = mix((0.30, 0.27, 0.24), (0.10, 0.09, 0.085), -y / 60)
    else:
        color = mix((0.16, 0.165, 0.175), (0.05, 0.05, 0.055), y / 70)
    # A wide softbox overhead, in front of the things.
    if y > 40:
        r = 1 / math.tan(math.radians(y))
        s, t = r * math.sin(math.radians(x)), -r * math.cos(math.radians(x)) - 0.28
        inside = min(0.62 - abs(s), 0.2 - abs(t))
        color = mix(color, (3.0, 3.1, 3.3), (inside + 0.03) / 0.03)
    for (lx, ly), (w, h), soft, lamp in LAMPS:
        dx = abs((x - lx + 180) % 360 - 180)
        inside = min(w - dx, h - abs(y - ly))
        if inside > -soft:
            # Softboxes are brighter in the middle.
            across, along = (math.cos(math.pi / 2 * min(1, d)) for d in (dx / w, abs(y - ly) / h))
            glow = 0.72 + 0.28 * across * along
            color = mix(color, tuple(glow * c for c in lamp), (inside + soft) / soft)
    return color


CHART = [
    (0.171, 0.083, 0.058), (0.539, 0.302, 0.223), (0.114, 0.195, 0.337), (0.106, 0.150, 0.054),
    (0.701, 0.202, 0.025), (0.546, 0.082, 0.122), (0.337, 0.498, 0.052), (0.762, 0.367, 0.027),
    (0.040, 0.053, 0.280), (0.061, 0.296, 0.066), (0.433, 0.031, 0.042), (0.839, 0.571, 0.008),
    (0.890, 0.890, 0.870), (0.585, 0.585, 0.580), (0.192, 0.192, 0.192), (0.031, 0.032, 0.033),
]


def chart(u, v):
    """Four by four patches on black."""
    x, y = 4.24 * (u - 0.0283), 4.36 * (v - 0.0413)
    k, j = math.floor(x), math.floor(y)
    if not (0 <= k < 4 and 0 <= j < 4) or not (0.07 < x - k < 0.93 and 0.09 < y - j < 0.91):
        return (0.012, 0.012, 0.012)
    return CHART[4 * (3 - j) + k]


def stars(u, v):
    """What lets the paint of the painted ball through: all but a band of diamonds between two lines."""
    x, y = (u * 16) % 1 - 0.5, (v - 0.62) * 18
    diamond = abs(x) * 2.2 + abs(y) < 0.95
    line = 0.045 < abs(v - 0.62) / 1.6 < 0.052
    return (0.0, 0.0, 0.0) if diamond or line else (1.0, 1.0, 1.0)


def decal(u, v):
    """The color of what `stars` leaves: gold on black. What is not there must not be in a pass either."""
    return mix((0.75, 0.50, 0.14), (0.0, 0.0, 0.0), stars(u, v)[0])


def veins(u, v):
    """Marble: pale, with gray veins that run around and upwards."""
    bend = around(u, v, (1.2, 2.4), 6)
    vein = abs(around(u, v, (0.9, 1.7), 3) + 0.45 * bend)
    fine = abs(around(u, v, (2.3, 4.0), 9) + 0.4 * bend)
    stone = mix((0.80, 0.78, 0.74), (0.92, 0.90, 0.87), 0.5 + 0.8 * bend)
    stone = mix((0.30, 0.31, 0.33), stone, vein / 0.09)
    return mix((0.55, 0.53, 0.50), stone, fine / 0.03)


def oak(u, v):
    """Of the step: planed wood, the grain along u."""
    bend = 0.3 * noise(u * 1.3, v * 2.2, 3)
    rings = noise(u * 0.8 + 3.1, (v + bend) * 8.0, 5)
    fine = noise(u * 7, v * 70, 8)
    return mix((0.24, 0.135, 0.07), (0.44, 0.28, 0.16), 0.5 + 0.7 * rings + 0.25 * fine)
