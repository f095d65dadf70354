"""What a lit sample costs, in instructions: unlike time they are the same on every machine and under any load.

    instructions_test.py BUILD_FOLDER FILE COMPILER [--update]

Renders spheres with Lambert in the full engine and one light with a shadow ray under callgrind, with 0 and 12 passes, and
counts what the host and the modules do inside tiles; the ray tracing kernels and the C library are left out. Fails where a
count in FILE is exceeded by more than 5 percent, and says so where it could be lowered. Counts are by compiler: without
one for this compiler, and without valgrind, nothing is tested (exit code 77).
"""
import math
import os
import re
import shutil
import subprocess
import sys
import tempfile

MODULES = ("lumorender", "lumovexa.so", "vexabase.so")
SIZE, SAMPLES, MOST = 32, 16, 1.05
PASS_TYPES = [0, 5, 6, 34, 3, 12, 4, 7, 8, 10, 11, 22]


def sphere(name, centre, columns=12, rows=7):
    points = [(math.sin(v) * math.cos(u), math.cos(v), math.sin(v) * math.sin(u))
              for v in (math.pi * r / rows for r in range(rows + 1))
              for u in (2 * math.pi * c / columns for c in range(columns + 1))]
    vectors = [" ".join(f"{c + .9 * x:.4f}" for c, x in zip(centre, p)) for p in points]
    vectors += [" ".join(f"{x:.5f}" for x in p) for p in points]
    vectors += [f"{c / columns:.4f} {r / rows:.4f} 0" for r in range(rows + 1) for c in range(columns + 1)]
    n = len(points)
    vertices = [f"v {i} n {n + i} t {2 * n + i}" for i in range(n)]
    corner = lambda r, c: r * (columns + 1) + c
    faces = [f"p {corner(r, c)} {corner(r, c + 1)} {corner(r + 1, c + 1)} {corner(r + 1, c)}"
             for r in range(rows) for c in range(columns)]
    return element(name, vectors, vertices, faces)


def element(name, vectors, vertices, faces):
    lines = [f'object "{name}" visible on shadow on trace on', "group", *vectors, *vertices, *faces, "end group", "end object"]
    return "\n".join(lines) + f'\ninstance "{name}_i" "{name}" material "grey" end instance\n'


def floor(name, half):
    corners = [(-1, 1), (1, 1), (1, -1), (-1, -1)]
    vectors = [f"{half * x} 0 {half * z}" for x, z in corners] + ["0 1 0"] + [f"{x} {z} 0" for x, z in corners]
    return element(name, vectors, [f"v {i} n 4 t {5 + i}" for i in range(4)], ["p 0 1 2 3"])


def scene(passes):
    counts = [0] * 35
    for i in range(passes):
        counts[PASS_TYPES[i % 12]] += 1
    buffers = "\n".join(f'framebuffer "pass{i}" datatype "rgba_h" user on' for i in range(passes))
    records = ", ".join(f'{{ "frameBufferName" "pass{i}", "composited" on, "shadowed" 1, "maxReflectionLevel" 100, '
                        f'"maxRefractionLevel" 100 }}' for i in range(passes))
    spheres = [(f"ball{i}", (2.2 * (i % 6 - 2.5), 1, -2.2 * (i // 6 - 2.5))) for i in range(36)]
    return f'''link "lumovexa.so"
link "vexabase.so"
$include <lumovexa.mi>
$include <vexabase.mi>
data "lit_passes" "FrameBufferData" ("magic" 1178760550, "passNames" [], "frameBufferInfo" [{records}],
    "FrameBufferTypeCounts" [{", ".join(map(str, counts))}])
camera "cam"
    framebuffer "beauty" datatype "rgba_fp" primary on filename "lit.exr" filetype "exr"
    {buffers}
    data "lit_passes"
    focal 1.6 aperture 1 aspect 1 resolution {SIZE} {SIZE}
end camera
options "opt" object space samples 2 2 trace depth 1 1 2
    state ["vexabase" (), "lumoFrameBufferState" ()]
end options
shader "lambert" "lumoVexaLambert" ("color" .7 .7 .7, "diffuse" .8)
material "grey" "lumoVexaShadingEngine" ("surfaceShader" = "lambert") shadow "lumoVexaShadow" () end material
light "lamp" "lumoVexaPointLight" ("intensity" 1, "decayRate" 0, "useRayTraceShadows" on) origin -12 25 20 end light
instance "lamp_i" "lamp" end instance
{floor("floor", 12)}{"".join(sphere(*each) for each in spheres)}
instance "cam_i" "cam" transform 1 0 0 0  0 .8 .6 0  0 -.6 .8 0  0 0 -20 1 end instance
instgroup "world" "cam_i" "lamp_i" "floor_i" {" ".join(f'"{name}_i"' for name, _ in spheres)} end instgroup
render "world" "cam_i" "opt"
'''


def instructions(renderer, folder, passes):
    with open(os.path.join(folder, "lit.mi"), "w", encoding="ascii") as file:
        file.write(scene(passes))
    run = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=out", "--collect-atstart=no",
                          "--toggle-collect=*renderTiles*lambda*", renderer, "-threads", "1", "lit.mi"],
                         cwd=folder, capture_output=True, text=True)
    if run.returncode != 0 or "error" in run.stdout:
        sys.exit(f"the scene with {passes} passes did not render:\n{run.stdout}{run.stderr}")
    table = subprocess.run(["callgrind_annotate", "--threshold=100", "out"], cwd=folder, capture_output=True, text=True).stdout
    total = 0
    for line in table.splitlines():
        found = re.match(r"\s*([\d,]+) .*\[(.*)\]$", line)
        if found and os.path.basename(found.group(2)) in MODULES:
            total += int(found.group(1).replace(",", ""))
    return round(total / (SIZE * SIZE * SAMPLES))


def main():
    build, path, compiler = sys.argv[1:4]
    with open(path, encoding="ascii") as file:
        lines = file.read().splitlines()
    known = {tuple(line.rsplit(None, 2)[:2]): int(line.split()[-1]) for line in lines if line and not line.startswith("#")}
    update = "--update" in sys.argv
    if not shutil.which("valgrind") or (not update and (compiler, "0") not in known):
        print(f"not tested: valgrind or the counts for {compiler} are missing")
        sys.exit(77)
    worse = False
    for passes in (0, 12):
        with tempfile.TemporaryDirectory() as folder:
            count = instructions(os.path.join(build, "lumorender"), folder, passes)
        before = known.get((compiler, str(passes)), 0)
        print(f"{compiler}, {passes} passes: {count} instructions per sample, {before} before")
        worse = worse or count > MOST * before
        known[compiler, str(passes)] = count
    if update:
        head = [line for line in lines if line.startswith("#")]
        with open(path, "w", encoding="ascii") as file:
            file.write("\n".join(head + [f"{c} {p} {n}" for (c, p), n in sorted(known.items())]) + "\n")
    elif worse:
        sys.exit(f"a sample costs more than 5 percent more; where that is worth it: {' '.join(sys.argv)} --update")


main()
