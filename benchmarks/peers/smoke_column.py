"""A column of smoke: balls of which the density falls from the middle to nothing at the border. Y is up."""
import math

DENSITY = 0.9


def puffs():
    """Centres and radii."""
    return [((0.8 * math.sin(1.3 * k), 0.9 * k, 0.8 * math.cos(1.7 * k)), 1.6 + 0.18 * k) for k in range(12)]
