#!/usr/bin/env python3
"""A render that is interrupted ends soon, whatever it is doing: former pictures stay, and nothing lies around.

Each row is a scene that is long in one stage. The program gets SIGTERM when the stage has begun; what counts is the
processor time that it takes from then on, since machines may be loaded. Where finished work is being written it gets
another one, which ends it.

Usage: interrupts_test.py LUMORENDER MODULES
"""
import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import time

PROGRAM, MODULES = (str(pathlib.Path(each).resolve()) for each in sys.argv[1:3])
MOST = 2.5  # seconds: less than one passes until all threads are ended
FORMER = {"out.exr": b"\x76\x2f\x31\x01 a former picture", "out.tif": b"II*\0 a former picture"}

HEAD = """$include <modules.mi>
options "opt" object space samples 0 0 "ambient occlusion rays" 3000000 %(options)s end options
camera "cam" focal 1 aperture 1 aspect 1 %(camera)s end camera
instance "cam_i" "cam" end instance
"""
SCENE = HEAD + """material "m" "%(material)s" () end material
object "o" visible trace group %(group)s end group end object
instance "n0" "o" material "m" end instance
%(more)s instgroup "world" "cam_i" "%(member)s" end instgroup render "world" "cam_i" "opt"
"""
USUAL = dict(options="", camera='framebuffer "b" filename "out.exr" resolution 64 64', material="plain_occlusion", more="", member="n0",
             group="-9 -9 -9  9 -9 -9  0 9 -9  v 0 v 1 v 2  p 0 1 2")


def scene(**other):
    return SCENE % (USUAL | other)


def polygon(corners):
    """One that crosses itself everywhere."""
    random.seed(1)
    return scene(group="".join(f"{random.random():.4} {random.random():.4} 0 " for _ in range(corners))
                 + "".join(f"v {i} " for i in range(corners)) + "p " + " ".join(str(i) for i in range(corners)))


def crowd(levels):
    """Ten times as many of them at each level."""
    text = ""
    for level in range(levels):
        names = []
        for i in range(10):
            names.append(f'"i{level}_{i}"')
            text += (f'instance {names[-1]} "{f"g{level - 1}" if level else "o"}" '
                     f"transform 1 0 0 0  0 1 0 0  0 0 1 0  {i * 10 ** level} 0 0 1 end instance\n")
        text += f'instgroup "g{level}" {" ".join(names)} end instgroup\n'
    return scene(more=text + f'instance "all" "g{levels - 1}" end instance\n', member="all")


def noise(file):
    layers = "".join(f'framebuffer "p{i}" datatype "rgba_fp" user on filename "out.exr" ' for i in range(2))
    camera = (f'framebuffer "b" datatype "rgba" primary on filename "{file}" {layers if "exr" in file else ""}'
              'environment "plain_noise" () resolution 1500 1500')
    return HEAD % (USUAL | {"camera": camera}) + 'instgroup "world" "cam_i" end instgroup render "world" "cam_i" "opt"\n'


# What it is, the scene, what tells that the stage has begun (a message, a file, or seconds of work), more arguments.
ROWS = [
    ("reading", "verbose on\n" * 3000000, "reading"),
    ("a polygon", polygon(20000), .4),
    ("instances", crowd(6), .4),
    ("displacing", scene(material="plain_constant", more='incremental material "m" "plain_constant" () displace '
                         '"plain_displace" ( "height" .1 ) end material', group=USUAL["group"]
                         + " approximate displace fine length .001 0 12 all"), .4),
    ("a shader's init", scene(material="probe_busy"), .4),
    ("points", scene(options='"ambient occlusion cache" on'), "ready in"),
    ("photons", scene(material="plain_constant", options="globillum on", member="all", more='light "l" "plain_light" () origin 0 0 0 '
                      'energy 1 1 1 globillum photons 0 400000000 end light instance "l_i" "l" end instance instgroup "g" "n0" '
                      '"l_i" end instgroup instance "all" "g" end instance'), "ready in"),
    ("a sample", scene(), "ready in"),
    ("a shader that does not return", scene(material="probe_endless"), "ready in"),
    ("writing layers", noise("out.exr"), ".out.exr.*.part"),
    ("writing through a library", noise("out.tif"), ".out.tif.*.part"),
    ("a share", noise("out.exr"), None, "-tiles", "1/1", "scene.mi"),
    ("merging", "", ".out.exr.*.part", "-merge", "out.1-of-1.part"),
]


def seconds_of(process):
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def is_written(begin):
    return str(begin).endswith(".part")


def has_begun(begin, process, folder, log):
    if isinstance(begin, float):
        return seconds_of(process) > begin
    return any(folder.glob(begin)) if is_written(begin) else begin in log.read_text()


def run(folder, log, begin, arguments):
    """Exit code, and seconds of work since the first signal; many where that did not come."""
    deadline, signals, before = time.monotonic() + 60, 0, None
    with open(log, "wb") as told:
        process = subprocess.Popen([PROGRAM, "-L", MODULES, "-I", MODULES, "-v", "5", *arguments], cwd=folder, stderr=told)
    while os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOHANG | os.WNOWAIT) is None:
        if begin and signals < 1 + is_written(begin) and has_begun(begin, process, folder, log):
            before = seconds_of(process) if signals == 0 else before
            process.send_signal(signal.SIGTERM)
            signals += 1
        if time.monotonic() > deadline or (before and seconds_of(process) > before + MOST):
            process.kill()
        time.sleep(.05)
    used = seconds_of(process) - before if before else 99
    return process.wait(), used


def main():
    failed = False
    with tempfile.TemporaryDirectory() as name:
        folder, log = pathlib.Path(name) / "work", pathlib.Path(name) / "log"
        folder.mkdir()
        for what, text, begin, *arguments in ROWS:
            (folder / "scene.mi").write_text(text)
            for file, content in FORMER.items():
                (folder / file).write_bytes(content)
            before = sorted(os.listdir(folder))
            code, used = run(folder, log, begin, arguments or ["scene.mi"])
            if not begin:
                continue
            good = (code == (-signal.SIGTERM if is_written(begin) else 1) and used < MOST
                    and sorted(os.listdir(folder)) == before and "stopping" in log.read_text()
                    and all((folder / file).read_bytes() == content for file, content in FORMER.items()))
            print(f"{what}: exit code {code}, {used} s after the signal")
            if not good:
                failed = True
                print(f"{sorted(os.listdir(folder))}\n{log.read_text()[-2000:]}")
    return failed


if __name__ == "__main__":
    sys.exit(main())
