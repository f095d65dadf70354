#!/usr/bin/env python3
"""What shares and checkpoints of a picture cost beside one render.

shares.py [--size X Y] [--samples N] [lumorender] [scene.mi ...]

Processor seconds of: one render; one with a checkpoint; 1, 4 and 16 shares together, each with its own points of indirect
light or with those of share 0, and their merge; and the dearest share by the mean one, on which the time depends when all
run at once. Every picture is compared with that of the one render, bit by bit but for the seconds in its header.
"""
import argparse
import pathlib
import re
import resource
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).parent.parent


def seconds(command):
    def used():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime
    before = used()
    subprocess.run([str(word) for word in command], check=True)
    return used() - before


def content(file):
    return re.sub(rb"renderSeconds\0float\0........", b"", file.read_bytes(), flags=re.S)


def measure(options, scene, folder):
    program = options.program.resolve()
    render = [program, "-resolution", *options.size, "-samples", options.samples, "-file_dir", folder, scene]
    picture, joined = folder / "one.exr", folder / "joined.exr"
    one = seconds(render + ["-o", picture])
    saved = seconds(render + ["-o", joined, "-checkpoint", folder / "saved"])
    assert content(joined) == content(picture), "the render with a checkpoint differs"
    print(f"{scene.stem}: one render {one:.1f} s, with a checkpoint {saved:.1f} s")
    for count in (1, 4, 16):
        for first in (False, True):
            points = seconds(render + ["-o", joined, "-tiles", f"0/{count}"]) if first else 0
            shares = [seconds(render + ["-o", joined, "-tiles", f"{i}/{count}"]) for i in range(1, count + 1)]
            parts = [folder / f"joined.{i}-of-{count}.part" for i in range(1, count + 1)]
            size = sum(part.stat().st_size for part in parts) / 1e6
            merge = seconds([program, "-merge", *parts])
            assert content(joined) == content(picture), "the joined picture differs"
            for part in folder.glob("*.part"):
                part.unlink()
            print(f"  {count:2} shares, {'points first' if first else 'own points'}: {points + sum(shares):6.1f} s "
                  f"(points {points:.1f}, dearest share {max(shares):.1f}, mean {sum(shares) / count:.1f}), merge {merge:.2f} s, "
                  f"parts {size:.0f} MB", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program", nargs="?", type=pathlib.Path, default=ROOT / "build/release/lumorender")
    parser.add_argument("scenes", nargs="*", type=pathlib.Path,
                        default=[ROOT / "scenes/interior.mi", ROOT / "scenes/still_life.mi"])
    parser.add_argument("--size", nargs=2, default=["480", "270"])
    parser.add_argument("--samples", default="2")
    options = parser.parse_args()
    for scene in options.scenes:
        with tempfile.TemporaryDirectory() as folder:
            measure(options, scene.resolve(), pathlib.Path(folder))


main()
