#!/usr/bin/env python3
"""Makes the geometry, the textures and the voxel grids of the scenes. Needs nothing but Python.

    scenes/generate.py                       rewrites scenes/geometry, textures and volumes (small, checked in)
    scenes/generate.py --hair                writes the hair of scenes/rabbits.mi, which is not checked in (14 MB, half a minute)
    scenes/generate.py --large DIRECTORY     writes the large scenes, which are not checked in:
                                             spheres.mi (1,016,192 triangles)
    scenes/generate.py --look FROM AT        prints the transform of a camera or light: "x y z" each
"""

import argparse
import io
import math
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent))

from generator import (archive, cloud, hair, harbor, helmet, images, interior, interior_images, look_development,  # noqa: E402
                       look_development_images, nodes, rabbits, shapes, still_life, still_life_images, tableware)
from generator.mesh import cross, number, subtract, unit, write_object  # noqa: E402
from generator.teapot import teapot  # noqa: E402
from generator.terrain import hash01, terrain  # noqa: E402

HERE = pathlib.Path(__file__).parent
HEAD = "# Made by scenes/generate.py; change that instead of this file.\n\n"


# ---- matrices: row vectors, translation in the last row -----------------------------------------------------------

def multiply(a, b):
    return [[sum(a[r][k] * b[k][c] for k in range(4)) for c in range(4)] for r in range(4)]


def identity():
    return [[1.0 if r == c else 0.0 for c in range(4)] for r in range(4)]


def inverse_placement(position, turn=0.0, size=1.0, tilt=0.0, lean=0.0):
    """World to element, as instances want it. The element is scaled, tilted about x, leaned about z, turned about y and
    moved, in this order; each of them is undone here in reverse. Angles in degrees."""
    def rotation(axis, degrees):
        m, a = identity(), math.radians(degrees)
        i, j = [(1, 2), (2, 0), (0, 1)][axis]
        m[i][i] = m[j][j] = math.cos(a)
        m[i][j], m[j][i] = math.sin(a), -math.sin(a)
        return m

    move, scaling = identity(), identity()
    move[3][:3] = [-x for x in position]
    for k in range(3):
        scaling[k][k] = 1 / size
    m = move
    for step in (rotation(1, -turn), rotation(2, -lean), rotation(0, -tilt), scaling):
        m = multiply(m, step)
    return m


def look(eye, target):
    """World to camera: the camera looks along its -z."""
    back = unit(subtract(eye, target))
    right = unit(cross((0.0, 1.0, 0.0), back))
    up = cross(back, right)
    m = [[right[k], up[k], back[k], 0.0] for k in range(3)]
    m.append([-sum(e * a for e, a in zip(eye, axis)) for axis in (right, up, back)] + [1.0])
    return m


def matrix(m):
    return "  ".join(" ".join(number(x, 5) for x in row) for row in m)


# ---- what the scenes include --------------------------------------------------------------------------------------

def write_instances(file, group, instances):
    """Each instance is (element, statements). Ends with a group of all of them."""
    for k, (element, statements) in enumerate(instances):
        file.write(f'instance "{group}_{k}" "{element}" {statements} end instance\n')
    file.write(f'instgroup "{group}"\n')
    for k in range(len(instances)):
        file.write(f'\t"{group}_{k}"\n')
    file.write("end instgroup\n")


def teapot_field(file):
    """A large pot and around it rings of small ones, each the golden angle further round."""
    glazes = ["porcelain", "celadon", "terracotta", "gold", "ink"]
    pots = [("teapot", f'transform {matrix(inverse_placement((0, 0, 0), 35, 1.25))} material "porcelain" tag 1')]
    for k in range(12, 330):
        radius, turn = 1.13 * math.sqrt(k), 137.50776 * k
        x, z = radius * math.cos(math.radians(turn)), radius * math.sin(math.radians(turn))
        size = 0.25 + 0.07 * hash01(k, 1, 3)
        glaze = glazes[int(5 * hash01(k, 2, 3)) % 5]
        facing = -turn + 200 + 120 * hash01(k, 3, 3)
        place = inverse_placement((x, 0, z), facing, size)
        pots.append(("teapot", f'transform {matrix(place)} material "{glaze}" tag {k + 1}'))
    write_instances(file, "teapots", pots)


