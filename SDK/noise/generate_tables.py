#!/usr/bin/env python3
"""Makes the two tables of the noise functions: value_table.inc and permutation_table.inc, beside this script.

The tables are constants: scenes look the way they do because of them. This script is kept to show where they come from
and to prove it (a test runs it with --check); nobody should have a reason to run it again.

Value table: 65535 numbers that cover (-1, 1) evenly. The interval is cut into 65535 bins of equal width; each gives one
number, a multiple of 0.00001 as near to its middle as the format allows, and a seeded shuffle orders them. The first six
numbers are given and stand for the bins they fall into. The lattices use the first 34, 1024 and 32768 entries; the seed
is the first one from 1 with which each of these parts, too, has a mean near 0, so that no noise is brighter than another.

Permutation table: a seeded shuffle of those of 0..255 that are not given as its first eight and last four entries.

Usage: generate_tables.py [--check]
"""
import pathlib
import sys

VALUES = 65535
FIRST_VALUES = [-51077, -89259, 32458, 51401, 67639, 96362]  # in units of 0.00001
UNITS = 100000
BALANCED = {34: 0.02, 1024: 0.01, 32768: 0.001}  # leading part: largest mean

FIRST_PERMUTED = [225, 155, 210, 108, 175, 199, 221, 144]
LAST_PERMUTED = [105, 97, 204, 52]


class Generator:
    """SplitMix64 (G. Steele, D. Lea, C. Flood: Fast Splittable Pseudorandom Number Generators, 2014)."""

    def __init__(self, seed):
        self.state = seed

    def next(self):
        mask = (1 << 64) - 1
        self.state = (self.state + 0x9E3779B97F4A7C15) & mask
        z = self.state
        z = ((z ^ (z >> 30)) * 0xBF58476D1CE4E5B9) & mask
        z = ((z ^ (z >> 27)) * 0x94D049BB133111EB) & mask
        return z ^ (z >> 31)

    def shuffled(self, items):
        """Fisher-Yates; 64 bits make the remainder's bias irrelevant."""
        items = list(items)
        for i in range(len(items) - 1, 0, -1):
            j = self.next() % (i + 1)
            items[i], items[j] = items[j], items[i]
        return items


def bin_of(units):
    return (units + UNITS) * VALUES // (2 * UNITS)


def middle_of(number):
    return ((2 * number + 1) * UNITS + VALUES // 2) // VALUES - UNITS


def value_table():
    taken = {bin_of(units) for units in FIRST_VALUES}
    rest = [middle_of(number) for number in range(VALUES) if number not in taken]
    seed = 1
    while True:
        table = FIRST_VALUES + Generator(seed).shuffled(rest)
        if all(abs(sum(table[:n])) <= mean * n * UNITS for n, mean in BALANCED.items()):
            return table
        seed += 1


def permutation_table():
    given = FIRST_PERMUTED + LAST_PERMUTED
    rest = [number for number in range(256) if number not in given]
    return FIRST_PERMUTED + Generator(1).shuffled(rest) + LAST_PERMUTED


def lines(entries, per_line):
    return "".join(", ".join(entries[i:i + per_line]) + ",\n" for i in range(0, len(entries), per_line))


def files():
    values = [f"{units / UNITS:.5f}f" for units in value_table()]
    return {"value_table.inc": lines(values, 10),
            "permutation_table.inc": lines([str(number) for number in permutation_table()], 16)}


def main():
    folder = pathlib.Path(__file__).parent
    check = "--check" in sys.argv[1:]
    for name, text in files().items():
        if not check:
            (folder / name).write_text(text)
        elif (folder / name).read_text() != text:
            sys.exit(f"{name} is not what this script makes")


if __name__ == "__main__":
    main()
