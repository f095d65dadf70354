#!/usr/bin/env python3
"""Puts the tables of the command line's words, as lumorender prints them, between the two marks in host.md.

Usage: command_line_tables.py LUMORENDER [--check]     with --check it only tells whether the tables are up to date
"""
import pathlib
import re
import subprocess
import sys

PAGE = pathlib.Path(__file__).parent / "host.md"
MARKS = re.compile(r"(<!-- options -->\n).*?(<!-- end of options -->)", re.S)


def main():
    tables = subprocess.run([sys.argv[1], "-manual", "markdown"], check=True, capture_output=True, text=True).stdout
    text = PAGE.read_text()
    made = MARKS.sub(lambda match: f"{match[1]}\n{tables}\n{match[2]}", text)
    if made != text and "--check" in sys.argv[2:]:
        raise SystemExit("host.md is not what docs/command_line_tables.py makes of the options: run it.")
    if made != text:
        PAGE.write_text(made)


if __name__ == "__main__":
    main()
