#!/usr/bin/env python3
"""Error over time against Cycles, for light that needs many rays.

    benchmarks/error_over_time.py [--install] [--build build/bench] [--threads 2] [kind ..]

A million smooth triangles, 1024 x 1024. `gathering`: diffuse grey, a point light with hard shadows and one bounce of
diffuse light. `area`: a square light of 12 x 12 instead, no bounce. `bounces`: the point light; of every three balls one is
grey, one half a mirror and one bends light like glass. `gloss`: the point light; the balls are half a rough mirror. `focus`: the
point light, seen through a lens with a radius of .6 that is sharp behind the middle. `motion`: the point light; the balls
move by their radius while the shutter is open. `smoke`: a column of smoke in the point light, scattered once, and
nothing else; its references take ten times as many steps. Each renderer is measured against itself: the error is the root mean
square over a part of the picture (128 x 128 pixels), relative to its mean, against a reference of its own with many
samples and, here, without interpolation. The means of both references are printed: of `gathering` they are the same light
(the area lights differ in brightness, by their units; glass throws shadows in Cycles only). Seconds are of gathering and
rendering alone.
Needs a quiet machine, and Debian's packages blender (Cycles, with python3-numpy) and openimageio-tools; --install
installs them.
"""
import argparse
import pathlib
import re
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.path.insert(0, str(HERE / "peers"))
import smoke_column  # noqa: E402
from compare_renderers import RESOLUTION, cycles_seconds, found, output_of  # noqa: E402

# Spheres near the middle, with their shadows, and the smoke above them: left, top, edge.
SPHERES, COLUMN = (448, 560, 128), (448, 320, 128)


def part_of_kind(kind):
    return COLUMN if kind == "smoke" else SPHERES


# An exitance of 1: Cycles spreads a point light's watts over 4 pi, and a diffuse surface's light over pi.
WATTS = 40000
POINT_INTENSITY = WATTS / (4 * 3.14159265 ** 2)

MATERIALS = """
shader "lambert" "lumoVexaLambert" ( "color" .7 .7 .7, "diffuse" .8 )
material "grey" "lumoVexaShadingEngine" ( "surfaceShader" = "lambert" ) shadow "lumoVexaShadow" () end material
shader "half_mirror" "lumoVexaPhong" ( "color" .7 .7 .7, "diffuse" .4, "specularColor" 0 0 0, "reflectivity" .5,
    "reflectionLimit" 2 )
material "mirror" "lumoVexaShadingEngine" ( "surfaceShader" = "half_mirror" ) shadow "lumoVexaShadow" () end material
shader "clear" "lumoVexaLambert" ( "color" 0 0 0, "transparency" 1 1 1, "refractions" on, "refractiveIndex" 1.5,
    "refractionLimit" 4 )
shader "blur" "physical_lens_dof" ( "plane" 45, "radius" .6 )
shader "half_gloss" "lumoVexaPhong" ( "color" .7 .7 .7, "diffuse" .4, "specularColor" 0 0 0, "reflectivity" .5,
    "cosinePower" 20, "reflectionBlur" 1, "reflectionRays" {gloss_rays} )
material "gloss" "lumoVexaShadingEngine" ( "surfaceShader" = "half_gloss" ) shadow "lumoVexaShadow" () end material
material "glass" "lumoVexaShadingEngine" ( "surfaceShader" = "clear" ) shadow "lumoVexaShadow" () end material
"""

SCENE = """
link "physics.so"
$include <physics.mi>
$include "{geometry}"
{light}
instance "world_i" "world" end instance
instgroup "lit_world" "lamp_i" "world_i" end instgroup
camera "cam"
    framebuffer "beauty" datatype "rgba_fp" primary on filename "{image}" filetype "exr"
    focal 1.5 aperture 1 aspect 1 resolution {edge} {edge} {window} {camera}
end camera
incremental options "opt"
    samples {level} {level} {options}
    state [ "vexabase" (), "lumoFrameBufferState" () ]
end options
render "lit_world" "cam_i" "opt"
"""

LENS = 'lens = "blur"'
MOVES = "motion transform 1 0 0 0  0 1 0 0  0 0 1 0  -1 0 0 1"  # to the right by one, while the shutter is open

POINT_LIGHT = f"""
light "lamp" "lumoVexaPointLight" ( "intensity" {POINT_INTENSITY}, "decayRate" 2, "useRayTraceShadows" on )
    origin 0 0 0 end light
instance "lamp_i" "lamp" transform 1 0 0 0  0 1 0 0  0 0 1 0  -20 -25 -12 1 end instance
"""

# The square of the light's own space, -1 to 1, six times as large, looks from 20 25 12 to the middle.
AREA_LIGHT = """
light "lamp" "lumoVexaAreaLight" ( "intensity" 1, "useRayTraceShadows" on, "shadowRays" {rays} )
    origin 0 0 0 end light
instance "lamp_i" "lamp" transform {place} end instance
"""


