#!/usr/bin/python3
"""Runs scenarios on the simulated router and compares what they leave with what is expected.

    run_case.py --lab ZORBEC_LAB --host ZORBEC_HOST --work DIR [--openssh] CASE...
    run_case.py --lab ZORBEC_LAB --work DIR --update CASE...
    run_case.py --lab ZORBEC_LAB --work DIR --check-expected CASE...
    run_case.py --lab ZORBEC_LAB --zorbec ZORBEC --work DIR --report CASE...
    run_case.py --count NUMBER
    run_case.py --reports-cover NUMBER

A case is run twice, or as often as --times says, each time on a fresh router. README.md tells what
it consists of. --openssh lets the nodes be reached by the real ssh and scp. --update writes the
expected files anew from the oracle, never from the checker; --check-expected only says whether it
would change any. --count says whether as many cases are there as were registered.

--report puts the router of each case to `zorbec check` instead: its report must hold the findings
that the case expects. Cases of several runs, or of none, are passed over, as their expected output
is not that of one check; --reports-cover says whether so many cases are left.
"""

import argparse
import json
import shutil
import sys
from collections import Counter
from pathlib import Path

HERE = Path(__file__).resolve().parent
SUPPORT = HERE.parent / "support"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SUPPORT))

from check_run import CheckRun, finding_lines, need_schemas
from openssh import IMPOSSIBLE, SKIPPED, why_not
from outcome import (
    Outcome,
    comparable_file,
    comparable_stdout,
    difference,
    identifier_complaints,
    nodes_among,
    shared_files,
    shown,
    without_transport_errors,
)

ORACLE = SUPPORT / "oracle.py"


class Case:
    def __init__(self, folder):
        self.folder = Path(folder).resolve()
        self.name = self.folder.name
        with open(self.folder / "case.json", encoding="utf-8") as file:
            fields = json.load(file)
        self.shows = fields.pop("shows")
        self.base = fields.pop("router")
        self.without = fields.pop("without", [])
        self.steps = fields.pop("steps", ["init", "run:0", "finalize"])
        self.statuses = fields.pop("statuses", [0])
        self.stderr = fields.pop("stderr", [])
        self.together = fields.pop("together", None)
        if fields:
            raise SystemExit(f"{self.name}: case.json has unknown fields: {', '.join(fields)}")

    def make_router(self, router):
        shutil.copytree(HERE / "routers" / self.base, router)
        if (self.folder / "router").is_dir():
            shutil.copytree(self.folder / "router", router, dirs_exist_ok=True)
        for name in self.without:
            (router / name).unlink()

    def run(self, lab, command, work, lab_options=()):
        variables = {"CASE": str(self.folder)}
        return Outcome(lab, command, self.steps, work, self.make_router, variables, lab_options)

    def the_run(self):
        """What is prepared for the case's only run, and what it checks; None if it has no such."""
        if len(self.steps) < 3 or (self.steps[0], self.steps[-1]) != ("init", "finalize"):
            return None
        *preparations, run = self.steps[1:-1]
        if not run.startswith("run:") or not all(s.startswith("sh:") for s in preparations):
            return None
        what = "interfaces" if run == "run:0" else "multicast"
        return " && ".join(step[3:] for step in preparations), what


def result_complaints(case, outcome):
    """What the case itself says, beside its expected files."""
    out = ""
    if outcome.exit != 0:
        out += f"exit status {outcome.exit}\n{outcome.stderr}"
    out += difference("statuses", str(case.statuses), str(outcome.statuses))
    if len(outcome.stderr_lines) != len(case.stderr):
        count = len(outcome.stderr_lines)
        out += f"{count} lines on standard error instead of {len(case.stderr)}:\n"
        out += outcome.stderr
    return out


def stderr_complaints(case, outcome):
    """Each list of texts in the case must be found in a line of its own."""
    out = ""
    lines = list(outcome.stderr_lines)
    for texts in case.stderr:
        line = next((line for line in lines if all(text in line for text in texts)), None)
        if line is None:
            out += f"no line on standard error with {texts}:\n{outcome.stderr}"
        else:
            lines.remove(line)
    return out


# Expected files -----------------------------------------------------------------------------------


def origin(data, router):
    """The router's file that holds these bytes, as a path in the router's folder."""
    for path in sorted(router.rglob("*")):
        if path.is_file() and path.read_bytes() == data:
            return path.relative_to(router)
    return None


def expected_files(outcome):
    """The expected files, from their path in expected/ to their bytes."""
    listing = ""
    files = {}
    shared = shared_files(outcome.files)
    for name, content in outcome.files.items():
        if isinstance(content, str):
            what = content
        elif name in shared:
            what = "shared"
        elif not content:
            what = "empty"
        elif name.endswith(".dat") and origin(content, outcome.router):
            what = f"as {origin(content, outcome.router)}"
        else:
            what = "text"
            files[f"tmp/{name}"] = content
        listing += f"{name}: {what}\n"
    files["files.txt"] = listing.encode()
    files["calls.txt"] = outcome.call_lines().encode("utf-8", "surrogateescape")
    files["stdout"] = outcome.stdout.encode("utf-8", "surrogateescape")
    return files


def read_expected(folder):
    return {
        str(path.relative_to(folder)): path.read_bytes()
        for path in sorted(folder.rglob("*"))
        if path.is_file()
    }