SHUTTER_TURN = 4.5  # degrees that the roundabout turns while the shutter is open


def carousel(file):
    """The turning part: dogs on poles that go up and down. The roundabout's own motion is that of its instance."""
    colors = ["coat_sand", "coat_slate", "coat_rust", "coat_cream"]
    parts = []
    for k in range(8):
        turn = 45.0 * k
        a = math.radians(turn)
        x, z = 3.6 * math.cos(a), -3.6 * math.sin(a)
        lift = [1.05 + 0.4 * math.sin(2 * a + phase) for phase in (0.0, 0.45)]
        open_, close = (inverse_placement((x, y, z), turn + 90, 0.26) for y in lift)
        parts.append(("dog", f'transform {matrix(open_)} motion transform {matrix(close)} '
                             f'material "{colors[k % 4]}" tag {k + 1}'))
        parts.append(("pole", f'transform {matrix(inverse_placement((x, 0.3, z)))} material "brass" tag 20'))
    parts.append(("base", 'material "wood" tag 21'))
    parts.append(("mast", f'transform {matrix(inverse_placement((0, 0.3, 0)))} material "brass" tag 22'))
    parts.append(("canopy", f'transform {matrix(inverse_placement((0, 4.6, 0)))} material "tent" tag 23'))
    write_instances(file, "carousel", parts)
    now, then = inverse_placement((0, 0, 0), 12), inverse_placement((0, 0, 0), 12 + SHUTTER_TURN)
    file.write(f'instance "carousel_i" "carousel" transform {matrix(now)} motion transform {matrix(then)} end instance\n')


def still_life_places():
    """What stands where: shape, material, place. The materials are those of scenes/still_life.mi."""
    stick = (25.5, 6.3, -5.5)  # on the books
    bowl = (0.5, 0.1, -5.0)

    def on(base, x, y, z):
        return (base[0] + x, base[1] + y, base[2] + z)

    return [
        ("carafe", "glass_green", inverse_placement((-19.0, 0.1, -2.0), 10)),
        ("water", "water", inverse_placement((-19.0, 0.1, -2.0), 10)),
        ("goblet", "glass_clear", inverse_placement((-11.0, 0.1, 8.5))),
        ("wine", "wine", inverse_placement((-11.0, 0.1, 8.5))),
        ("pitcher", "pitcher", inverse_placement((13.5, 0.1, -16.0), 205)),
        ("bowl", "bowl", inverse_placement(bowl)),
        ("apple", "apple", inverse_placement(on(bowl, -5.2, 4.6, 2.6), 40, 1.0, 12, 18)),
        ("apple", "apple", inverse_placement(on(bowl, 1.0, 9.8, -0.6), 200, 1.02, -14, -10)),
        ("orange", "orange", inverse_placement(on(bowl, 3.6, 4.4, 4.0), 15, 1.02, 20, 10)),
        ("orange", "orange", inverse_placement(on(bowl, -3.4, 5.0, -5.4), 110, 1.0, -30)),
        ("pear", "pear", inverse_placement(on(bowl, 7.8, 5.6, -1.6), -30, 1.0, -16, -14)),
        ("pear", "pear", inverse_placement((16.2, 3.3, 7.0), 150, 0.98, 0, 84)),
        ("lemon", "lemon", inverse_placement((-23.5, 3.0, 9.5), 35, 1.0, 0, -6)),
        ("half_lemon", "lemon_cut", inverse_placement((-1.5, 3.0, 14.0), -62, 1.0, 0, 8)),
        ("leaf", "leaf", inverse_placement(on(bowl, 0.6, 17.2, -0.4), 150, 0.9, 0, -5)),
        ("leaf", "leaf", inverse_placement(on(bowl, 1.2, 17.0, -0.2), 20, 0.8, 20, -8)),
        ("stem", "stem", inverse_placement(on(bowl, 0.3, 15.8, -0.2), 30, 1.0, -10, -8)),
        ("stem", "stem", inverse_placement((5.6, 3.7, 7.6), 150, 1.0, 0, 70)),
        ("stem", "stem", inverse_placement(on(stick, -0.05, 11.2, 0), 0, 0.5)),
        ("candlestick", "brass", inverse_placement(stick, 120)),
        ("candle", "wax", inverse_placement(on(stick, 0, 1.2, 0), 30)),
        ("flame", "flame", inverse_placement(on(stick, 0, 11.9, 0))),
    ]


