#!/usr/bin/env python3
"""Checks generated routers: what was planted in them is found, and nothing else.

    run_seeds.py --lab ZORBEC_LAB --host ZORBEC_HOST --work DIR FIRST COUNT

Each seed from FIRST on gives a router of its own model, size and make-up, with defects of its own.
The first router of each five is also checked by the oracle, which must leave the same behind.
"""

import argparse
import json
import random
import shutil
import subprocess
import sys
from collections import Counter
from pathlib import Path

SUPPORT = Path(__file__).resolve().parent.parent / "support"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SUPPORT))

from outcome import (  # noqa: E402
    MESSAGE,
    Outcome,
    comparable_file,
    comparable_stdout,
    difference,
    identifier_complaints,
    nodes_among,
)

STEPS = ("init", "run:0", "finalize")
SINGLE_PROCESSOR = (5, 7, 9)


def router_options(seed):
    """A router with a few interfaces of every class that the seed gives it, and defects in those."""
    pick = random.Random(seed)
    model = 1 + seed % 9
    sizes = {
        "physical": pick.randint(1, 12),
        "physical-subifs": pick.randint(0, 12),
        "bundles": pick.randint(0, 4),
        "bundle-subifs": pick.randint(0, 8),
        "bvis": pick.randint(0, 4),
        "gre": pick.choice((0, 0, 3)),
    }
    if sizes["bundles"] == 0:
        sizes["bundle-subifs"] = 0
    options = {f"--{name}": size for name, size in sizes.items()}
    options["--seed"] = seed
    options["--model"] = model
    options["--line-cards"] = 1 if model in SINGLE_PROCESSOR else pick.randint(1, 4)
    options["--members"] = pick.randint(0, 3)
    options["--l2-share"] = pick.choice((0, 25, 50, 100))
    options["--bundle-scale"] = pick.choice((256, 512, 1024, 2048))
    arguments = [str(part) for option in options.items() for part in option]
    if model not in SINGLE_PROCESSOR and pick.random() < 0.5:
        arguments.append("--standby")

    kinds = ["leaked", "leaked-bundle"]
    kinds += ["missing-" + name.rstrip("s") for name, size in sizes.items() if size > 0]
    for kind in pick.sample(kinds, pick.randint(0, len(kinds))):
        arguments += ["--defect", f"{kind}:{pick.randint(1, 2)}"]
    return arguments


def planted_findings(router):
    with open(router / "planted.json", encoding="utf-8") as file:
        planted = json.load(file)
    return Counter(
        finding["text"] for defect in planted["defects"] for finding in defect["findings"]
    )


def shown(findings):
    return "".join(f"{count} {text}\n" for text, count in sorted(findings.items()))


def finding_complaints(outcome):
    printed = Counter(message[0].strip("\n") for message in MESSAGE.finditer(outcome.stdout))
    out = difference("findings", shown(planted_findings(outcome.router)), shown(printed))
    out += difference("other standard output", "", MESSAGE.sub("", outcome.stdout))
    out += difference("statuses", "[0]", str(outcome.statuses))
    out += difference("standard error", "", outcome.stderr)
    if outcome.exit != 0:
        out += f"exit status {outcome.exit}\n"
    return out


def oracle_complaints(found, oracle):
    nodes = nodes_among(oracle.files)
    out = difference(
        "stdout", comparable_stdout(oracle.stdout, nodes), comparable_stdout(found.stdout, nodes)
    )
    out += difference("calls", oracle.call_lines(), found.call_lines())
    out += difference("files in /tmp", "\n".join(oracle.files), "\n".join(found.files))
    for name in oracle.files.keys() & found.files.keys() - {"zorbec0.log"}:  # of whoever came last
        out += difference(
            name,
            comparable_file(name, oracle.files[name]),
            comparable_file(name, found.files[name]),
        )
        out += identifier_complaints(name, found.files[name])
    return out


def check_seed(seed, lab, host, work, with_oracle):
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    source = work / "router"
    arguments = router_options(seed)
    subprocess.run([lab, "generate", source, *arguments], check=True)

    def make_router(router):
        shutil.copytree(source, router)

    found = Outcome(lab, host, STEPS, work / "checker", make_router)
    complaints = finding_complaints(found)
    if with_oracle:
        oracle = Outcome(lab, SUPPORT / "oracle.py", STEPS, work / "oracle", make_router)
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
    parser.add_argument("first", type=int, metavar="FIRST")
    parser.add_argument("count", type=int, metavar="COUNT")
    options = parser.parse_args()

    lab, host = options.lab.resolve(), options.host.resolve()
    good = True
    for seed in range(options.first, options.first + options.count):
        work = options.work.resolve() / str(seed)
        with_oracle = (seed - options.first) % 5 == 0
        good &= check_seed(seed, lab, host, work, with_oracle)
    return not good


if __name__ == "__main__":
    sys.exit(main())