def placed_light(rays):
    place = output_of([sys.executable, HERE.parent / "scenes/generate.py", "--look", "20 25 12", "0 0 0"]).split()[1:]
    matrix = [float(number) for number in place]
    scaled = [value / 6 if k % 4 < 3 else value for k, value in enumerate(matrix)]
    return AREA_LIGHT.format(rays=rays, place=" ".join(f"{value:.8g}" for value in scaled))


SMOKE = """
link "lumovexa.so" link "vexabase.so"
$include <lumovexa.mi>
$include <vexabase.mi>
options "opt" object space trace depth 1 1 2 samples {level} {level} state [ "vexabase" () ] end options
shader "smoke" "lumoVexaVolumeEngine" ( "quality" {rays}, "primitives" [ {puffs} ] )
camera "cam"
    framebuffer "beauty" datatype "rgba_fp" primary on filename "{image}" filetype "exr"
    focal 1.5 aperture 1 aspect 1 resolution {edge} {edge} {window} volume = "smoke"
end camera
instance "cam_i" "cam" {look} end instance
{light}
instgroup "world" "cam_i" "lamp_i" end instgroup
render "world" "cam_i" "opt"
"""


def smoke_scene(image, window, level, quality):
    """Extinction -log(transparency) x density is that of the other renderer."""
    def primitive(centre, radius):
        rows = f"{1 / radius:.8g} 0 0 0  0 {1 / radius:.8g} 0 0  0 0 {1 / radius:.8g} 0 "
        rows += " ".join(f"{-c / radius:.8g}" for c in centre)
        return (f'{{ "shape" 0, "transform" {rows} 1, "dropoff" 1, "density" {smoke_column.DENSITY}, '
                f'"transparency" .36787944 .36787944 .36787944 }}')
    look = output_of([sys.executable, HERE.parent / "scenes/generate.py", "--look", "0 22 34", "0 0 2"])
    return SMOKE.format(puffs=",\n    ".join(primitive(*puff) for puff in smoke_column.puffs()), look=look, image=image,
                        window=window, edge=RESOLUTION, level=level, rays=quality, light=POINT_LIGHT)


class Own:
    """Renders of lumorender. A setting is a level of samples and a number of rays (smoke: the quality)."""

    def __init__(self, build, threads, folder):
        self.build, self.threads, self.folder = build, threads, folder

    def render(self, kind, setting, reference=False):
        level, rays = setting
        image = self.folder / f"own-{kind}-{level}-{rays}.exr"
        left, top, edge = part_of_kind(kind)
        # Windows count from the lower left corner.
        window = f"window {left} {RESOLUTION - top - edge} {left + edge - 1} {RESOLUTION - top - 1}" if reference else ""
        if kind == "smoke":
            scene = self.folder / "own.mi"
            scene.write_text(smoke_scene(image, window, level, rays), encoding="ascii")
            text = self.output_of_render(scene)
            return image, found(r"rendered .* in (\d+\.\d+) s", text, "lumorender")
        options = {"bounces": "trace depth 2 4 6", "motion": "motion on shutter 0 1",
                   "gathering": f"finalgather on finalgather accuracy {rays}"}.get(kind, "")
        if kind == "gathering" and reference:
            options += " finalgather presample density 0"
        scene = self.folder / "own.mi"
        scene.write_text(SCENE.format(
            geometry=self.geometry(kind, rays), image=image, edge=RESOLUTION, window=window, level=level, options=options,
            camera=LENS if kind == "focus" else "", light=placed_light(rays) if kind == "area" else POINT_LIGHT),
            encoding="ascii")
        text = self.output_of_render(scene)
        seconds = found(r"rendered .* in (\d+\.\d+) s", text, "lumorender")
        ready = re.search(r"final gathering: ready in (\d+\.\d+) s", text)
        return image, seconds + (float(ready.group(1)) if ready else 0)

    def output_of_render(self, scene):
        return output_of([self.build / "lumorender", "-verbose", 5, "-threads", self.threads, "-file_dir", self.folder,
                          scene])

    def geometry(self, kind, rays):
        """The benchmark's scene with materials of our own, and without its render command."""
        path = self.folder / f"geometry-{kind}-{rays if kind == 'gloss' else ''}.mi"
        if path.exists():
            return path
        text = (self.build / "bench/spheres.mi").read_text(encoding="ascii")
        text = re.sub(r"^(shader \"grey_body\"|material \"grey\"|render) .*\n", "", text, flags=re.M)
        head, objects = text.split('object "floor"', 1)
        names = {"bounces": ("grey", "mirror", "glass"), "gloss": ("gloss",)}.get(kind, ("grey",))
        moves = MOVES if kind == "motion" else ""
        objects = re.sub(r'^(instance "ball_(\d+)_i" \S+) material "grey"',
                         lambda m: f'{m.group(1)} {moves} material "{names[int(m.group(2)) % len(names)]}"', objects,
                         flags=re.M)
        path.write_text(head + MATERIALS.format(gloss_rays=rays) + 'object "floor"' + objects, encoding="ascii")
        return path