def still_life_table(file):
    instances = []
    for k, (shape, material, place) in enumerate(still_life_places()):
        instances.append((f"{shape}_shape", f'transform {matrix(place)} material "{material}" tag {k + 10}'))
    books = [((24.5, 0.0, -6.0), 282, "book_red", 1.0), ((25.0, 3.25, -6.0), 78, "book_blue", 0.92)]
    for k, (at, turn, cover, size) in enumerate(books):
        place = matrix(inverse_placement(at, turn, size))
        instances.append(("book_cover_shape", f'transform {place} material "{cover}" tag {2 * k + 40}'))
        instances.append(("book_pages_shape", f'transform {place} material "pages" tag {2 * k + 41}'))
    for k, (centre, radius) in enumerate(still_life.grapes(38, 4)):
        x, y, z = centre
        turn = math.radians(-14)
        at = (5.0 + x * math.cos(turn) - z * math.sin(turn), y + 0.15, 12.5 + x * math.sin(turn) + z * math.cos(turn))
        place = inverse_placement(at, 360 * hash01(k, 1, 9), radius, 90 * hash01(k, 2, 9), 90 * hash01(k, 3, 9))
        instances.append(("grape_shape", f'transform {matrix(place)} material "grape" tag {k + 50}'))
    write_instances(file, "still_life", instances)


# Those whose looks need no texture coordinates.
PLAIN = {"carafe", "water", "goblet", "wine", "bowl", "orange", "grape", "candle", "candlestick", "stem", "window"}


def write_still_life(include):
    def write(name, *parts):
        with include(name) as file:
            for part in parts:
                shape = part.__name__
                write_object(file, f"{shape}_shape", part(), digits=2, textured=shape not in PLAIN)

    write("vessels.mi", still_life.carafe, still_life.water, still_life.goblet, still_life.wine, still_life.pitcher,
          still_life.bowl)
    write("fruit.mi", still_life.apple, still_life.orange, still_life.pear, still_life.lemon, still_life.half_lemon,
          still_life.grape, still_life.leaf, still_life.stem)
    write("candle.mi", still_life.book_cover, still_life.book_pages, still_life.candlestick, still_life.candle,
          still_life.flame)
    write("room.mi", still_life.cloth, still_life.table, still_life.wall, still_life.window)
    with include("still_life.mi") as file:
        still_life_table(file)


