#!/usr/bin/python3
"""Puts inputs of any size and kind where the router's texts are expected.

    run_hostile.py --lab ZORBEC_LAB --host ZORBEC_HOST --zorbec ZORBEC --work DIR PLACE...
    run_hostile.py --lab ZORBEC_LAB --host ZORBEC_HOST --zorbec ZORBEC --work DIR --huge

A place is one text of the router, such as `pidb` or `banner`, or `files` for those that `zorbec
diff` and `zorbec explain` are given. At a place each input is put to the checker, which must leave
what the oracle leaves, and to `zorbec check`, whose report must be sound. --huge gives them dumps
of 1 GB instead, and tells the memory that they took.
"""

import argparse
import json
import os
import shutil
import subprocess
import sys
from pathlib import Path

SUPPORT = Path(__file__).resolve().parent.parent / "support"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SUPPORT))

from check_run import CheckRun, need_schemas
from outcome import Outcome, oracle_complaints

MEGABYTE = 1 << 20
LONGEST_LINE = 600  # of a complaint, whatever it is about

# Two line cards and a route processor, with something at every place.
ROUTER = [
    "--model", "3", "--line-cards", "2", "--physical", "1", "--physical-subifs", "1",
    "--bundles", "1", "--members", "1", "--bundle-subifs", "1", "--bvis", "1", "--gre", "1",
    "--bundle-scale", "512", "--multicast", "2", "--defect", "leaked-bundle",
]  # fmt: skip
PROCESSOR = "nodes/192.0.1.1"
CARD = "nodes/192.0.16.1"
PLACES = {  # the file in the router's folder; a folder stands for the first file in it
    "pidb": f"{CARD}/dumps/pidb_physical.dat",
    "pmdb": f"{CARD}/dumps/pmdb.dat",
    "node-table": "nodemap.txt",
    "banner": "banner.txt",
    "configuration": "config.txt",
    "bundle-scale": "bundle-scale.txt",
    "interface-manager": "ifmgr",
    "routes": f"{PROCESSOR}/out/mcroute_print",
    "buds": f"{CARD}/out/fwdobj_print",
    "handles": f"{CARD}/rifs",
}
MULTICAST = ("routes", "buds", "handles")
DUMPS = ("pidb", "pmdb")


