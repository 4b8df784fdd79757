"""One run on the simulated router, what it left behind, and how two of them are compared.

A run's files are compared as they are but for what is not the checker's to fix: nodes are worked on
at the same time, so their findings and the commands' complaints interleave, a phase's join lines
fall anywhere into the last node's log, and thread identifiers differ.
"""

import difflib
import json
import os
import re
import shlex
import shutil
import subprocess
from collections import Counter
from pathlib import Path

TIMEOUT = 120  # seconds; a run takes well under one

DISPLAY = r"<Thread\((Thread-\d+), (?:started|stopped) (\d+)\)>"
JOIN = re.compile(rf"\n([wW])aiting for pid {DISPLAY} to join \n|\npid {DISPLAY} joined")
MESSAGE = re.compile(
    r"\nMissing PMDB Key \S+ for ifh \S+ in node (\S+)\n|ERROR PMDB Key \S+ leaked !!!!!!\n"
)
TRANSPORT_ERROR = re.compile(rb"(?:ssh|scp): |Connection |lost connection|Pseudo-terminal ")


class Outcome:
    """Runs the steps of zorbec_host on a router, in a folder `work` that is made anew.

    `make_router` gets the path at which it has to make the router; the router may change while the
    steps are run. `command` is zorbec_host or a program that takes the same arguments.
    `lab_options` are options of `zorbec-lab run`.
    """

    def __init__(self, lab, command, steps, work, make_router, variables=None, lab_options=()):
        shutil.rmtree(work, ignore_errors=True)
        work.mkdir(parents=True)
        self.router = work / "router"
        make_router(self.router)
        result = subprocess.run(
            [lab, "run", self.router, "--tmp", work / "tmp", "--calls", work / "calls",
             *lab_options, "--", command, work / "status", *steps],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            env={**os.environ, "ROUTER": str(self.router), **(variables or {})},
            timeout=TIMEOUT, check=False,
        )
        self.exit = result.returncode
        self.stdout = result.stdout.decode("utf-8", "surrogateescape")
        self.stderr = result.stderr.decode("utf-8", "surrogateescape")
        self.stderr_lines = [line for line in self.stderr.split("\n") if line]
        self.statuses = [int(line) for line in read_lines(work / "status")]
        self.calls = [json.loads(line) for line in read_lines(work / "calls")]
        # What must stay reachable during the run shows in /tmp although nobody left it there.
        of_run = {Path(p).parts[2] for p in (lab, command, work) if Path(p).parts[1] == "tmp"}
        self.files = {
            path.name: content_of(path)
            for path in sorted((work / "tmp").iterdir())
            if path.name not in of_run
        }

    def call_lines(self):
        """How often each command was called, one a line."""
        counts = Counter(shlex.join(call["argv"]) for call in self.calls)
        return "".join(f"{count} {line}\n" for line, count in sorted(counts.items()))

    def overlap(self, text):
        """Whether all calls that hold the text were running at one moment."""
        calls = [call for call in self.calls if text in " ".join(call["argv"])]
        latest_start = max((call["start"] for call in calls), default=0)
        return len(calls) > 1 and all(call["end"] > latest_start for call in calls)


def read_lines(path):
    return path.read_text("utf-8").splitlines() if path.exists() else []


def content_of(path):
    """A file's bytes, or a text that tells what stands there instead of a file."""
    if path.is_symlink():
        return "link " + os.readlink(path)
    return "folder" if path.is_dir() else path.read_bytes()


def nodes_among(names):
    return sum(name.startswith("debug_logs_") for name in names)


def shared_files(names):
    """Files that several nodes wrote, so that they hold what the last of them left there.

    The multicast collectors write one file each for all nodes, and the command runner one for each
    RIF. The tables themselves stand in the verification log.
    """
    processors = sum(name.startswith("zorbec_mrib_") for name in names)
    cards = sum(name.startswith("zorbec_mplsmdtbud_") for name in names)
    shared = set()
    if processors > 1:
        shared.add("mribdump.txt")
    if cards > 1:
        shared.add("mplsmdtbud.txt")
    if processors + cards > 1:
        shared.add("pmdbdump.txt")
        shared.update(name for name in names if name.startswith("zorbec_pmdb_"))
    return shared


def comparable_stdout(text, nodes):
    """With several nodes only the order within a node is fixed, and a leak names no node."""
    if nodes <= 1:
        return text
    by_node, leaks, rest, end = {}, [], "", 0
    for message in MESSAGE.finditer(text):
        rest += text[end : message.start()]
        end = message.end()
        if message[1]:
            by_node.setdefault(message[1], []).append(message[0])
        else:
            leaks.append(message[0])
    streams = ["".join(by_node[node]) for node in sorted(by_node)]
    return "".join(streams) + "".join(sorted(leaks)) + rest + text[end:]


def comparable_log(text):
    """The join lines go to the end, without identifiers and whether a thread had stopped yet."""
    joins = "".join(
        f"{join[1]}aiting for {join[2]}\n" if join[1] else f"{join[4]} joined\n"
        for join in JOIN.finditer(text)
    )
    return JOIN.sub("", text) + "\n--- joins ---\n" + joins


def comparable_file(name, data):
    text = data.decode("utf-8", "surrogateescape")
    if "debug_logs" in name:
        return comparable_log(text)
    if name == "output_file.txt":
        return "".join(sorted(text.splitlines(keepends=True)))
    return text


def without_transport_errors(data):
    """What stands in output_file.txt, with one line for all that ssh and scp say of themselves: in
    what words, and in how many lines, is theirs.
    """
    lines = data.splitlines(keepends=True)
    others = [line for line in lines if not TRANSPORT_ERROR.match(line)]
    return b"".join(others) + (b"errors of ssh or scp\n" if len(others) < len(lines) else b"")


def identifier_complaints(name, data):
    """A thread has one identifier in all lines that show it."""
    identifiers = {}
    for join in JOIN.finditer(data.decode("utf-8", "surrogateescape")):
        thread, identifier = (join[2], join[3]) if join[2] else (join[4], join[5])
        identifiers.setdefault(thread, set()).add(identifier)
    return "".join(
        f"{name}: {thread} has several identifiers: {', '.join(sorted(its))}\n"
        for thread, its in identifiers.items()
        if len(its) > 1
    )


def oracle_complaints(found, oracle):
    """Everything in which an outcome differs from the one that the oracle left."""
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


def difference(what, expected, found):
    """A unified diff, or nothing."""
    if expected == found:
        return ""
    diff = difflib.unified_diff(
        printable(expected).split("\n"),
        printable(found).split("\n"),
        f"{what} (expected)",
        f"{what} (found)",
        lineterm="",
    )
    return "\n".join(diff) + "\n"


def shown(findings):
    """A Counter of lines as a text."""
    return "".join(f"{count} {text}\n" for text, count in sorted(findings.items()))


def printable(text):
    return text.encode("utf-8", "backslashreplace").decode("utf-8")
