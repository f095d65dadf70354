#!/usr/bin/env python3
"""Renders the strips of docs/shaders.md and docs/materials.md: a parameter of a material in five values, from left to right.

    scenes/make_strips.py [--renderer build/release/lumorender] [NAME ...]     all strips, or those of these names

Writes docs/images/strips/<name>.png. Needs nothing but Python and the renderer.
"""

import argparse
import itertools
import math
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent))

from generate import HERE, inverse_placement, look, matrix, multiply  # noqa: E402
from generator import look_development  # noqa: E402
from generator.hair import write_hair  # noqa: E402
from generator.mesh import write_object  # noqa: E402
from generator.still_life import joined, tube  # noqa: E402

CELL = 2.36  # width of a cell in ball radii


class Strip:
    """`values` are what the parameter takes; `shape` is ball, dog, strands (tubes), tress or veil (hairs), sea, volume
    or catcher (a ball on a plane of the material). `before` is text that the material needs."""

    def __init__(self, name, material, parameter, values, base="", shape="ball", light="front", wall=False, floor=False,
                 environment=True, group=None, before="", size=1.0):
        self.name, self.material, self.parameter, self.values = name, material, parameter, values
        self.base, self.shape, self.light = base, shape, light
        self.wall, self.floor, self.environment = wall, floor, environment
        self.group = group  # of the parameter, where it is a member
        self.before = before
        self.size = size    # half the box of volumes


