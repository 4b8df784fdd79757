#!/usr/bin/python3
"""Checks generated routers: what was planted in them is found, and nothing else.

    run_seeds.py --lab ZORBEC_LAB --host ZORBEC_HOST --work DIR [--multicast] FIRST COUNT

Each seed from FIRST on gives a router of its own model, size and make-up, with defects of its own.
It is put to the interface check or, with --multicast, to the multicast check. The first router of
each five is also checked by the oracle, which must leave the same behind.
"""

import argparse
import shutil
import subprocess
import sys
from collections import Counter
from pathlib import Path

SUPPORT = Path(__file__).resolve().parent.parent / "support"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SUPPORT))

from outcome import MESSAGE, Outcome, difference, oracle_complaints, shown
from random_routers import (
    interface_options,
    multicast_options,
    planted_defects,
    planted_findings,
)


def interface_complaints(outcome):
    planted = Counter(planted_findings(planted_defects(outcome.router)))
    printed = Counter(message[0].strip("\n") for message in MESSAGE.finditer(outcome.stdout))
    out = difference("findings", shown(planted), shown(printed))
    out += difference("other standard output", "", MESSAGE.sub("", outcome.stdout))
    out += difference("standard error", "", outcome.stderr)
    return out


def multicast_complaints(outcome):
    defects = planted_defects(outcome.router)
    findings = "".join(f"{text}\n" for text in planted_findings(defects))
    out = difference("findings", findings, outcome.stdout)
    ends = sum(defect.get("ends_check", False) for defect in defects)
    if len(outcome.stderr_lines) != ends:
        out += f"{ends} defects end the check, but standard error holds:\n{outcome.stderr}"
    return out


def status_complaints(outcome):
    out = difference("statuses", "[0]", str(outcome.statuses))
    if outcome.exit != 0:
        out += f"exit status {outcome.exit}\n"
    return out


def check_seed(seed, multicast, lab, host, work, with_oracle):
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    source = work / "router"
    arguments = multicast_options(seed) if multicast else interface_options(seed)
    steps = ("init", "run:1" if multicast else "run:0", "finalize")
    subprocess.run([lab, "generate", source, *arguments], check=True)

    def make_router(router):
        shutil.copytree(source, router)

    found = Outcome(lab, host, steps, work / "checker", make_router)
    complaints = multicast_complaints(found) if multicast else interface_complaints(found)
    complaints += status_complaints(found)
    if with_oracle:
        oracle = Outcome(lab, SUPPORT / "oracle.py", steps, work / "oracle", make_router)
        complaints += oracle_complaints(found, oracle)
    if complaints:
        print(f"{lab} generate DIR {' '.join(arguments)}\n{complaints}")
        return False
    shutil.rmtree(work)
    return True


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--lab", type=Path, required=True)
    parser.add_argument("--host", type=Path, required=True)
    parser.add_argument("--work", type=Path, required=True)
    parser.add_argument("--multicast", action="store_true")
    parser.add_argument("first", type=int, metavar="FIRST")
    parser.add_argument("count", type=int, metavar="COUNT")
    options = parser.parse_args()

    lab, host = options.lab.resolve(), options.host.resolve()
    good = True
    for seed in range(options.first, options.first + options.count):
        work = options.work.resolve() / str(seed)
        with_oracle = (seed - options.first) % 5 == 0
        good &= check_seed(seed, options.multicast, lab, host, work, with_oracle)
    return not good


if __name__ == "__main__":
    sys.exit(main())
