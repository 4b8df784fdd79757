#!/usr/bin/python3
"""Holds calls.txt against what libzorbec.so calls, and against what nth_call has in its place.

    check_calls.py --nm NM LIBZORBEC NTH_CALL
"""

import argparse
import re
import subprocess
import sys
from pathlib import Path

TABLE = Path(__file__).resolve().parent / "calls.txt"


def table():
    """Group -> its functions."""
    text = re.sub(r"^#.*\n", "", TABLE.read_text("utf-8"), flags=re.MULTILINE)
    groups = {}
    for block in text.strip().split("\n\n"):
        heading, _, names = block.partition(":\n")
        groups[heading.replace("\n", " ")] = set(names.split())
    return groups


def symbols(nm, which, path):
    lines = subprocess.run(
        [nm, "-D", which, path], check=True, stdout=subprocess.PIPE, text=True
    ).stdout.splitlines()
    return {line.split()[-1] for line in lines}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--nm", required=True)
    parser.add_argument("checker", metavar="LIBZORBEC")
    parser.add_argument("nth_call")
    options = parser.parse_args()

    needed = symbols(options.nm, "--undefined-only", options.checker)
    called = {name.split("@")[0] for name in needed if "@GLIBC_" in name}
    called -= {"environ", "__environ", "__libc_single_threaded"}  # variables
    groups = table()
    indirect = groups["made to fail, called by the C++ library on our behalf"]
    listed = set().union(*groups.values()) - indirect
    failing = groups["made to fail, one call a run"] | indirect
    replaced = symbols(options.nm, "--defined-only", options.nth_call)
    complaints = [f"{name} is called, but not in calls.txt" for name in sorted(called - listed)]
    complaints += [f"{name} is in calls.txt, but not called" for name in sorted(listed - called)]
    complaints += [f"{name} is never made to fail" for name in sorted(failing - replaced)]
    print("\n".join(complaints) or f"{len(called)} functions, {len(failing)} made to fail")
    return bool(complaints)


if __name__ == "__main__":
    sys.exit(main())
