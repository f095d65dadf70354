#!/usr/bin/env python3
"""Makes the tables of the scene language in host.md from the list in host/parsing/language.cpp, between the two marks.

Usage: language_tables.py [--check]     with --check it only tells whether the tables are up to date, and whether the host
                                        still reads every word of the list
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).parent.parent
PAGE = ROOT / "docs/host.md"
LIST = ROOT / "host/parsing/language.cpp"
MARKS = re.compile(r"(<!-- language -->\n).*?(<!-- end of language -->)", re.S)
ROW = re.compile(r'^    \{"([\w ]+)", "([^"]+)", (\w+), (?:"([^"]*)"|(\w+))\},$', re.M)
REASON = re.compile(r'^constexpr std::string_view (k\w+) = "([^"]*)";$', re.M)
TITLES = {
    "Used": ("Supported", "restriction"),
    "Missing": ("Not done: a warning, once for each", "why"),
    "Refused": ("Refused: a warning, once for each", "why"),
    "Idle": ("Without effect on the picture: named once with `-verbose 5`", "why"),
}


def rows():
    """[(element, words, effect, reason)] as the list has them."""
    text = LIST.read_text()
    reasons = dict(REASON.findall(text))
    found = [(e, words.split("|"), effect, said or reasons.get(name, "")) for e, words, effect, said, name in ROW.findall(text)]
    if len(found) != len(re.findall(r'^    \{"', text, re.M)):
        raise SystemExit("language_tables.py: a row of the list has another form than the others")
    return found


def shown(words):
    """A call of a shader behind a word goes without saying."""
    return " ".join(f"`{word.replace('=shader', '').replace('=', ' ')}`" for word in words)


def tables():
    lines = []
    for effect, (title, column) in TITLES.items():
        lines += ["", f"| {title} | | {column} |", "|---|---|---|"]
        gathered = {}
        for element, words, its_effect, reason in rows():
            if its_effect == effect:
                gathered.setdefault((element, reason), []).extend(words)
        lines += [f"| {element} | {shown(words)} | {reason} |" for (element, reason), words in gathered.items()]
    return "\n".join(lines) + "\n"


def check_words():
    """Words that no reader asks for any more have no place in the list."""
    sources = [path.read_text() for path in (ROOT / "host").rglob("*.cpp") if path != LIST]
    for element, words, _, _ in rows():
        known = {"file", "shader", "pixels", "element", "parameters", "members"}
        for word in words if element != "string option" else ():
            name = word.split("=")[0]
            if name not in known and not any(f'"{name}"' in source for source in sources):
                raise SystemExit(f'language_tables.py: nothing reads "{name}" of {element}')


def main():
    text = PAGE.read_text()
    made = MARKS.sub(lambda match: f"{match[1]}{tables()}\n{match[2]}", text)
    if "--check" in sys.argv[1:]:
        check_words()
        if made != text:
            raise SystemExit("host.md is not what docs/language_tables.py makes of host/parsing/language.cpp: run it.")
    elif made != text:
        PAGE.write_text(made)


if __name__ == "__main__":
    main()
