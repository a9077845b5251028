#!/usr/bin/env python3
"""Looks for the secrets that tests plant in what the whole suite printed.

usage: check_canaries.py LOG_OF_CTEST
"""
import pathlib
import re
import sys

HEADER = pathlib.Path(__file__).resolve().parents[1] / "support/canary.h"


def forms():
    array = re.search(r"kCanaryForms\[\] = \{(.*?)\}", HEADER.read_text(), re.S)[1]
    return re.findall(r'"(\w+)"', array)


def main():
    log = pathlib.Path(sys.argv[1]).read_text(errors="replace")
    tests = log.count("\nTest time =")
    if tests == 0:
        sys.exit(f"{sys.argv[1]}: no test ran")
    shown = [line for line in log.splitlines() if any(form in line.lower() for form in forms())]
    if shown:
        sys.exit("the suite printed planted secrets:\n" + "\n".join(shown))
    print(f"canaries: no planted secret in the output of {tests} tests")


if __name__ == "__main__":
    main()