def strips():
    red, dark = '"color" .55 .05 .035', '"color" .03 .03 .035, "diffuse" .5'
    glass = '"color" 0 0 0, "transparency" .97 .97 .97, "refractions" on'
    wax = '"color" 1 1 1, "diffuse" 0, "scatterCache" 1'
    brushed = '"color" .06 .06 .065, "diffuse" .5, "specularColor" .35 .35 .36'
    hair = ('"color" .16 .07 .03, "tubeDirection" 1, "specularColor" .3 .3 .3, "specularPower" 60, '
            '"specularShift" -.08, "secondSpecularColor" .36 .16 .06, "secondSpecularPower" 20')

    def lambert(name, values, base, **more):
        return Strip(name, "lumoVexaLambert", name, values, base, environment=False, **more)

    def hairs(name, values, base):
        return Strip("hair_" + name, "lumoVexaHairTubeShader", name, values, base, shape="strands", environment=False)

    def tresses(kind, name, values, base="", parameter=None, light="front"):
        shader = {"fur": "lumoVexaFur", "hair": "lumoVexaHairShader"}[kind]
        return Strip(f"{kind}s_{name}", shader, parameter or name, values, base, light=light, environment=False,
                     shape="tress" if light == "front" else "veil")

    def coats(name, values, base):
        return Strip("coat_" + name, "lumoVexaFur", name, values, base, environment=False)

    fraction = ["0", ".25", ".5", ".75", "1"]
    yield lambert("diffuse", ["0", ".2", ".5", ".8", "1"], '"color" .9 .55 .2')
    yield lambert("transparency", ["0 0 0", ".25 .25 .25", ".5 .5 .5", ".75 .75 .75", "1 1 1"], red, wall=True)
    yield lambert("translucence", fraction, '"color" .5 .7 .15, "translucenceFocus" .3, "translucenceDepth" .05',
                  light="back")
    yield lambert("translucenceFocus", ["0", ".3", ".6", ".8", ".95"],
                  '"color" .5 .7 .15, "translucence" 1, "translucenceDepth" .06', light="back")
    yield lambert("translucenceDepth", ["0", ".01", ".03", ".06", ".1"],
                  '"color" .5 .7 .15, "translucence" 1, "translucenceFocus" .3', light="back")
    yield lambert("refractiveIndex", ["1", "1.1", "1.33", "1.5", "2"], glass, wall=True)
    yield lambert("lightAbsorbance", ["0", ".15", ".4", "1", "2.5"], glass + ', "refractiveIndex" 1.33', wall=True)
    yield lambert("surfaceThickness", ["0", ".02", ".1", ".3", ".8"], glass + ', "refractiveIndex" 1.5', wall=True)
    yield lambert("refractionBlur", ["0", ".01", ".03", ".08", ".25"],
                  glass + ', "refractiveIndex" 1.2, "refractionRays" 4', wall=True)
    yield lambert("shadowAttenuation", fraction, '"color" .1 .3 .5, "transparency" .55 .75 .9', floor=True)
    yield lambert("scatterRadius", [".01", ".05", ".2", ".6", "1.5"], wax + ', "scatterColor" .97 .9 .75', shape="dog",
                  light="window")
    yield lambert("scatterColor", [".98 .97 .95", ".95 .85 .6", ".9 .5 .2", ".4 .85 .5", ".3 .3 .3"],
                  wax + ', "scatterRadius" .3', shape="dog", light="window")

    yield Strip("reflectivity", "lumoVexaPhong", "reflectivity", ["0", ".1", ".3", ".6", "1"], dark)
    yield Strip("reflectionBlur", "lumoVexaPhong", "reflectionBlur", ["0", ".25", ".5", ".75", "1"],
                '"color" 0 0 0, "diffuse" 0, "reflectivity" .9, "cosinePower" 25, "specularColor" 0 0 0, '
                '"reflectionRays" 8')
    yield Strip("cosinePower", "lumoVexaPhong", "cosinePower", ["2", "8", "20", "60", "300"],
                red + ', "specularColor" .5 .5 .5', environment=False)
    yield Strip("phonge_roughness", "lumoVexaPhongE", "roughness", [".02", ".1", ".3", "1", "5"],
                red + ', "highlightSize" .5, "specularColor" .5 .5 .5', environment=False)
    yield Strip("highlightSize", "lumoVexaPhongE", "highlightSize", [".02", ".1", ".25", ".5", "1"],
                red + ', "roughness" .5, "specularColor" .5 .5 .5', environment=False)
    yield Strip("eccentricity", "lumoVexaBlinn", "eccentricity", [".05", ".1", ".2", ".4", ".8"],
                red + ', "specularColor" .5 .5 .5', environment=False)
    yield Strip("specularRollOff", "lumoVexaBlinn", "specularRollOff", ["0", ".1", ".3", ".6", "1"],
                red + ', "specularColor" .9 .9 .9', environment=False)
    yield Strip("angle", "lumoVexaAnisotropic", "angle", ["0", "22.5", "45", "67.5", "90"],
                brushed + ', "spreadX" 10, "spreadY" 1, "roughness" .5', environment=False)
    yield Strip("spreadX", "lumoVexaAnisotropic", "spreadX", ["1", "2", "4", "10", "40"],
                brushed + ', "spreadY" 1, "roughness" .5', environment=False)
    yield Strip("spreadY", "lumoVexaAnisotropic", "spreadY", ["1", "2", "4", "10", "40"],
                brushed + ', "spreadX" 1, "roughness" .5', environment=False)
    yield Strip("anisotropic_roughness", "lumoVexaAnisotropic", "roughness", [".2", ".35", ".5", ".7", "1"],
                brushed + ', "spreadX" 6, "spreadY" 1', environment=False)
    yield Strip("fresnelIndex", "lumoVexaAnisotropic", "fresnelIndex", ["1", "1.5", "2.5", "6", "20"],
                brushed + ', "spreadX" 4, "spreadY" 1, "roughness" .6', environment=False)
    yield hairs("specularPower", ["4", "15", "40", "120", "400"], hair)
    yield hairs("specularShift", ["-.4", "-.2", "0", ".2", ".4"], hair + ', "secondSpecularColor" 0 0 0')
    yield hairs("secondSpecularColor", ["0 0 0", ".2 .08 .03", ".5 .22 .08", ".1 .3 .5", ".8 .1 .1"],
                hair + ', "specularColor" 0 0 0')
    yield hairs("secondSpecularPower", ["3", "8", "20", "60", "200"],
                hair + ', "specularColor" 0 0 0, "secondSpecularColor" .5 .22 .08')
    yield hairs("secondSpecularShift", ["-.4", "-.2", "0", ".2", ".4"],
                hair + ', "specularColor" 0 0 0, "secondSpecularColor" .5 .22 .08')
    yield hairs("tipColor", ["0 0 0", ".5 .5 .5", "1 1 1", "2.5 2 1.5", "5 1 .6"], hair)
    yield hairs("tipFade", fraction, hair)

    fur = '"color" .16 .08 .04, "tipColor" .62 .42 .24'
    coat = fur + ', "rootWidth" .02, "tipWidth" .005, "length" .3, "skinColor" .6 .35 .3'
    yield tresses("fur", "selfShadow", ["0", ".5", "1", "2", "4"], fur + ', "tipColor" .5 .3 .15, "color" .5 .3 .15')
    yield tresses("fur", "specularPower", ["4", "10", "30", "100", "300"], fur + ', "specularColor" .6 .6 .6')
    yield tresses("fur", "back", fraction, fur, parameter="translucence", light="back")
    yield coats("density", ["0.001", "50", "200", "800", "3000"], coat)
    yield coats("inclination", ["0", "20", "40", "60", "85"],
                coat + ', "density" 400, "specularColor" .5 .5 .5, "direction" -90')
    dark_hair = '"color" .22 .11 .05, "tipColor" .3 .17 .09, "diffuse" .15'
    yield tresses("hair", "roughness", [".08", ".15", ".25", ".4", ".7"], dark_hair)
    yield tresses("hair", "azimuthalRoughness", [".1", ".2", ".35", ".6", "1"], dark_hair)
    yield tresses("hair", "shift", ["-10", "-5", "0", "5", "10"],
                  dark_hair + ', "secondSpecularColor" 0 0 0, "roughness" .15', parameter="specularShift")
    yield tresses("hair", "second", ["0 0 0", ".5 .5 .5", "1 1 1", "1 2 4", "4 1 .5"],
                  dark_hair + ', "specularColor" 0 0 0', parameter="secondSpecularColor")
    yield tresses("hair", "color", [".02 .012 .01", ".12 .05 .02", ".3 .14 .05", ".6 .4 .2", ".85 .8 .72"],
                  '"tipColor" .5 .3 .15, "diffuse" .15')
    yield tresses("hair", "back", fraction, '"color" .5 .3 .12, "tipColor" .6 .4 .2, "diffuse" .1',
                  parameter="translucence", light="back")

    def sea(name, values, more=""):
        return Strip("ocean_" + name, "lumoVexaOceanShader", name, values,
                     '"scale" 6, "windDirection" 70, "windSpread" 50, "longestWave" 30' + more, shape="sea")

    yield sea("waveHeight", ["0", ".2", ".4", ".7", "1.1"])
    yield sea("wavePeaking", ["0", ".5", "1", "1.5", "2"], ', "waveHeight" .6')
    yield sea("waveTurbulence", ["0", ".1", ".25", ".5", "1"])
    yield sea("longestWave", ["1", "3", "8", "20", "60"])
    yield sea("windSpeed", ["2", "4", "6", "9", "13"], ', "spectrum" 2, "waveHeight" 1, "longestWave" 200')
    yield sea("foamThreshold", [".6", ".4", ".25", ".1", "-.1"], ', "waveHeight" .7, "wavePeaking" 1, "foamEmission" 3')