def interior_places(bindings):
    """What stands where: shape, material, place. The materials are those of scenes/interior.mi."""
    def at(x, y, z, turn=0.0, size=1.0, tilt=0.0, lean=0.0):
        return inverse_placement((x, y, z), turn, size, tilt, lean)

    chair, chair_turn = (112.0, 0.0, -60.0), -32.0
    table, plant = (20.0, 0.0, -78.0), (-118.0, 0.0, -112.0)
    shelf = (-26.0, 0.0, interior.BACK + 0.2)
    lamp = (167.0, 0.0, -134.0)

    def beside(base, turn, x, z):
        """Floor position of a point given in the turned space of a piece of furniture."""
        c, s = math.cos(math.radians(turn)), math.sin(math.radians(turn))
        return base[0] + x * c + z * s, base[2] + z * c - x * s

    def on(base, x, y, z):
        return base[0] + x, base[1] + y, base[2] + z

    places = [("floor", "oak_floor", at(0, 0, 0)), ("back_wall", "green_wall", at(0, 0, 0)),
              ("high_wall", "red_wall", at(0, 0, 0)), ("whitewash", "whitewash", at(0, 0, 0)),
              ("timber", "timber", at(0, 0, 0)), ("joinery", "joinery", at(0, 0, 0)),
              ("rug", "rug", at(34, 0, -18, 6)),
              ("armchair", "armchair", at(*chair, chair_turn)),
              ("throw_pillow", "pillow", at(chair[0] - 3, 59, chair[2] - 2, chair_turn + 6, 1.0, 66, 0)),
              ("round_table", "oak", at(*table, 40)),
              ("teapot", "painted", at(*on(table, -5, 55.05, -4), 200, 4.6)),
              ("saucer", "porcelain", at(*on(table, 11, 55.05, 8))), ("cup", "porcelain", at(*on(table, 11, 55.9, 8))),
              ("shelf", "joinery", at(*shelf)), ("library_pages", "pages", at(*shelf)),
              ("pitcher", "pitcher", at(*on(shelf, 8, interior.LEVELS[1] + .05, 14), 150)),
              ("dog", "oak", at(*on(shelf, 38, interior.LEVELS[2] + .05, 15), 200, 2.3)),
              ("lamp_stand", "brass", at(*lamp)), ("lamp_shade", "lamp_shade", at(*lamp)), ("bulb", "bulb", at(*lamp)),
              ("pot", "pot", at(*plant)), ("plant_stems", "stem", at(*plant))]
    places += [(f"library_{k}", f"binding_{k}", at(*shelf)) for k in range(bindings)]
    for x, z in ((-30, 28), (30, 28), (-30, -28), (30, -28)):
        fx, fz = beside(chair, chair_turn, x, z)
        places.append(("leg", "oak", at(fx, 0, fz)))
    for name, x, y in (("hills", 76, 150), ("sprig", -58, 157), ("rosette", 2, 152)):
        places.append((f"{name}_frame", "frame", at(x, y, interior.BACK + 1)))
        places.append((f"{name}_picture", name, at(x, y, interior.BACK + 1)))
    for k, (x, z, turn, cover) in enumerate(((-54, -2, 62, 0), (-53, -1, 88, 3), (-55, -2, 74, 4))):
        y = 1.9 + 3.25 * k
        places.append(("book_cover", f"binding_{cover}", at(x, y, z, turn, 1.0 - .06 * k)))
        places.append(("book_pages", "pages", at(x, y, z, turn, 1.0 - .06 * k)))
    for tip, turn, size, lean in interior.plant()[0]:
        places.append(("plant_leaf", "leaf", at(*on(plant, *tip), turn, size, 0, lean)))
    return places


PICTURES = {"hills": (58, 44), "sprig": (34, 46), "rosette": (28, 28)}


def write_interior(include):
    bindings, pages = interior.library()
    with include("attic.mi") as file:
        for part in (interior.floor, interior.back_wall, interior.high_wall, interior.whitewash, interior.timber,
                     interior.joinery, interior.sky):
            write_object(file, f"{part.__name__}_shape", part(), digits=2)
        for name, (width, height) in PICTURES.items():
            write_object(file, f"{name}_frame_shape", interior.picture_frame(width, height), digits=2, textured=False)
            write_object(file, f"{name}_picture_shape", interior.picture(width, height), digits=2)
    with include("furniture.mi") as file:
        for part in (interior.armchair, interior.throw_pillow, interior.leg, interior.round_table, interior.shelf,
                     interior.lamp_stand, interior.lamp_shade, interior.bulb, interior.rug, interior.pot,
                     interior.plant_leaf, interior.cup, interior.saucer):
            textured = part.__name__ in ("armchair", "throw_pillow", "rug", "plant_leaf")
            write_object(file, f"{part.__name__}_shape", part(), digits=2, textured=textured)
        write_object(file, "plant_stems_shape", interior.plant()[1], digits=2, textured=False)
        for k, binding in enumerate(bindings):
            write_object(file, f"library_{k}_shape", binding, digits=2, textured=False)
        write_object(file, "library_pages_shape", pages, digits=2)
    with include("interior.mi") as file:
        instances = []
        for k, (shape, material, place) in enumerate(interior_places(len(bindings))):
            element = shape if shape in ("teapot", "dog") else f"{shape}_shape"
            flags = " shadow off" if shape == "bulb" else ""
            instances.append((element, f'transform {matrix(place)} material "{material}" tag {k + 1}{flags}'))
        write_instances(file, "interior", instances)


