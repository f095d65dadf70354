#!/usr/bin/env python3
"""Makes the tables of parameters in shaders.md, materials.md and base_shaders.md from the declarations, where each parameter has its comment.

A table stands behind a line `<!-- parameters: SHADER ... [FIRST..LAST ...] -->`. Of several shaders each parameter is
listed once, with all its types. SHADER.ARRAY are the members of an array of records.

Usage: parameter_tables.py [--check]     with --check it only tells whether the tables are up to date
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).parent.parent
PAGES = [ROOT / "docs" / page for page in ("shaders.md", "materials.md", "base_shaders.md")]
DECLARATION = re.compile(r'declare shader\s+(?:struct \{.*?\}|[\w ]+) "(\w+)" \(\n(.*?)\n    \)', re.S)
PARAMETER = re.compile(r'\s+((?:array )?(?:(?:color|scalar) texture|\w+)) +"(\w+)"(?: default ([^,#]+?))?,?\s*(?:# (.*))?$')
NO_DEFAULT = {"color": "0", "scalar": "0", "integer": "0", "vector": "0", "boolean": "off"}


def declarations():
    """{shader: {parameter: (type, default, meaning)}} in the order of the declarations."""
    shaders = {}
    for path in sorted((ROOT / "declarations").glob("*.mi")):
        for name, body in DECLARATION.findall(path.read_text()):
            shaders[name], records = parameters(body)
            shaders.update({f"{name}.{array}": members for array, members in records.items()})
    return shaders


def parameters(body):
    """Of a shader, and of its records and arrays of records."""
    found, records, row, depth = {}, {}, None, 0
    for line in body.split("\n"):
        further = re.match(r"\s+# (.*)", line)
        if further:
            if row:
                row[2] += " " + further[1]
            continue
        if depth and re.match(r"\s+\},?$", line):
            depth -= 1
            row = None
            continue
        opening = re.match(r'\s+(array )?struct "(\w+)" \{\s*(?:# (.*))?$', line)
        if opening:
            depth += 1
            row = found[opening[2]] = ["array" if opening[1] else "struct", "none", opening[3] or ""]
            members = records[opening[2]] = {}
            continue
        match = PARAMETER.match(line)
        if not match:
            raise SystemExit(f"parameter_tables.py: cannot read: {line}")
        row = [match[1], (match[3] or NO_DEFAULT.get(match[1], "none")).strip(), match[4] or ""]
        (found if depth == 0 else members)[match[2]] = row
    return found, records


def table(shaders, names, ranges):
    rows = {}
    for name in names:
        if name not in shaders:
            raise SystemExit(f"parameter_tables.py: no declaration of {name}")
        for parameter, (kind, default, meaning) in shaders[name].items():
            row = rows.setdefault(parameter, [[], default, meaning])
            if kind not in row[0]:
                row[0].append(kind)
    order = list(rows)
    if ranges:
        order = sum((order[order.index(first):order.index(last) + 1] for first, last in ranges), [])
    lines = ["", "| parameter | type | default | meaning |", "|---|---|---|---|"]
    for parameter in order:
        kinds, default, meaning = rows[parameter]
        meaning = re.sub(r'"(\w+)"', r"`\1`", meaning).replace("|", "\\|")
        lines.append(f"| {parameter} | {', '.join(kinds)} | {default} | {meaning} |")
    return lines


def page(text):
    shaders = declarations()

    def replaced(match):
        words = match[2].split()
        ranges = [word.split("..") for word in words if ".." in word]
        return "\n".join([match[1]] + table(shaders, [word for word in words if ".." not in word], ranges)) + "\n"

    return re.sub(r"(<!-- parameters: (.*?) -->)\n(?:\n\| parameter \| type .*\n(?:\|.*\n)*)?", replaced, text)


def main():
    for path in PAGES:
        text = path.read_text()
        made = page(text)
        if made != text and "--check" in sys.argv[1:]:
            raise SystemExit(f"{path.name} is not what docs/parameter_tables.py makes of the declarations: run it.")
        if made != text:
            path.write_text(made)


if __name__ == "__main__":
    main()