def node_strips():
    """Of surfaces that are made of others, and of what stands for a plate."""
    plate = ('shader "plate" "example_checker" ( "even" .62 .62 .6, "odd" .45 .5 .56, "repeat" 3 24 1 )\n'
             'shader "red_s" "lumoVexaBlinn" ( "color" .55 .05 .035, "specularColor" .5 .5 .5 )\n'
             'material "red" "lumoVexaShadingEngine" ( "surfaceShader" = "red_s" ) shadow "lumoVexaFastShadow" () '
             'end material\n')
    catcher = '"backgroundMode" 1, "background" = "plate"'
    # Hue by column, brightness by row: the colors of a poster.
    tones = [(25, 20, 60), (200, 40, 60), (250, 140, 40), (255, 235, 190)]
    texels = "".join("".join(f"{c:02x}" for c in (tone[k % 3:] + tone[:k % 3] if k < 3 else [sum(tone) // 3] * 3))
                     for tone in map(list, tones) for k in range(4))
    poster = (f"color texture \"poster\" [4 4] '{texels}'\n"
              'shader "tones" "example_texture" ( "tex" "poster" )\n'
              'shader "clay" "lumoVexaBlinn" ( "color" .9 .5 .3, "specularColor" .8 .8 .8, "ambientColor" .1 .1 .1 )\n')
    looks = "".join(f'shader "look{k}" {look}\n' for k, look in enumerate((
        '"lumoVexaLambert" ( "color" .9 .55 .2 )',
        '"lumoVexaPhong" ( "color" .02 .05 .12, "reflectivity" .3, "specularColor" .5 .5 .5 )',
        '"lumoVexaAnisotropic" ( "color" .06 .06 .065, "specularColor" .35 .35 .36, "spreadX" 10, "spreadY" 1 )',
        '"lumoVexaLambert" ( "color" .3 .5 .15, "ambientColor" .4 .6 .2 )',
        '"lumoVexaPhong" ( "color" .4 .4 .4, "diffuse" .2, "reflectivity" .8, "reflectedColor" 1 .8 .4 )')))

    yield Strip("catcher_shadowMask", "lumoVexaUseBackground", "shadowMask", ["0", ".25", ".5", ".75", "1"], catcher,
                shape="catcher", floor=True, before=plate)
    yield Strip("catcher_reflectivity", "lumoVexaUseBackground", "reflectivity", ["0", ".1", ".3", ".6", "1"], catcher,
                shape="catcher", floor=True, before=plate)
    yield Strip("map_offsetU", "lumoVexaShadingMap", "offsetU", ["0", ".25", ".5", ".75", "1"],
                '"color" = "clay", "shadingMap" = "tones"', environment=False, before=poster)
    yield Strip("binder_selection", "lumoVexaAssetBinder", "selection", ["0", "1", "2", "3", "4"],
                '"assets" [ "look0", "look1", "look2", "look3", "look4" ]', before=looks)
def volume_strips():
    """What a clear ball holds: `base` are a primitive's own parameters, or without `group` that of the engine."""
    puff = '"shape" 4, "grid" "cumulus", "color" .99 .98 .97'
    ball = '"color" .95 .95 .95, "dropoff" 1'

    def volume(name, values, base, group=("primitives", ""), **more):
        return Strip(f"volume_{name}", "lumoVexaVolumeEngine", name, values, base, shape="volume", floor=True,
                     environment=False, group=group, **more)

    yield volume("density", ["1", "3", "8", "20", "60"], puff)
    yield volume("transparency", [".5 .5 .5", ".9 .6 .3", ".3 .6 .9", ".8 .3 .8", ".2 .8 .4"], puff + ', "density" 8')
    yield volume("anisotropy", ["-.7", "-.3", "0", ".3", ".7"], puff + ', "density" 8', light="back")
    yield volume("dropoff", ["1", "2", "3", "4", "6"], '"shape" 1, "color" .95 .95 .95, "density" 16', size=.57)
    yield volume("edgeDropoff", ["0", ".25", ".5", ".75", "1"], ball + ', "density" 8')
    yield volume("shadowOpacity", ["0", ".25", ".5", ".75", ".9"], puff + ', "density" 20', group=None)


def archived_strips():
    """Of the materials of archived scenes, whose names begin with the family's."""
    dark = '"diffuse" .03 .03 .035'
    glass = '"diffuse_weight" 0., "reflectivity" 1., "transparency" 1., "brdf_fresnel" on, "refr_depth" 12'
    brushed = '"diffuse" .75 .76 .8, "refl_is_metal" on, "reflectivity" .9, "brdf_0_degree_refl" .8, "refl_gloss_samples" 16'
    paint = ('"base_color" .35 .01 .01, "edge_color" .03 0 .01, "lit_color" .7 .06 .02, "flake_exp" 12., '
             '"flake_reflect" .1, "flake_scale" .4')
    wax = '"lightmap_size" 50., "samples" 64, "bump" null'

    def mia(name, values, base, **more):
        return Strip("mia_" + name, "mia_material_x", name, values, base, **more)

    def car(name, values, base=paint, **more):
        return Strip("paint_" + name, "mi_car_paint_phen", name, values, base, **more)

    def simple(name, values, color, light):
        base = wax + f', "s" {{ "specular" .15 .15 .15, "exponent" 60. }}, "a" {{ "screen_composit" off }}'
        members = f'"diffuse_weight" .2, "overall_color" {color}, "front_sss_weight" .8, "back_sss_color" .9 .5 .2, '
        if name != "front_sss_radius":
            members += '"front_sss_radius" .3, "back_sss_weight" 1., "back_sss_radius" .2, '
        else:
            members += '"back_sss_weight" 0., '
            base = base.replace('"samples" 64', '"samples" 192')
        return Strip("sss_" + name, "misss_fast_simple_phen", name, values, base, shape="dog", light=light,
                     group=("d", members))

    yield mia("diffuse_roughness", ["0.", ".25", ".5", ".75", "1."], '"diffuse" .75 .5 .35, "reflectivity" 0.')
    yield mia("reflectivity", ["0.", ".25", ".5", ".75", "1."], dark)
    yield mia("brdf_0_degree_refl", ["0.", ".1", ".3", ".6", "1."], dark + ', "reflectivity" 1.')
    yield mia("refl_gloss", ["1.", ".8", ".6", ".4", ".2"], dark + ', "reflectivity" .8, "refl_gloss_samples" 16')
    yield mia("anisotropy", ["1.", "2.", "4.", "8.", "16."], brushed + ', "refl_gloss" .55')
    yield mia("refr_ior", ["1.", "1.1", "1.33", "1.5", "2."], glass, wall=True)
    yield mia("refr_gloss", ["1.", ".8", ".6", ".4", ".2"], glass + ', "refr_ior" 1.2, "refr_gloss_samples" 16', wall=True)
    yield mia("refr_falloff_dist", ["20.", "5.", "2.", "1.", ".4"],
              glass + ', "refr_ior" 1.33, "refr_falloff_on" on, "refr_falloff_color_on" on, "refr_falloff_color" .2 .6 .35',
              wall=True)
    yield mia("refl_base", ["0.", ".25", ".5", ".75", "1."],
              dark + ', "reflectivity" .9, "brdf_0_degree_refl" .4, "refl_base_gloss" .35, "refl_base_gloss_samples" 16')
    yield car("edge_color_bias", ["0.", ".5", "1.", "2.", "5."],
              paint + ', "edge_color" .02 .05 .5, "flake_weight" 0.')
    yield car("flake_density", ["0.", ".1", ".3", ".6", "1."])
    yield car("flake_scale", [".06", ".2", ".5", "1.2", "3."])
    yield car("flake_strength", [".05", ".2", ".4", ".8", "1.5"])
    yield car("dirt_weight", ["0.", ".25", ".5", ".75", "1."])
    yield simple("front_sss_radius", [".02", ".1", ".2", ".4", ".8"], ".95 .9 .8", "window")
    yield simple("back_sss_depth", [".05", ".2", ".5", "1.", "2."], ".95 .8 .6", "back")


HEAD = """link "lumovexa.so"
link "vexabase.so"
link "examples.so"
$include <lumovexa.mi>
$include <vexabase.mi>
$include <examples.mi>
options "opt" object space samples 2 2 trace depth 3 6 8 gamma 2.2 state [ "vexabase" () ] end options
color texture "studio_image" "studio.hdr"
camera "cam"
	framebuffer "strip" datatype "rgba" primary on filename "strip.exr" filetype "exr"
	environment "example_sky" ( "zenith" .10 .10 .105, "horizon" .10 .10 .105, "ground" .10 .10 .105 )
	focal FOCAL aperture 1 aspect 5 resolution 600 120
end camera
"""

# Of a square light: place and intensity. They are far away and large, so every cell is lit alike.
LIGHTS = {"front": ((-90, 140, 160), 1.4), "back": ((20, 70, -90), .9), "window": ((20, 70, -90), 6)}
LIGHT_SIZE = 30.0  # half the edge, at a distance of 230


def write_polygon(file, name, corners, normal):
    points = "\n".join(" ".join(map(str, p)) for p in corners)
    file.write(f'object "{name}" visible on shadow on trace on group {points} {normal} 0 0 0 1 0 0 1 1 0 0 1 0\n'
               "v 0 n 4 t 5 v 1 n 4 t 6 v 2 n 4 t 7 v 3 n 4 t 8 c 0 1 2 3 end group end object\n")


def write_light(file, position, intensity, isArchived, instance):
    half = LIGHT_SIZE * math.dist(position, (0, 0, 0)) / 230
    scaling = [[(1 / half if r < 3 else 1.0) if r == c else 0.0 for c in range(4)] for r in range(4)]
    file.write(f'light "key" "lumoVexaAreaLight" ( "intensity" {intensity}, "useRayTraceShadows" on, "shadowRays" 4, '
               '"rayDepthLimit" 8 ) origin 0 0 0 end light\n'
               'light "room" "lumoVexaAmbientLight" ( "intensity" .06, "ambientShade" 0 ) origin 0 9 9 end light\n')
    instance("key_i", "key", "transform " + matrix(multiply(look(position, (0, 0, 0)), scaling)))
    if not isArchived:  # other materials take it for a lamp
        instance("room_i", "room", "")


def write_surroundings(file, strip, instance):
    """A wall of checks, which shows its colors as they are, and a floor for shadows."""
    if strip.wall:
        file.write('shader "checks" "example_checker" ( "even" .62 .62 .6, "odd" .10 .16 .24, "repeat" 16 16 1 )\n'
                   'shader "wall_s" "lumoVexaSurfaceShader" ( "color" = "checks" )\n'
                   'material "wall" "lumoVexaShadingEngine" ( "surfaceShader" = "wall_s" ) end material\n')
        write_polygon(file, "wall_o", [(-10, -10, -2.5), (10, -10, -2.5), (10, 10, -2.5), (-10, 10, -2.5)], "0 0 1")
        instance("wall_i", "wall_o", 'material "wall" shadow off')
    if strip.shape == "catcher":
        half = CELL / 2
        write_polygon(file, "tile", [(-half, -.4, 20), (half, -.4, 20), (half, -.4, -20), (-half, -.4, -20)], "0 1 0")
    elif strip.floor:
        file.write('shader "floor_s" "lumoVexaLambert" ( "color" .5 .5 .5 )\n'
                   'material "floor" "lumoVexaShadingEngine" ( "surfaceShader" = "floor_s" ) end material\n')
        write_polygon(file, "floor_o", [(-20, -1.02, 20), (20, -1.02, 20), (20, -1.02, -20), (-20, -1.02, -20)],
                      "0 1 0")
        instance("floor_i", "floor_o", 'material "floor"')


def write_volume(file, strip, cell, instance):
    """Scattered as brightly as other things are lit."""
    x = (cell - 2) * CELL
    value = f'"{strip.parameter}" {strip.values[cell]}'
    place = inverse_placement((x, 0, 0), 0, strip.size)
    if "grid" in strip.base:  # twice as long as high
        place = multiply(inverse_placement((x, 0, 0), 0, .98), [[1, 0, 0, 0], [0, 2, 0, 0], [0, 0, 1.7, 0], [0, 0, 0, 1]])
    primitive, engine = (f", {value}", "") if strip.group else ("", f", {value}")
    file.write(f'shader "s{cell}" "lumoVexaVolumeEngine" ( "quality" 2, "scatter" 2.5, '
               f'"primitives" [ {{ {strip.base}{primitive}, '
               f'"transform" {matrix(place)} }} ]{engine} )\n'
               f'material "m{cell}" = "s{cell}" shadow = "s{cell}" end material\n')
    where = matrix(inverse_placement((x, 0, 0), 0, 1.15 / look_development.RADIUS))
    instance(f"ball_{cell}", "ball_shape", f'transform {where} material "m{cell}"')


def write_cell(file, strip, cell, instance):
    if strip.shape == "volume":
        write_volume(file, strip, cell, instance)
        return
    x = (cell - 2) * CELL
    value = f'"{strip.parameter}" {strip.values[cell]}'
    if strip.group:
        value = f'"{strip.group[0]}" {{ {strip.group[1]}{value} }}'
    file.write(f'shader "s{cell}" "{strip.material}" ( {strip.base}, {value} )\n')
    surroundings = ""
    if strip.environment and strip.shape != "sea":
        surroundings = ' environment "example_panorama" ( "tex" "studio_image" )'
    # Materials of archived scenes stand for themselves; of those mia_material_x alone throws a shadow of its own kind.
    surface = f'"lumoVexaShadingEngine" ( "surfaceShader" = "s{cell}" ) shadow = "s{cell}"'
    if strip.material.startswith("mi"):
        surface = f'= "s{cell}"' + (f' shadow = "s{cell}"' if "mia" in strip.material else "")
    file.write(f'material "m{cell}" {surface}{surroundings} end material\n')

    # What is thin enough to shine through is not in its own shadow.
    shadow = " shadow off" if "translucence" in strip.name else ""

    def thing(name, element, where):
        instance(f"{name}_{cell}", element, f'transform {matrix(where)} material "m{cell}"{shadow}')

    if strip.shape == "ball":
        thing("ball", "ball_shape", inverse_placement((x, 0, 0), 0, 1 / look_development.RADIUS))
    elif strip.shape == "dog":
        thing("dog", "dog", inverse_placement((x, -0.92, 0), 25, 0.235))
    elif strip.shape == "catcher":
        thing("tile", "tile", inverse_placement((x, 0, 0)))
        ball = matrix(inverse_placement((x, 0.32, 0), 0, 0.7 / look_development.RADIUS))
        instance(f"ball_{cell}", "ball_shape", f'transform {ball} material "red"')
    elif strip.shape == "sea":
        thing("sea", "sea_o", inverse_placement((x, 0, 0)))
    else:
        thing(strip.shape, strip.shape, inverse_placement((x, 0, 0)))


def strands():
    """A lock of thick hairs side by side, which hangs over a round: highlights lie across it. v leads to the tips."""
    hairs = []
    for k in range(9):
        side = 0.2 * (k - 4)
        turn = [math.radians(105 - 165 * t / 72) for t in range(73)]
        path = [(side, 0.98 * math.sin(a), 0.9 * math.cos(a)) for a in turn]
        hairs.append(tube(path, lambda t: 0.1 * (1 - 0.75 * t ** 3), 16))
    return joined(*hairs)


TRESSES = {"tress": 2500, "veil": 250}  # numbers of hairs


def tress(count):
    """Hairs that hang over the same round, as write_hair() takes them: each is about an arc of a circle."""
    source, hairs = random.Random(2), []
    for _ in range(count):
        deep = source.random()
        side = source.uniform(-0.9, 0.9) * math.sqrt(1 - 0.6 * deep)
        radius, start, end = 1.02 - 0.14 * deep, 105 + source.gauss(0, 3), -60 + 18 * source.random() ** 2
        a, b = math.radians(start), math.radians(end)
        handle = 4 / 3 * math.tan((a - b) / 4) * radius
        lift = 0.02 * source.gauss(0, 1)
        points = [(side, radius * math.sin(a), radius * math.cos(a)),
                  (side, radius * math.sin(a) - handle * math.cos(a), radius * math.cos(a) + handle * math.sin(a)),
                  (side + lift, radius * math.sin(b) + handle * math.cos(b),
                   radius * math.cos(b) - handle * math.sin(b)),
                  (side + 2 * lift, radius * math.sin(b), radius * math.cos(b))]
        hairs.append((points, 0.011, (source.random(), source.random()), None))
    return hairs


def write_sea(file, strip, instance):
    """Five pieces of the same sea, seen from above, with the sun from the side."""
    file.write('light "sun" "lumoVexaDirectionalLight" ( "intensity" .9 ) direction 1 -.8 -.3 end light\n'
               'light "day" "lumoVexaAmbientLight" ( "intensity" .2, "ambientShade" 0 ) origin 0 9 9 end light\n')
    instance("sun_i", "sun", "")
    instance("day_i", "day", "")
    half = 0.49 * CELL
    write_polygon(file, "sea_o", [(-half, 0, 5), (half, 0, 5), (half, 0, -5), (-half, 0, -5)], "0 1 0")
    for cell in range(5):
        write_cell(file, strip, cell, instance)


def write_scene(file, strip):
    eye, half = 60.0, 2.5 * CELL
    file.write(HEAD.replace("FOCAL", f"{0.5 * eye / half:.4f}"))
    if strip.shape == "sea":
        file.write('incremental camera "cam" environment "example_sky" ( "zenith" .1 .2 .42, "horizon" .62 .66 .7, '
                   '"ground" .1 .1 .1 ) end camera\n')
    if strip.material.startswith("mi"):
        file.write("".join(f'link "{name}.so"\n$include <{name}.mi>\n' for name in ("architectural", "paint", "subsurface")))
    file.write(f'$include "{HERE}/geometry/balls.mi"\n$include "{HERE}/geometry/dog.mi"\n')
    if strip.shape == "strands":
        write_object(file, "strands", strands())
    if strip.shape in TRESSES:
        hairs = pathlib.Path(file.name).with_name("tress.mi")
        with open(hairs, "wb") as binary:
            write_hair(binary, strip.shape, tress(TRESSES[strip.shape]))
        file.write(f'$include "{hairs}"\n')
    if strip.shape == "volume":
        file.write(f'data "cumulus" "{HERE}/volumes/cumulus.grid"\n')
    elements = []

    def instance(name, element, rest):
        file.write(f'instance "{name}" "{element}" {rest} end instance\n')
        elements.append(name)

    height = 22 if strip.shape == "sea" else 9 if strip.floor else 0
    instance("cam_i", "cam", "transform " + matrix(look((0, height, eye), (0, 0, 0))))
    write_things(file, strip, instance)
    file.write('instgroup "world" ' + " ".join(f'"{name}"' for name in elements) + ' end instgroup\n'
               'render "world" "cam_i" "opt"\n')


def write_things(file, strip, instance):
    if strip.shape == "sea":
        return write_sea(file, strip, instance)
    write_light(file, *LIGHTS[strip.light], strip.material.startswith("mi"), instance)
    file.write(strip.before)
    write_surroundings(file, strip, instance)
    for cell in range(5):
        write_cell(file, strip, cell, instance)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--renderer", default=HERE.parent / "build" / "release" / "lumorender", type=pathlib.Path)
    parser.add_argument("--folder", default=HERE.parent / "docs" / "images" / "strips", type=pathlib.Path)
    parser.add_argument("names", nargs="*", metavar="NAME")
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as folder:
        for strip in itertools.chain(strips(), node_strips(), volume_strips(), archived_strips()):
            if arguments.names and strip.name not in arguments.names:
                continue
            scene = pathlib.Path(folder) / "strip.mi"
            with open(scene, "w", encoding="ascii") as file:
                write_scene(file, strip)
            subprocess.run([arguments.renderer, "-preview", "-verbose", "3", "-file_dir", folder, "-T",
                            HERE / "textures", scene], check=True)
            shutil.copy(pathlib.Path(folder) / "strip.png", arguments.folder / f"{strip.name}.png")
            print(strip.name)


if __name__ == "__main__":
    main()
