#!/usr/bin/python3
"""Checks damaged routers: `zorbec check` never says more than it can know.

    run_damaged.py --lab ZORBEC_LAB --zorbec ZORBEC --work DIR FIRST COUNT
    run_damaged.py --work DIR --at-least NUMBER

Each seed from FIRST on gives a router of its own, with defects, and with damage that keeps all or a
part of it from being verified. --at-least says whether as many routers were checked by the calls
before with the same DIR.
"""

import argparse
import random
import shutil
import subprocess
import sys
from collections import Counter
from pathlib import Path

SUPPORT = Path(__file__).resolve().parent.parent / "support"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SUPPORT))

from check_run import CheckRun, findings_of, need_schemas
from damage import Router, damage, options_of
from outcome import difference, shown


def verdict_complaints(router, report):
    """What the report says of the router, held against what is known of it."""
    out = ""
    planted = Counter(router.findings())
    confirmed = Counter()
    for finding in report["findings"]:
        if finding["confirmed"]:
            confirmed[finding["text"]] += finding["times"]
    if confirmed - planted:
        out += f"confirmed, but not planted:\n{shown(confirmed - planted)}"

    code = report["exit_code"]
    if code == 0 and (planted or router.hit or router.ends_check()):
        out += "exit 0 although not all is well\n"
    if code == 1 and not planted:
        out += "exit 1 without a defect that has findings\n"

    nodes = {node["name"]: node for node in report["nodes"]}
    for name, of in sorted(router.hit):
        cells = nodes[name]["classes"] if name in nodes else []
        verdicts = [cell["verdict"] for cell in cells if cell["class"] == of]
        if "CONSISTENT" in verdicts:
            out += f"{name} {of} is CONSISTENT although it cannot be verified\n"
    told = {(f["node"], f["text"]) for f in report["findings"] if f["confirmed"]}
    for name, text in sorted(router.certain_findings()):
        if (name, text) not in told:
            out += f"not told for certain of {name}: {text}\n"
        if name in nodes and nodes[name]["verdict"] != "INCONSISTENT":
            out += f"{name} is {nodes[name]['verdict']}, but has: {text}\n"
    return out


def sound_complaints(router, report):
    """Of a router without damage everything is known."""
    if router.findings():
        code = 1
    elif router.ends_check() or not (router.routes or router.is_single):
        code = 2
    else:
        code = 0
    out = difference("exit code", str(code), str(report["exit_code"]))
    planted = Counter(router.findings())
    out += difference("findings", shown(planted), shown(findings_of(report)))
    return out


def check_seed(seed, lab, zorbec, work):
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    pick = random.Random(f"damage {seed}")
    arguments = options_of(seed, pick)
    subprocess.run([lab, "generate", work / "router", *arguments], check=True)
    router = Router(work / "router")
    damage(router, pick)
    run = CheckRun(lab, zorbec, router.folder, work / "check", ["all"], "\n".join(router.before))
    complaints = run.complaints(with_events=seed % 5 == 0)
    if run.report is not None:
        complaints += verdict_complaints(router, run.report)
        if not router.touched:
            complaints += sound_complaints(router, run.report)
    if complaints:
        done = "\n".join(router.done) or "no damage"
        print(f"seed {seed}: {lab} generate DIR {' '.join(arguments)}\n{done}\n{complaints}")
        print(run.stdout, run.stderr)
        return None
    shutil.rmtree(work)
    return run.exit


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--lab", type=Path)
    parser.add_argument("--zorbec", type=Path)
    parser.add_argument("--work", type=Path, required=True)
    parser.add_argument("--at-least", type=int)
    parser.add_argument("first", type=int, metavar="FIRST", nargs="?")
    parser.add_argument("count", type=int, metavar="COUNT", nargs="?")
    options = parser.parse_args()

    work = options.work.resolve()
    if options.at_least is not None:
        checked = sum(int(path.read_text()) for path in work.glob("*.checked"))
        print(f"{checked} damaged routers were checked")
        return checked < options.at_least
    need_schemas()
    work.mkdir(parents=True, exist_ok=True)
    tally = work / f"{options.first}.checked"
    tally.unlink(missing_ok=True)
    codes = Counter()
    for seed in range(options.first, options.first + options.count):
        lab, zorbec = options.lab.resolve(), options.zorbec.resolve()
        codes[check_seed(seed, lab, zorbec, work / str(seed))] += 1
    failed = codes.pop(None, 0)
    print(f"{codes.total()} routers, by exit code: {dict(sorted(codes.items()))}; {failed} failed")
    tally.write_text(str(codes.total()))
    return failed > 0


if __name__ == "__main__":
    sys.exit(main())
