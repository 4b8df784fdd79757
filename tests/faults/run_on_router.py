#!/usr/bin/python3
"""Runs a program on the small router; what it prints on standard output is not shown.

    run_on_router.py --lab ZORBEC_LAB --work DIR [--large-dump] [--no-routes] COMMAND...
"""

import argparse
import shutil
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True

from faulty_router import make_router


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--lab", required=True)
    parser.add_argument("--work", type=Path, required=True)
    parser.add_argument("--large-dump", action="store_true")
    parser.add_argument("--no-routes", action="store_true")
    parser.add_argument("command", nargs="+")
    options = parser.parse_args()
    shutil.rmtree(options.work, ignore_errors=True)
    options.work.mkdir(parents=True)
    router = options.work / "router"
    make_router(options.lab, router, options.large_dump, not options.no_routes)
    command = [options.lab, "run", router, "--", *options.command]
    return subprocess.run(command, stdout=subprocess.DEVNULL, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
