#!/usr/bin/env python3
"""Whole renders against other renderers on the same triangles, camera, light and samples, in one run.

    benchmarks/compare_renderers.py [--install] [--build build/bench] [--samples 1 16] [--threads 2]

A million smooth triangles, one diffuse grey material, one point light with hard shadows, 1024 x 1024. Prints seconds of
rendering alone (reading, building and writing left out) and the ratio to bare Embree, which traces the same eye and
shadow rays. The peers are Debian's packages blender (Cycles, with python3-numpy) and povray; --install installs them.
"""
import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE / "peers"))
import scene_geometry  # noqa: E402

RESOLUTION = 1024


# Of the system alone: Blender takes the first Python on its path for its own, with that one's packages.
ENVIRONMENT = dict(os.environ, PATH="/usr/sbin:/usr/bin:/sbin:/bin")


def output_of(command):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          env=ENVIRONMENT)
    if done.returncode:
        sys.exit(f"{command[0]} failed:\n{done.stdout[-2000:]}")
    return done.stdout


def found(pattern, text, what):
    match = re.search(pattern, text)
    if not match:
        sys.exit(f"{what} gave no time:\n{text[-2000:]}")
    return float(match.group(1))


def write_pov(path, geometry):
    points, normals, faces = geometry

    def block(name, items):
        return f"{name} {{ {len(items)},\n" + ",\n".join("<%s>" % ",".join(map(repr, item)) for item in items) + "}\n"

    path.write_text(
        "#version 3.7;\nglobal_settings { assumed_gamma 1 }\n"
        "camera { perspective location <0,22,34> look_at <0,0,2> right -x up y angle 36.8699 }\n"
        "light_source { <20,25,12> rgb 1 }\n"
        "mesh2 {\n" + block("vertex_vectors", points) + block("normal_vectors", normals) +
        block("face_indices", faces) + "texture { pigment { rgb .7 } finish { ambient 0 diffuse .8 } } }\n",
        encoding="ascii")


def pov_seconds(scene, samples, threads):
    edge = round(samples ** 0.5)
    supersampling = ["+A0.0", "+AM1", f"+R{edge}", "-J"] if edge > 1 else ["-A"]
    text = output_of(["povray", f"+I{scene}", f"+W{RESOLUTION}", f"+H{RESOLUTION}", f"+WT{threads}", "-D", "+FN",
                      "+O/dev/null", *supersampling])
    return found(r"Trace Time:.*\((\d+\.\d+) seconds\)", text, "povray")


def cycles_seconds(geometry, samples, threads, kind="direct",
                   image=pathlib.Path(tempfile.gettempdir()) / "cycles.exr", part=""):
    """What `kind` and `part` mean: peers/cycles_scene.py."""
    text = output_of(["blender", "-b", "--factory-startup", "--debug-cycles", "-P", HERE / "peers/cycles_scene.py",
                      "--", geometry, RESOLUTION, samples, threads, kind, image, part])
    return found(r"Render time \(without synchronization\): (\d+\.\d+)", text, "Cycles")


def own_seconds(program, threads):
    """Tables of sample_cost by samples: its times are processor time per sample; all threads work all the time."""
    text = output_of([program, threads, 3, "lit"])
    tables = re.split(r"lit, (\d+) samples per pixel", text)[1:]
    seconds = {}
    for samples, rows in zip(map(int, tables[::2]), tables[1::2]):
        scale = 1e-9 * RESOLUTION ** 2 * samples / threads
        seconds[samples] = {name.strip(): float(ns) * scale for name, ns in re.findall(r"^(.+?) +(\d+) ns", rows, re.M)}
    return seconds


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--install", action="store_true")
    parser.add_argument("--build", type=lambda text: pathlib.Path(text).resolve(), default=HERE.parent / "build/bench")
    parser.add_argument("--samples", type=int, nargs="+", default=[1, 16], choices=[1, 16])
    parser.add_argument("--threads", type=int, default=2)
    arguments = parser.parse_args()
    if arguments.install:
        output_of(["apt-get", "install", "-y", "--no-install-recommends", "blender", "povray", "python3-numpy"])
    geometry = arguments.build / "bench/spheres.mi"
    with tempfile.TemporaryDirectory() as folder:
        pov = pathlib.Path(folder) / "spheres.pov"
        write_pov(pov, scene_geometry.read(geometry))
        own = own_seconds(arguments.build / "sample_cost", arguments.threads)
        for samples in arguments.samples:
            seconds = own[samples]
            seconds["Cycles"] = cycles_seconds(geometry, samples, arguments.threads)
            seconds["POV-Ray"] = pov_seconds(pov, samples, arguments.threads)
            print(f"\n{samples} samples per pixel")
            for name, value in seconds.items():
                print(f"  {name:14} {value:8.2f} s   x {value / seconds['bare Embree']:.2f}", flush=True)


if __name__ == "__main__":
    main()