def write_archive(include):
    def at(x, y, z, turn=0.0, size=1.0, tilt=0.0, lean=0.0):
        return inverse_placement((x, y, z), turn, size, tilt, lean)

    with include("archive_room.mi") as file:
        for part, textured in archive.PARTS:
            write_object(file, f"{part.__name__}_shape", part(), digits=2, textured=textured)
    with include("archive.mi") as file:
        places, plant = archive.places(at)
        chair, turn = archive.CHAIR, math.radians(archive.CHAIR_TURN)
        for x, z in ((-30, 28), (30, 28), (-30, -28), (30, -28)):
            places.append(("leg", "oak", at(chair[0] + x * math.cos(turn) + z * math.sin(turn), 0,
                                            chair[2] + z * math.cos(turn) - x * math.sin(turn))))
        for tip, turned, size, lean in interior.plant()[0]:
            places.append(("plant_leaf", "leaf", at(*(p + 1.25 * t for p, t in zip(plant, tip)), turned, 1.25 * size, 0, lean)))
        instances = []
        for k, (shape, material, place) in enumerate(places):
            element = shape if shape == "teapot" else f"{shape}_shape"
            instances.append((element, f'transform {matrix(place)} material "{material}" tag {k + 1}'))
        write_instances(file, "archive", instances)


def write_look_development(include):
    look = look_development
    with include("balls.mi") as file:
        for part, textured in ((look.ball, True), (look.stand, False), (look.steps, True), (look.paper, False),
                               (look.card, True), (look.scalp, False)):
            write_object(file, f"{part.__name__}_shape", part(), digits=3, textured=textured)
        for k in range(look.LOCKS):
            write_object(file, f"lock_{k}", look.lock(k))
    with include("look_development.mi") as file:
        # Their axes lean towards the camera: it sees the pole of the brushing.
        leans = {"brushed": 62, "paint": 14, "marble": 20}
        instances = [("card_shape", f'transform {matrix(inverse_placement(look.CARD_AT, 12))} material "card" tag 9')]
        for k, (what, x, y, z) in enumerate(look.places()):
            def add(shape, material, place, tag=k + 10):
                instances.append((shape, f'transform {matrix(place)} material "{material}" tag {tag}'))

            centre = (x, y + look.LIFT, z)
            add("stand_shape", "rubber", inverse_placement((x, y, z)), tag=30)
            if what != "hair":
                add("ball_shape", what, inverse_placement(centre, tilt=leans.get(what, 0)))
                continue
            add("scalp_shape", "scalp", inverse_placement(centre))
            for number, turn, tilt, size in look.tuft():
                a, b = math.radians(turn), math.radians(tilt)
                out = (math.sin(b) * math.sin(a), math.cos(b), math.sin(b) * math.cos(a))
                root = tuple(c + 2.5 * o for c, o in zip(centre, out))
                add(f"lock_{number}", "hair", inverse_placement(root, turn, size, tilt))
        write_instances(file, "look_development", instances)


def write_nodes(include):
    with include("nodes.mi") as file:
        write_object(file, "sample_ball", nodes.ball(), digits=3)
        write_object(file, "sample_card", nodes.card(), digits=3)
        write_instances(file, "samples", [
            (shape, f'transform {matrix(inverse_placement(at))} material "{material}" tag {k + 1}')
            for k, (shape, material, at) in enumerate(nodes.places())])


def write_harbor(include):
    with include("harbor.mi") as file:
        for part in harbor.PARTS:
            write_object(file, f"{part.__name__}_shape", part(), textured=False)
        for seed in (3, 8):
            write_object(file, f"rock_{seed}_shape", harbor.rock(seed), textured=False)
        rocks = []
        for k, place in enumerate(harbor.ROCKS):
            stands = f'transform {matrix(inverse_placement(*place))} material "rock" tag {k + 60}'
            rocks.append((f"rock_{(3, 8)[k % 2]}_shape", stands))
        write_instances(file, "rocks", rocks)