class Cycles:
    """A setting is a number of samples."""

    def __init__(self, build, threads, folder):
        self.geometry, self.threads, self.folder = build / "bench/spheres.mi", threads, folder

    def render(self, kind, samples, reference=False):
        image = self.folder / f"cycles-{kind}-{samples}.exr"
        part = ",".join(map(str, part_of_kind(kind))) if reference else ""
        return image, cycles_seconds(self.geometry, samples, self.threads, kind, image, part)


def part_of(image, folder, kind):
    left, top, edge = part_of_kind(kind)
    path = folder / (image.stem + "-part.exr")
    output_of(["oiiotool", image, "--ch", "0,1,2", "--cut", f"{edge}x{edge}+{left}+{top}", "-d", "float", "-o", path])
    return path


def mean_of(part):
    text = output_of(["oiiotool", "--stats", part])
    return sum(map(float, re.search(r"Stats Avg: (\S+) (\S+) (\S+)", text).groups())) / 3


def error_of(part, reference):
    squares = part.with_name("squares.exr")
    output_of(["oiiotool", part, reference, "--sub", "--dup", "--mul", "-o", squares])
    return mean_of(squares) ** 0.5


# Reference, then what is measured.
SETTINGS = {
    "gathering": {"lumorender": ((4, 16), [(0, 50), (1, 50), (1, 150), (2, 150), (3, 150)]),
                  "Cycles": (1024, [1, 4, 16, 64])},
    "bounces": {"lumorender": ((5, 1), [(0, 1), (1, 1), (2, 1), (3, 1)]),
                "Cycles": (1024, [1, 4, 16, 64])},
    "smoke": {"lumorender": ((3, 16), [(0, .25), (0, 1), (1, .25), (1, 1), (2, 1)]),
              "Cycles": (512, [1, 4, 16])},
    "gloss": {"lumorender": ((5, 1), [(0, 1), (0, 4), (1, 1), (1, 4), (2, 1), (3, 1)]),
              "Cycles": (1024, [1, 4, 16, 64])},
    "focus": {"lumorender": ((5, 1), [(0, 1), (1, 1), (2, 1), (3, 1)]),
              "Cycles": (1024, [1, 4, 16, 64])},
    "motion": {"lumorender": ((5, 1), [(0, 1), (1, 1), (2, 1), (3, 1)]),
               "Cycles": (1024, [1, 4, 16, 64])},
    "area": {"lumorender": ((4, 16), [(0, 4), (1, 1), (1, 4), (2, 1), (2, 4), (3, 1)]),
             "Cycles": (1024, [1, 4, 16, 64])},
}


def measure(kind, renderers, folder):
    print(f"\n{kind}")
    for renderer in renderers:
        name = {"Own": "lumorender"}.get(type(renderer).__name__, type(renderer).__name__)
        best, settings = SETTINGS[kind][name]
        reference = part_of(renderer.render(kind, best, reference=True)[0], folder, kind)
        reference = reference.rename(folder / f"{name}-{kind}-reference.exr")
        mean = mean_of(reference)
        print(f"  {name}: mean of the reference {mean:.5f}", flush=True)
        for setting in settings:
            image, seconds = renderer.render(kind, setting)
            error = error_of(part_of(image, folder, kind), reference) / mean
            label = f"{4 ** setting[0]} samples, {setting[1]} rays" if isinstance(setting, tuple) else f"{setting} samples"
            print(f"    {label:24} {seconds:8.2f} s   error {error:.4f}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("kinds", nargs="*", help=f"{', '.join(SETTINGS)}; all when none is given")
    parser.add_argument("--install", action="store_true")
    parser.add_argument("--build", type=pathlib.Path, default=HERE.parent / "build/bench")
    parser.add_argument("--threads", type=int, default=2)
    arguments = parser.parse_args()
    unknown = set(arguments.kinds) - set(SETTINGS)
    if unknown:
        parser.error(f"no such measurement: {', '.join(sorted(unknown))}; there are {', '.join(SETTINGS)}")
    if arguments.install:
        output_of(["apt-get", "install", "-y", "--no-install-recommends", "blender", "python3-numpy",
                   "openimageio-tools"])
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        renderers = [kind(arguments.build.resolve(), arguments.threads, folder) for kind in (Own, Cycles)]
        for kind in arguments.kinds or SETTINGS:
            measure(kind, renderers, folder)


if __name__ == "__main__":
    main()
