"""One `zorbec check` on the simulated router, and what must hold of each of them."""

import importlib.util
import json
import os
import re
import shutil
import subprocess
import sys
from collections import Counter
from functools import lru_cache
from pathlib import Path

from outcome import difference, shown

TIMEOUT = 120  # seconds; a check takes well under one
DOCS = Path(__file__).resolve().parents[2] / "docs"
FINDING = re.compile(
    r"^(?:Missing PMDB Key \S+ for ifh \S+ in node .*|ERROR PMDB Key \S+ leaked !!!!!!"
    r"|inconsistant data at node .*|Missing Key in mplsmdtbudobj .*|Missing Keys in PMDB rif: .*)$",
    re.MULTILINE,
)
EXIT_CODES = {"CONSISTENT": 0, "INCONSISTENT": 1, "NOT VERIFIED": 2, "RUN FAILED": 3}


def need_schemas():
    """Ends a program that is going to hold documents against schemas if this Python cannot."""
    if importlib.util.find_spec("jsonschema") is None:
        sys.exit(
            f"{sys.executable} has no module jsonschema;"
            " scripts/packages test installs it for /usr/bin/python3"
        )


@lru_cache(maxsize=None)
def schema(name):
    with open(DOCS / f"{name}.schema.json", encoding="utf-8") as file:
        return json.load(file)


@lru_cache(maxsize=None)
def validator(name, definition=None):
    """Of the whole schema, or of one of its definitions."""
    # Not needed by most who import this file, and slower to load than most of their runs.
    import jsonschema  # pylint: disable=import-outside-toplevel

    whole = schema(name)
    if definition:
        whole = {"$ref": f"#/$defs/{definition}", "$defs": whole["$defs"]}
    jsonschema.Draft202012Validator.check_schema(whole)
    return jsonschema.Draft202012Validator(whole)


def schema_complaints(what, document, of):
    return "".join(
        f"{what}: {'/'.join(map(str, error.path))}: {error.message[:300]}\n"
        for error in of.iter_errors(document)
    )


def finding_lines(stdout):
    return Counter(FINDING.findall(stdout))


def findings_of(report):
    """The lines that the report's findings stand for."""
    lines = Counter()
    for finding in report["findings"]:
        lines[finding["text"]] += finding["times"]
    return lines


class CheckRun:
    """Runs `zorbec check ARGUMENTS` on a router, with its report and events in the folder `work`.

    `before` is a shell command that is run there first, `lab_options` are options of
    `zorbec-lab run`.
    """

    def __init__(
        self, lab, zorbec, router, work, arguments, before="", variables=None, lab_options=()
    ):
        shutil.rmtree(work, ignore_errors=True)
        work.mkdir(parents=True)
        report, events = work / "report.json", work / "events.jsonl"
        result = subprocess.run(
            [lab, "run", router, *lab_options, "--", "sh", "-c", f'{before}\nexec "$@"', "sh",
             zorbec, "check", *arguments, "--json", report, "--jsonl", events],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            env={**os.environ, **(variables or {})}, timeout=TIMEOUT, check=False,
        )
        self.exit = result.returncode
        self.stdout = result.stdout.decode("utf-8", "replace")
        self.stderr = result.stderr.decode("utf-8", "replace")
        self.report = json.loads(report.read_bytes()) if report.exists() else None
        lines = events.read_text("utf-8").splitlines() if events.exists() else []
        self.events = [json.loads(line) for line in lines]

    def complaints(self, with_events=True):
        """Everything in which the check is at odds with itself, its events held against their
        schema or, as that takes its time, not.
        """
        if self.report is None:
            return f"no report; exit status {self.exit}\n{self.stderr}"
        out = schema_complaints("report", self.report, validator("report"))
        for event in self.events if with_events else ():
            name = event.get("event")
            known = name in schema("events")["$defs"]
            of = validator("events", name) if known else validator("events")
            out += schema_complaints(f"event {name}", event, of)
        if out:
            return out
        if self.exit != self.report["exit_code"]:
            out += f"exit status {self.exit}, but {self.report['exit_code']} in the report\n"
        out += difference(
            "findings", shown(finding_lines(self.stdout)), shown(findings_of(self.report))
        )
        told = Counter(event["text"] for event in self.events if is_finding(event))
        out += difference("findings in events", shown(findings_of(self.report)), shown(told))
        return out + verdict_complaints(self.report)


def is_finding(event):
    return event["event"] in ("missing_key", "leaked_key", "faulty_route")


def verdict_complaints(report):
    """Verdicts of a whole report that do not follow from each other."""
    out = ""
    confirmed, unconfirmed = Counter(), Counter()
    for finding in report["findings"]:
        count = confirmed if finding["confirmed"] else unconfirmed
        count[finding["node"], finding["class"]] += 1
    verdicts = set()
    for node in report["nodes"]:
        cells = set()
        for cell in node["classes"]:
            place = node["name"], cell["class"]
            cells.add(cell["verdict"])
            if (cell["findings"], cell["unconfirmed"]) != (confirmed[place], unconfirmed[place]):
                out += f"{place}: {cell}, but {confirmed[place]}, {unconfirmed[place]} findings\n"
            if (cell["verdict"] == "INCONSISTENT") != (cell["findings"] > 0):
                out += f"{place}: {cell}\n"
            if cell["verdict"] == "CONSISTENT" and (cell["unconfirmed"] or not cell["compared"]):
                out += f"{place}: {cell}\n"
        by_weight = ("INCONSISTENT", "NOT VERIFIED", "CONSISTENT")
        worst = next((verdict for verdict in by_weight if verdict in cells), None)
        if node["problems"] and worst == "CONSISTENT":
            worst = "NOT VERIFIED"
        if worst and node["verdict"] != worst:
            out += f"{node['name']} is {node['verdict']}, its classes {sorted(cells)}\n"
        verdicts.add(node["verdict"])
    if report["run_errors"] and not report["ended_early"]:
        wanted = "RUN FAILED"
    elif "INCONSISTENT" in verdicts:
        wanted = "INCONSISTENT"
    elif "CONSISTENT" in verdicts and "NOT VERIFIED" not in verdicts and not report["ended_early"]:
        wanted = "CONSISTENT"
    else:
        wanted = "NOT VERIFIED"
    if report["verdict"] != wanted or report["exit_code"] != EXIT_CODES[wanted]:
        out += f"{report['verdict']}, {report['exit_code']}, but nodes are {sorted(verdicts)}\n"
    return out