def write_geometry(folder):
    folder.mkdir(parents=True, exist_ok=True)

    def include(name):
        file = open(folder / name, "w", encoding="ascii", newline="\n")
        file.write(HEAD)
        return file

    with include("teapot.mi") as file:
        write_object(file, "teapot", teapot(6))
    with include("teapots.mi") as file:
        teapot_field(file)
    with include("dog.mi") as file:
        write_object(file, "dog", shapes.dog())
    with include("tableware.mi") as file:
        tableware.write(file)
    with include("frame.mi") as file:
        write_object(file, "frame", shapes.frame())
    with include("helmet.mi") as file:
        for part in helmet.PARTS:
            write_object(file, f"helmet_{part.__name__}", part(), digits=3, textured=False)
    with include("terrain.mi") as file:
        write_object(file, "terrain", terrain(92, 70, 90.0, 30.0), digits=2)
    with include("carousel.mi") as file:
        base = shapes.rounded([(5.2, 0.0), (5.2, 0.3), (0.0, 0.3)], 0.06)
        write_object(file, "base", shapes.lathe(base, 64))
        write_object(file, "mast", shapes.lathe(shapes.rounded(
            [(0.75, 0.0), (0.75, 0.5), (0.42, 0.7), (0.42, 3.9), (0.8, 4.3), (0.1, 7.1), (0.0, 7.15)], 0.1), 32))
        write_object(file, "pole", shapes.lathe([(0.06, 0.0), (0.06, 4.6)], 10))
        write_object(file, "canopy", shapes.canopy())
        carousel(file)
    with include("flag.mi") as file:
        write_object(file, "flag", shapes.moving_flag(0.15, 0.14))
    write_still_life(include)
    write_interior(include)
    write_archive(include)
    write_look_development(include)
    write_nodes(include)
    write_harbor(include)


def write_volumes(folder):
    folder.mkdir(parents=True, exist_ok=True)
    cloud.write_grid(folder / "cumulus.grid", cloud.SIZE, cloud.cumulus())


def write_textures(folder):
    folder.mkdir(parents=True, exist_ok=True)
    images.write_png(folder / "porcelain.png", 512, 512, images.porcelain)
    images.write_png(folder / "tile.png", 256, 256, images.tile)
    images.write_png(folder / "stripes.png", 512, 64, images.stripes)
    images.write_png(folder / "pennant.png", 256, 144, images.pennant)
    paint = still_life_images
    for look, width, height, side in (
            (paint.apple, 256, 128, 2), (paint.pear, 256, 192, 2), (paint.lemon_cut, 512, 128, 3),
            (paint.linen, 512, 256, 1), (paint.boards, 512, 256, 1), (paint.cream_glaze, 768, 384, 2),
            (paint.plaster, 256, 192, 1), (paint.pages, 64, 128, 1), (paint.leaf, 128, 96, 2), (paint.flame, 8, 64, 1)):
        images.write_png(folder / f"{look.__name__}.png", width, height, look, side)
    paint = interior_images
    for look, width, height, side in (
            (paint.oak_floor, 384, 384, 2), (paint.kilim, 380, 256, 2), (paint.mustard, 160, 160, 2),
            (paint.pillow, 128, 64, 2), (paint.hills, 192, 144, 2), (paint.sprig, 128, 172, 2),
            (paint.rosette, 128, 128, 2), (paint.afternoon, 128, 128, 1), (paint.house_leaf, 128, 96, 2)):
        images.write_png(folder / f"{look.__name__}.png", width, height, look, side)
    paint = look_development_images
    for look, width, height, side in ((paint.chart, 128, 96, 3), (paint.stars, 512, 128, 3),
                                      (paint.decal, 512, 128, 3), (paint.veins, 384, 192, 1),
                                      (paint.oak, 384, 128, 1)):
        images.write_png(folder / f"{look.__name__}.png", width, height, look, side)
    images.write_png(folder / "palette.png", 128, 128, nodes.palette, 2)
    images.write_png(folder / "backdrop.png", 64, 36, nodes.backdrop, 1)
    for name in ("coat_brown", "coat_grey", "blades"):
        images.write_png(folder / f"{name}.png", 64, 32, getattr(rabbits, name), 2)
    images.write_hdr(folder / "studio.hdr", 512, 256, paint.studio)