def in_each_line(text, what):
    """The text with something in the middle of each line."""
    lines = text.split(b"\n")
    return b"\n".join(line[: len(line) // 2] + what + line[len(line) // 2 :] for line in lines)


INPUTS = {
    "lists-in-lists": lambda text: b"[" * 100_000,
    "lists-in-lists-closed": lambda text: b"[" * 100_000 + b"]" * 100_000,
    "records-in-records": lambda text: b'{"1":' * 100_000,
    "long-line": lambda text: text.rstrip(b"\n") + b"7" * (64 * MEGABYTE),
    "long-fields": lambda text: text.replace(b": ", b": " + b"7" * 100_000, 8),
    "nul-bytes": lambda text: in_each_line(text, b"\0"),
    "not-utf-8": lambda text: in_each_line(text, b"\xff\xc3"),
    "empty": lambda text: b"",
    "newlines": lambda text: b"\n" * 1000,
    "carriage-returns": lambda text: text.replace(b"\n", b"\r\n"),
    "byte-order-mark": lambda text: b"\xef\xbb\xbf" + text,
    "one-name-a-million-times": lambda text: b'{"7": {}' + b',\n"7": {}' * 999_999 + b"}\n",
}


def with_value(value):
    """For dumps: a member more in the first record."""
    return lambda text: text.replace(b'": {', b'": {"x": ' + value() + b", ", 1)


DUMP_INPUTS = {
    **INPUTS,
    "text-of-1-mb": with_value(lambda: b'"' + b"7" * MEGABYTE + b'"'),
    "text-of-64-mb": with_value(lambda: b'"' + b"7" * (64 * MEGABYTE) + b'"'),
    "number-of-100-kb": with_value(lambda: b"7" * 100_000),
    "number-of-64-mb": with_value(lambda: b"7" * (64 * MEGABYTE)),
}
# What the oracle would take hours for, or minutes.
NOT_FOR_THE_ORACLE = ("text-of-64-mb", "number-of-64-mb")
# The oracle's search for the word in a banner takes a time that grows with the square of the line.
# It gets a short line instead: the word is in neither.
LONG_BANNERS = ("lists-in-lists", "lists-in-lists-closed", "records-in-records", "long-line")


def path_of(router, place):
    path = router / PLACES[place]
    return min(path.iterdir()) if path.is_dir() else path


def complaint_complaints(what, text):
    """Of lines on standard error, whatever they say."""
    out = ""
    for line in text.split("\n"):
        if len(line) > LONGEST_LINE or any(ord(c) < 0x20 for c in line):
            out += f"{what}: not a line for people: {line[:200]!r}...\n"
    return out


def host_complaints(lab, host, work, source, place, change, for_oracle):
    mode = "run:1" if place in MULTICAST else "run:0"

    def router_with(what):
        def make(router):
            shutil.copytree(source, router)
            path = path_of(router, place)
            path.write_bytes(what(path.read_bytes()))

        return make

    steps = ("init", mode, "finalize")
    found = Outcome(lab, host, steps, work / "checker", router_with(change))
    oracle = Outcome(lab, SUPPORT / "oracle.py", steps, work / "oracle", router_with(for_oracle))
    out = oracle_complaints(found, oracle)
    for name in ("exit", "statuses"):
        if getattr(found, name) != getattr(oracle, name):
            out += f"{name} {getattr(found, name)} instead of {getattr(oracle, name)}\n"
    if len(found.stderr_lines) != len(oracle.stderr_lines):
        out += f"standard error: {found.stderr[:2000]}\nthe oracle's: {oracle.stderr[:2000]}\n"
    return out[:4000] + complaint_complaints("standard error", found.stderr)


def check_complaints(lab, zorbec, work, source, place, change):
    shutil.copytree(source, work / "router")
    path = path_of(work / "router", place)
    path.write_bytes(change(path.read_bytes()))
    what = "multicast" if place in MULTICAST else "interfaces"
    run = CheckRun(lab, zorbec, work / "router", work / "check", [what])
    out = run.complaints(with_events=False)
    return out[:4000] + complaint_complaints("zorbec check", run.stderr)


def check_place(options, place):
    source = options.work / "router"
    bad = 0
    inputs = DUMP_INPUTS if place in DUMPS else INPUTS
    for name, change in inputs.items():
        work = options.work / place / name
        shutil.rmtree(work, ignore_errors=True)
        work.mkdir(parents=True)
        out = check_complaints(options.lab, options.zorbec, work, source, place, change)
        if name not in NOT_FOR_THE_ORACLE:
            is_long_banner = place == "banner" and name in LONG_BANNERS
            for_oracle = (lambda text: b"7") if is_long_banner else change
            out += host_complaints(
                options.lab, options.host, work, source, place, change, for_oracle
            )
        if out:
            print(f"{place}: {name}:\n{out}")
            bad += 1
        shutil.rmtree(work)
    print(f"{place}: {len(inputs)} inputs, {bad} failed", flush=True)
    return bad


# Files that the command is given ------------------------------------------------------------------


def ends_well(command, what, statuses):
    """Runs it; it must end with one of these statuses, and say why on one line if it is not 0."""
    result = subprocess.run(
        command, stdin=subprocess.DEVNULL, capture_output=True, timeout=300, check=False
    )
    stderr = result.stderr.decode("utf-8", "replace")
    out = complaint_complaints(what, stderr)
    if result.returncode not in statuses:
        out += f"{what}: status {result.returncode}\n{stderr[:1000]}\n"
    if result.returncode == 3 and not stderr:
        out += f"{what}: not a word on standard error\n"
    return out


def check_files(options):
    """`zorbec diff` with such reports, `zorbec explain` with such dumps."""
    source = options.work / "router"
    work = options.work / "files"
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    tmp = work / "tmp"
    command = [options.lab, "run", source, "--tmp", tmp, "--", options.zorbec, "check", "all"]
    subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=False)
    report = tmp / "zorbec_report.json"
    good = json.loads(report.read_text())
    inputs, bad = 0, 0
    for name, change in DUMP_INPUTS.items():
        changed = work / "report.json"
        changed.write_bytes(change(report.read_bytes()))
        out = ""
        for pair in ((changed, report), (report, changed)):
            out += ends_well([options.zorbec, "diff", *pair], "diff", (0, 1, 3))
        for dump in ("pidb_physical_0.dat", "pmdb_0.dat", "zorbec_report.json"):
            folder = work / "dumps"
            shutil.copytree(tmp, folder)
            path = folder / dump
            path.write_bytes(change(path.read_bytes()))
            for key in ("7", good["findings"][0]["key"] if good["findings"] else "0x7"):
                explain = [options.zorbec, "explain", str(key), "--from", folder]
                out += ends_well(explain, f"explain with {dump}", (0, 1, 2, 3))
            shutil.rmtree(folder)
        inputs += 1
        if out:
            print(f"files: {name}:\n{out[:4000]}")
            bad += 1
    shutil.rmtree(work)
    print(f"files: {inputs} inputs, {bad} failed", flush=True)
    return bad


# Dumps of 1 GB ------------------------------------------------------------------------------------


def huge_pmdb(path):
    """Records as the tool writes them, 1 GB of them."""
    with open(path, "w", encoding="ascii") as file:
        file.write("{")
        key, separator = 1 << 20, ""
        while file.tell() < 1 << 30:
            records = []
            for key in range(key, key + 10_000):
                records.append(f'{separator}"{key}": {{"key_type": 2, "table_id": 0, "flags": 32}}')
                separator = ",\n"
            key += 1
            file.write("".join(records))
        file.write("}\n")


def huge_text(path):
    """One record with one text of 1 GB, longer than any text may be."""
    with open(path, "w", encoding="ascii") as file:
        file.write('{"7": {"x": "')
        for _ in range(1 << 10):
            file.write("7" * MEGABYTE)
        file.write('"}}\n')


def peak_memory(command):
    """Runs it and returns its exit status and the most memory, in MB, that it had at a time."""
    child = os.fork()
    if child == 0:
        os.execv(command[0], [str(part) for part in command])
    _, status, usage = os.wait4(child, 0)
    return os.waitstatus_to_exitcode(status), usage.ru_maxrss // 1024


def check_huge(options):
    bad = 0
    for what, place, make in (
        ("keys", "pmdb", huge_pmdb),
        ("one text", "pmdb", huge_text),
        ("one text", "pidb", huge_text),
    ):
        work = options.work / "huge"
        shutil.rmtree(work, ignore_errors=True)
        shutil.copytree(options.work / "router", work / "router")
        make(path_of(work / "router", place))
        # A million leaks would be a million questions to the interface manager.
        interrupted = ["timeout", "--signal", "INT", "180"]
        check = [options.zorbec, "check", "interfaces", "--json", work / "report.json"]
        command = [options.lab, "run", work / "router", "--tmp", work / "tmp", "--"]
        status, peak = peak_memory([*command, *interrupted, *check])
        is_told = (work / "report.json").exists()
        print(f"{place} of 1 GB, {what}: status {status}, at most {peak} MB", flush=True)
        if status not in (0, 1, 2, 124) or not is_told:
            bad += 1
        shutil.rmtree(work)
    return bad


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    for name in ("lab", "host", "zorbec", "work"):
        parser.add_argument(f"--{name}", type=Path, required=True)
    parser.add_argument("--huge", action="store_true")
    parser.add_argument("places", metavar="PLACE", nargs="*")
    options = parser.parse_args()
    need_schemas()
    for name in ("lab", "host", "zorbec", "work"):
        setattr(options, name, getattr(options, name).resolve())

    shutil.rmtree(options.work, ignore_errors=True)
    subprocess.run([options.lab, "generate", options.work / "router", *ROUTER], check=True)
    bad = check_huge(options) if options.huge else 0
    for place in options.places:
        bad += check_files(options) if place == "files" else check_place(options, place)
    return bad > 0


if __name__ == "__main__":
    sys.exit(main())
