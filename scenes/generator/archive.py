"""A drawing room with a tall window: floor, walls, window, skirting. Lengths in centimetres, y upwards.

The camera stands near FRONT and looks towards -z; the window is in the wall at LEFT."""

from .interior import box, panel
from .mesh import add, subtract
from .still_life import joined

LEFT, RIGHT, BACK, FRONT, CEILING = -210.0, 210.0, -200.0, 330.0, 290.0
WINDOW = (-120.0, 40.0, 62.0, 250.0)  # along z, heights
WALL = 26.0                           # thickness
PAST = 6.0                            # how far surfaces go beyond corners


def quad(corner, along, up, size=100.0):
    return panel(corner, subtract(along, corner), subtract(up, corner), size=size)


def archive_floor():
    """One unit of the coordinates is a dark and a light tile."""
    return quad((LEFT - PAST, 0, FRONT), (RIGHT + PAST, 0, FRONT), (LEFT - PAST, 0, BACK - PAST), 84.0)


def archive_walls():
    z0, z1, y0, y1 = WINDOW

    def left(za, zb, ya, yb):
        return quad((LEFT, ya, za), (LEFT, ya, zb), (LEFT, yb, za))

    parts = [left(FRONT, BACK, 0, y0), left(FRONT, BACK, y1, CEILING), left(FRONT, z1, y0, y1), left(z0, BACK, y0, y1),
             quad((LEFT, 0, BACK), (RIGHT, 0, BACK), (LEFT, CEILING, BACK)),
             quad((RIGHT, 0, BACK), (RIGHT, 0, FRONT), (RIGHT, CEILING, BACK)),
             quad((RIGHT, 0, FRONT), (LEFT, 0, FRONT), (RIGHT, CEILING, FRONT))]
    return joined(*parts)


def archive_ceiling():
    return quad((LEFT, CEILING, BACK), (RIGHT, CEILING, BACK), (LEFT, CEILING, FRONT))


def archive_joinery():
    """White woodwork: the lining and the bars of the window, its sill, skirting boards, and a moulding below the ceiling."""
    z0, z1, y0, y1 = WINDOW
    outer, inner = LEFT - WALL, LEFT + 2.0
    parts = [box((outer, y0 - 7, z0 - 7), (inner, y0, z1 + 7)), box((outer, y1, z0 - 7), (inner, y1 + 7, z1 + 7)),
             box((outer, y0 - 7, z0 - 7), (inner, y1 + 7, z0)), box((outer, y0 - 7, z1), (inner, y1 + 7, z1 + 7)),
             box((LEFT - 2, y0 - 4, z0 - 12), (LEFT + 16, y0, z1 + 12))]
    glass = LEFT - WALL + 8
    for k in (1, 2, 3):
        z = z0 + (z1 - z0) * k / 4
        wide = 4.0 if k == 2 else 1.6
        parts.append(box((glass - 2, y0, z - wide), (glass + 2, y1, z + wide)))
    for k in (1, 2, 3):
        y = y0 + (y1 - y0) * k / 4
        parts.append(box((glass - 1.8, y - 1.6, z0), (glass + 1.8, y + 1.6, z1)))
    for height, low, deep in ((12.0, 0.0, 2.2), (9.0, CEILING - 9, 7.0)):
        top = low + height
        parts += [box((LEFT, low, BACK), (LEFT + deep, top, FRONT)), box((LEFT, low, BACK), (RIGHT, top, BACK + deep)),
                  box((RIGHT - deep, low, BACK), (RIGHT, top, FRONT))]
    return joined(*parts)


def archive_panes():
    z0, z1, y0, y1 = WINDOW
    x = LEFT - WALL + 8
    return quad((x, y0, z1), (x, y0, z0), (x, y1, z1))


def archive_blind():
    """Behind the window, where rays that gather light end: the window's light is a lamp's."""
    z0, z1, y0, y1 = WINDOW
    x = LEFT - WALL - 10
    return quad((x, y0 - 30, z1 + 30), (x, y0 - 30, z0 - 30), (x, y1 + 30, z1 + 30))


PARTS = ((archive_floor, True), (archive_walls, True), (archive_ceiling, False), (archive_joinery, False), (archive_panes, False),
         (archive_blind, False))


def on(base, x, y, z):
    return add(base, (x, y, z))


TABLE = (-6.0, 0.0, 34.0)
TABLE_SIZE = 1.45
TOP = 55.0 * TABLE_SIZE + 0.05
CHAIR, CHAIR_TURN = (112.0, 0.0, -92.0), -38.0
PLANT = (-148.0, 0.0, -148.0)


def places(at):
    """What stands where: shape, material, place. `at` makes a place of x, y, z, turn, size, tilt, lean."""
    top = on(TABLE, 0, TOP, 0)
    bowl = on(top, 14, 0, -13)
    found = [(name, material, at(0, 0, 0)) for name, material in
             (("archive_floor", "floor"), ("archive_walls", "walls"), ("archive_ceiling", "ceiling"),
              ("archive_joinery", "joinery"), ("archive_panes", "panes"))]
    found += [("rug", "rug", at(30, 0, 22, 4)),
              ("round_table", "oak", at(*TABLE, 20, TABLE_SIZE)),
              ("teapot", "porcelain", at(*on(top, -13, 0, -4), 155, 4.4)),
              ("carafe", "glass", at(*on(top, -1, 0, -23), 10)), ("water", "water", at(*on(top, -1, 0, -23), 10)),
              ("goblet", "glass", at(*on(top, 8, 0, 16))), ("wine", "wine", at(*on(top, 8, 0, 16))),
              ("saucer", "porcelain", at(*on(top, -12, 0, 19))), ("cup", "porcelain", at(*on(top, -12, .85, 19), 200)),
              ("bowl", "bowl", at(*bowl)),
              ("apple", "apple", at(*on(bowl, -5.2, 4.6, 2.6), 40, 1.0, 12, 18)),
              ("apple", "apple", at(*on(bowl, 1.0, 9.8, -.6), 200, 1.02, -14, -10)),
              ("orange", "orange", at(*on(bowl, 4.6, 4.4, 3.6), 60)),
              ("orange", "orange", at(*on(bowl, 3.2, 4.5, -4.6), 10)),
              ("pear", "pear", at(*on(bowl, -4.0, 4.6, -4.4), 120, 1.0, 10, 26)),
              ("half_lemon", "lemon", at(*on(top, 22, 2.95, 8), 40, 1.0)),
              ("armchair", "fabric", at(*CHAIR, CHAIR_TURN)),
              ("throw_pillow", "pillow", at(CHAIR[0] - 3, 59, CHAIR[2] - 2, CHAIR_TURN + 6, 1.0, 66, 0)),
              ("hills_frame", "gold", at(20, 153, BACK + 1.2, 0, 1.75)),
              ("hills_picture", "hills", at(20, 153, BACK + 1.2, 0, 1.75)),
              ("pot", "pot", at(*PLANT, 0, 1.25)), ("plant_stems", "stem", at(*PLANT, 0, 1.25))]
    return found, PLANT
