#!/usr/bin/env python3
"""Pastes the blocks of shell commands of a page, one after another, into a copy of the source tree, as a newcomer does.

Every block has to end well and without an error told. What installs and builds is done already: lines that begin with
./test, or with ./run alone, are left out, and ./run with a scene renders only.

Blocks of C++ in pages that come behind are to compile.

Usage: readme_test.py PAGE LUMORENDER [PAGE ...]
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).parent.parent
LEFT_OUT = re.compile(r"\./test\b.*|\./run\s*(#.*)?")
RUN = """#!/bin/bash
scene=$1; shift; [[ ${1-} != -- ]] || shift
name=$(basename "$scene" .mi); mkdir -p "renders/$name"
exec build/release/lumorender -preview -file_dir "renders/$name" "$@" "$scene"
"""


def main():
    for other in sys.argv[3:]:
        for block in re.findall(r"^```cpp\n(.*?)^```$", pathlib.Path(other).read_text(), re.S | re.M):
            compiler = ["c++", "-std=c++20", "-fsyntax-only", "-x", "c++", f"-I{ROOT}", f"-I{ROOT}/platform", "-"]
            subprocess.run(compiler, input=block, text=True, check=True)
    page, program = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
    blocks = re.findall(r"^```sh\n(.*?)^```$", pathlib.Path(page).read_text(), re.S | re.M)
    if not blocks:
        raise SystemExit(f"{page} has no blocks of shell commands")
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for each in ROOT.iterdir():
            if each.name not in ("run", "build", "my", "renders", ".git"):
                os.symlink(each, folder / each.name)
        (folder / "build").mkdir()
        os.symlink(program.parent, folder / "build/release")
        (folder / "run").write_text(RUN)
        (folder / "run").chmod(0o755)
        for block in blocks:
            lines = [line for line in block.split("\n") if not LEFT_OUT.fullmatch(line.strip())]
            done = subprocess.run(["bash", "-e"], input="\n".join(lines), cwd=folder, capture_output=True, text=True)
            said = done.stdout + done.stderr
            if done.returncode or re.search(r"^\w+ +0\.\d+ +(error|warning|fatal)", said, re.M):
                raise SystemExit(f"{page}: exit code {done.returncode} of\n{block}\n{said}")
        pictures = [each for each in folder.rglob("*.[ep][xn][rg]") if each.is_relative_to(folder / "my")
                    or each.is_relative_to(folder / "renders")]
        if len(pictures) < 3:
            raise SystemExit(f"{page}: too few pictures: {pictures}")


if __name__ == "__main__":
    main()
