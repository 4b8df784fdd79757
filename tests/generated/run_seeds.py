#!/usr/bin/env python3
"""Checks generated routers: what was planted in them is found, and nothing else.

    run_seeds.py --lab ZORBEC_LAB --host ZORBEC_HOST --work DIR [--multicast] FIRST COUNT

Each seed from FIRST on gives a router of its own model, size and make-up, with defects of its own.
It is put to the interface check or, with --multicast, to the multicast check. The first router of
each five is also checked by the oracle, which must leave the same behind.
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
    shared_files,
)

SINGLE_PROCESSOR = (5, 7, 9)


def interface_options(seed):
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


def multicast_options(seed):
    """A router with multicast routes, more than the defects that one node can get."""
    pick = random.Random(seed)
    routes = pick.choice((0, 1, *[pick.randint(12, 48)] * 8))
    arguments = ["--seed", seed, "--multicast", routes]
    arguments += ["--model", pick.choice((1, 2, 3, 4, 6, 8))]
    arguments += ["--line-cards", pick.randint(1, 5), "--interfaces", 10]
    if pick.random() < 0.5:
        arguments.append("--standby")

    if routes > 1:
        kinds = ["rp-handle", "missing-bud", "missing-pmdb", "lc-handle", "lc-rif"]
        for kind in pick.sample(kinds, pick.randint(0, len(kinds))):
            arguments += ["--defect", f"mcast-{kind}:{pick.randint(1, 2)}"]
        if pick.random() < 0.4:
            end = pick.choice(("rp-pmdb", "bud", "field"))
            arguments += ["--defect", f"mcast-end-{end}"]
    return [str(argument) for argument in arguments]


def planted_defects(router):
    with open(router / "planted.json", encoding="utf-8") as file:
        return json.load(file)["defects"]


def planted_findings(defects):
    return [finding["text"] for defect in defects for finding in defect["findings"]]


def shown(findings):
    return "".join(f"{count} {text}\n" for text, count in sorted(findings.items()))


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


def oracle_complaints(found, oracle):
    nodes = nodes_among(oracle.files)
    out = difference(
        "stdout", comparable_stdout(oracle.stdout, nodes), comparable_stdout(found.stdout, nodes)
    )
    out += difference("calls", oracle.call_lines(), found.call_lines())
    out += difference("files in /tmp", "\n".join(oracle.files), "\n".join(found.files))
    of_whoever_came_last = shared_files(oracle.files) | {"zorbec0.log"}
    for name in oracle.files.keys() & found.files.keys() - of_whoever_came_last:
        out += difference(
            name,
            comparable_file(name, oracle.files[name]),
            comparable_file(name, found.files[name]),
        )
        out += identifier_complaints(name, found.files[name])
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
