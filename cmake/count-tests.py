#!/usr/bin/env python3
"""Prints "N passed, N failed" for a run of ctest: cases where a test program reported them, else whole programs.

Takes a folder with ctest's report, ctest.xml, and the programs' own in cases/<program>.xml. A program that failed without
a failed case (it crashed, or ran out of time) counts as one failure more.
"""

import pathlib
import sys
import xml.etree.ElementTree as xml


def main(folder):
    report = folder / "ctest.xml"
    if not report.exists():
        print("0 passed, 1 failed")
        return 1
    passed = failed = skipped = 0
    for program in xml.parse(report).getroot().iter("testcase"):
        crashed = program.get("status") == "fail"
        cases = folder / "cases" / f"{program.get('name')}.xml"
        if cases.exists():
            try:
                for case in xml.parse(cases).getroot().iter("testcase"):
                    if case.find("failure") is not None:
                        failed += 1
                        crashed = False
                    elif case.get("status") == "notrun" or case.get("result") == "skipped":
                        skipped += 1
                    else:
                        passed += 1
            except xml.ParseError:
                crashed = True
        elif program.get("status") == "run":
            passed += 1
        elif not crashed:
            skipped += 1
        failed += crashed
    if skipped:
        print(f"{skipped} skipped")
    print(f"{passed} passed, {failed} failed")
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