def file_complaints(name, what, outcome, expected, openssh):
    content = outcome.files[name]
    if isinstance(content, str):
        return difference(name, what, content)
    if what == "shared":
        return ""
    if what == "empty":
        wanted = b""
    elif what == "text":
        wanted = expected[f"tmp/{name}"]
    elif what.startswith("as "):
        wanted = (outcome.router / what[3:]).read_bytes()
    else:
        return difference(name, what, "a file")
    if openssh and name == "output_file.txt":
        wanted, content = without_transport_errors(wanted), without_transport_errors(content)
    compared = difference(name, comparable_file(name, wanted), comparable_file(name, content))
    return compared + identifier_complaints(name, content)


def compare(case, outcome, openssh=False):
    """Everything in which the outcome is not what the case expects."""
    expected = read_expected(case.folder / "expected")
    lines = expected["files.txt"].decode().splitlines()
    listing = dict(line.split(": ", 1) for line in lines)
    stdout = expected["stdout"].decode("utf-8", "surrogateescape")
    calls = expected["calls.txt"].decode("utf-8", "surrogateescape")
    nodes = nodes_among(listing)

    out = result_complaints(case, outcome) + stderr_complaints(case, outcome)
    out += difference(
        "stdout", comparable_stdout(stdout, nodes), comparable_stdout(outcome.stdout, nodes)
    )
    out += difference("calls", calls, outcome.call_lines())
    out += difference("files in /tmp", "\n".join(listing), "\n".join(outcome.files))
    for name, what in listing.items():
        if name in outcome.files:
            out += file_complaints(name, what, outcome, expected, openssh)
    if case.together and not outcome.overlap(case.together):
        out += f"the calls of {case.together} did not overlap\n"
    return out


# Commands -----------------------------------------------------------------------------------------


def run_case(case, lab, host, work, times, openssh):
    lab_options = ["--openssh"] if openssh else []
    for attempt in ("first", "second")[:times]:
        complaints = compare(case, case.run(lab, host, work, lab_options), openssh)
        if complaints:
            print(f"{case.name}, {attempt} time: {case.shows}\n{complaints}")
            return False
    shutil.rmtree(work)
    return True


def check_report(case, lab, zorbec, work):
    if case.the_run() is None:
        return True
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    before, what = case.the_run()
    router = work / "router"
    case.make_router(router)
    variables = {"CASE": str(case.folder), "ROUTER": str(router)}
    check = CheckRun(lab, zorbec, router, work / "check", [what], before, variables)
    complaints = check.complaints()
    text = (case.folder / "expected/stdout").read_bytes().decode("utf-8", "replace")
    expected = Counter(line for line in text.split("\n") if line)
    complaints += difference("findings", shown(expected), shown(finding_lines(check.stdout)))
    if check.exit == 0 and (expected or case.stderr):
        complaints += "exit status 0\n"
    if (check.exit == 3) != (case.statuses != [0]):
        complaints += f"exit status {check.exit}, but zorbec_run() gives {case.statuses}\n"
    if complaints:
        print(f"{case.name}: {case.shows}\n{complaints}{check.stdout}{check.stderr}")
        return False
    shutil.rmtree(work)
    return True


def ask_oracle(case, lab, work, update):
    outcome = case.run(lab, ORACLE, work)
    complaints = result_complaints(case, outcome)
    folder = case.folder / "expected"
    files = expected_files(outcome)
    if update:
        shutil.rmtree(folder, ignore_errors=True)
        for name, data in files.items():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            (folder / name).write_bytes(data)
    elif files != read_expected(folder):
        complaints += "the oracle would write other expected files\n"
    if complaints:
        print(f"{case.name}: {complaints}")
        return False
    shutil.rmtree(work)
    return True


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--lab", type=Path)
    parser.add_argument("--host", type=Path)
    parser.add_argument("--work", type=Path)
    parser.add_argument("--times", type=int, choices=(1, 2), default=2)
    parser.add_argument("--openssh", action="store_true")
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--check-expected", action="store_true")
    parser.add_argument("--zorbec", type=Path)
    parser.add_argument("--report", action="store_true")
    parser.add_argument("--count", type=int)
    parser.add_argument("--reports-cover", type=int)
    parser.add_argument("cases", nargs="*", metavar="CASE")
    options = parser.parse_args()

    if options.count is not None:
        folders = len(list(HERE.glob("*/case.json")))
        if folders != options.count:
            print(f"{folders} cases, but {options.count} registered: configure again")
        return folders != options.count
    if options.reports_cover is not None:
        cases = [Case(path.parent) for path in HERE.glob("*/case.json")]
        covered = sum(case.the_run() is not None for case in cases)
        print(f"reports of {covered} of {len(cases)} cases are checked")
        return covered != options.reports_cover
    if options.openssh and why_not():
        print(f"skipped: {why_not()}")
        return SKIPPED
    if options.report:
        need_schemas()
    failed = passed_over = 0
    for folder in options.cases:
        case = Case(folder)
        work = options.work.resolve() / case.name
        if options.openssh and case.name in IMPOSSIBLE:
            print(f"{case.name} is passed over: {IMPOSSIBLE[case.name]}")
            passed_over += 1
        elif options.update or options.check_expected:
            failed += not ask_oracle(case, options.lab.resolve(), work, options.update)
        elif options.report:
            lab, zorbec = options.lab.resolve(), options.zorbec.resolve()
            failed += not check_report(case, lab, zorbec, work)
        else:
            lab, host = options.lab.resolve(), options.host.resolve()
            failed += not run_case(case, lab, host, work, options.times, options.openssh)
    if options.openssh:
        held = len(options.cases) - failed - passed_over
        print(f"{held} cases hold over the real ssh, {failed} failed, {passed_over} passed over")
    return failed > 0


if __name__ == "__main__":
    sys.exit(main())