# ---- hair ---------------------------------------------------------------------------------------------------------

def write_hairs(path):
    """Beside the coat the skin that it grows on: it is of no use without."""
    skin = rabbits.rabbit_skin()
    with open(path, "wb") as file:
        with io.StringIO() as text:
            text.write(HEAD)
            write_object(text, "rabbit_skin", skin, textured=False)
            file.write(text.getvalue().encode("ascii"))
        hair.write_hair(file, "rabbit_coat", rabbits.rabbit_coat(skin, 150000))
        hair.write_hair(file, "rabbit_whiskers", rabbits.whiskers(), 0.2)
        hair.write_hair(file, "grass", rabbits.grass(70000, 75, [(0, 0, 5), (7, 3, 4)]), 0.1, normals=True)


# ---- large scenes -------------------------------------------------------------------------------------------------

SPHERES_HEAD = """
# A plane and 400 smooth spheres: 1,016,192 triangles. Links lumovexa.so, vexabase.so and examples.so.
link "lumovexa.so"
link "vexabase.so"
link "examples.so"
$include <lumovexa.mi>
$include <vexabase.mi>
$include <examples.mi>

options "opt"
	object space
	samples 0 0
	trace depth 1 1 2
	state [ "vexabase" () ]
end options

camera "cam"
	framebuffer "beauty" datatype "rgba_fp" primary on filename "spheres.exr" filetype "exr"
	focal 1.5 aperture 1 aspect 1 resolution 1024 1024
end camera

shader "grey_body" "example_clay" ("color" .7 .7 .7, "key" 1 2 1.5)
material "grey" "lumoVexaSimpleShadingEngine" ("color" = "grey_body") end material
"""


SPHERE_STEPS = (60, 22)  # 2 x 60 x 21 = 2520 triangles each
FLOOR_STEPS = 64         # 2 x 64 x 64 = 8192 triangles


def write_spheres(folder):
    """Every sphere is an object of its own: the scene is for measuring many triangles, not many instances."""
    folder.mkdir(parents=True, exist_ok=True)
    with open(folder / "spheres.mi", "w", encoding="ascii", newline="\n") as file:
        file.write(HEAD + SPHERES_HEAD + "\n")
        ball = shapes.sphere(*SPHERE_STEPS)
        names = []
        write_object(file, "floor", shapes.plane(30.0, FLOOR_STEPS))
        names.append("floor")
        for k in range(400):
            x, z = k % 20, k // 20
            centre = (2.4 * (x - 9.5), 0.8 + 0.25 * hash01(x, z, 5), 2.4 * (z - 9.5))
            radius = 0.7 + 0.3 * hash01(x, z, 6)
            moved = shapes.Mesh()
            moved.points = [tuple(c + radius * p for c, p in zip(centre, point)) for point in ball.points]
            moved.faces = ball.faces
            write_object(file, f"ball_{k}", moved)
            names.append(f"ball_{k}")
        for name in names:
            file.write(f'instance "{name}_i" "{name}" material "grey" end instance\n')
        camera = look((0.0, 22.0, 34.0), (0.0, 0.0, 2.0))
        file.write(f'instance "cam_i" "cam" transform {matrix(camera)} end instance\n')
        file.write('instgroup "world" "cam_i"\n' + "".join(f'\t"{name}_i"\n' for name in names) + "end instgroup\n\n")
        file.write('render "world" "cam_i" "opt"\n')


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--large", metavar="DIRECTORY", type=pathlib.Path)
    parser.add_argument("--look", nargs=2, metavar=("FROM", "AT"))
    parser.add_argument("--hair", action="store_true")
    arguments = parser.parse_args()
    if arguments.hair:
        write_hairs(HERE / "geometry" / "rabbits_hair.mi")
    elif arguments.look:
        eye, target = ([float(x) for x in text.split()] for text in arguments.look)
        print("transform " + matrix(look(eye, target)))
    elif arguments.large:
        write_spheres(arguments.large)
    else:
        write_geometry(HERE / "geometry")
        write_textures(HERE / "textures")
        write_volumes(HERE / "volumes")


if __name__ == "__main__":
    main()
