#!/usr/bin/python3
"""Changes every field of every dump in every way, and holds each check against the oracle's.

    run_fields.py --lab ZORBEC_LAB --host ZORBEC_HOST --work DIR [--all] [DUMP...]

A case is one verb for one field of one record of a line card, for the record itself, or for its
name. Both checkers are run on the same router, with another line card that nothing happens to: the
statuses, findings, calls and files must be the same, and complaints on standard error as many.
Without --all every verb is used, and every field is changed, but only a part of the pairs is tried.
DUMP is pidb_physical, pmdb and so on; all of them if none is given.
"""

import argparse
import shlex
import shutil
import sys
from collections import Counter
from pathlib import Path

SUPPORT = Path(__file__).resolve().parent.parent / "support"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SUPPORT))

from outcome import Outcome, content_of, difference, oracle_complaints
from router import PIDB_FIELDS, PMDB, dump_path, dump_text, generate, read_dump

VALUES = {
    "missing": None,
    "null": "null",
    "text": '"x"',
    "text number": '"7"',
    "float": "1.5",
    "true": "true",
    "list": '["7"]',
    "object": '{"7": 7}',
    "-1": "-1",
    "0": "0",
    "2^31": str(2**31),
    "2^32": str(2**32),
    "2^63": str(2**63),
    "2^64": str(2**64),
    "10^40": str(10**40),
    "duplicate": None,
}
VERBS = list(VALUES)
PART = 6  # of the pairs, one in so many is tried by default


def change_member(members, place, verb):
    """The members with one changed; `members` holds (name, value) pairs."""
    name, value = members[place]
    if verb == "missing":
        changed = []
    elif verb == "duplicate":  # the last one counts, the first one keeps its place
        other = "1" if isinstance(value, str) else [("rif", "1")]
        changed = [(name, value), (name, other)]
    else:
        changed = [(name, VALUES[verb])]
    return members[:place] + changed + members[place + 1 :]


def change_name(records, place, verb):
    name, members = records[place]
    names = {"missing": "", "text number": hex(int(name)), "duplicate": "0" + name}
    new = names.get(verb, (VALUES[verb] or "").strip('"'))
    return records[:place] + [(new, members)] + records[place + 1 :]


def changes(records, place):
    """(what is changed, how to) for everything of one record that can be."""
    name, members = records[place]
    for at, (field, _) in enumerate(members):
        yield f"{name} {field}", lambda verb, at=at: (
            records[:place] + [(name, change_member(members, at, verb))] + records[place + 1 :]
        )
    yield f"{name} itself", lambda verb: change_member(records, place, verb)
    yield f"{name} name", lambda verb: change_name(records, place, verb)


def with_marks(records):
    """Members that only the checker adds, as if the tool had: each can be changed as well."""
    return [(name, [*members, ("visited", "0")]) for name, members in records[:1]] + records[1:]


class Run:
    """Many checks, one after the other in one process, each of a router with another dump.

    `cases` are (name, text of the dump).
    """

    def __init__(self, lab, command, work, source, dump, cases):
        texts = work / "texts"
        shutil.rmtree(work, ignore_errors=True)
        texts.mkdir(parents=True)
        steps = []
        for number, (_, text) in enumerate(cases):
            (texts / str(number)).write_text(text)
            put = f'cp {shlex.quote(str(texts / str(number)))} "$DUMP"'
            # What a check leaves is put aside, and every stream gets a mark.
            folder = f"/tmp/{number}.case"
            aside = f"mkdir {folder} && find /tmp -maxdepth 1 -type f -exec mv {{}} {folder} ';'"
            mark = f"echo '--- {number}'; echo '--- {number}' >&2; confdump mark 2>/dev/null; true"
            steps += [f"sh:{put}", "init", "run:0", "finalize", f"sh:{aside}", f"sh:{mark}"]
        run = work / "run"
        variables = {"DUMP": str(dump_path(run / "router", dump))}
        whole = Outcome(
            lab, command, steps, run, lambda router: shutil.copytree(source, router), variables
        )
        self.exit = whole.exit
        self.statuses = whole.statuses
        out, err = whole.stdout, whole.stderr
        calls = iter(whole.calls)
        self.cases = []
        for number in range(len(cases)):
            its_out, _, out = out.partition(f"--- {number}\n")
            its_err, _, err = err.partition(f"--- {number}\n")
            its_calls = []
            for call in calls:
                if call["argv"] == ["confdump", "mark"]:
                    break
                its_calls.append(call)
            self.cases.append(Case(its_out, its_err, its_calls, run / "tmp" / f"{number}.case"))


class Case:
    """What one check left."""

    def __init__(self, stdout, stderr, calls, folder):
        self.stdout = stdout
        self.stderr_lines = [line for line in stderr.split("\n") if line]
        self.calls = calls
        self.files = {path.name: content_of(path) for path in sorted(folder.iterdir())}

    def call_lines(self):
        counts = Counter(shlex.join(call["argv"]) for call in self.calls)
        return "".join(f"{count} {line}\n" for line, count in sorted(counts.items()))


def check(lab, host, work, source, dump, cases):
    """Puts the cases to both checkers; returns how many differ."""
    found = Run(lab, host, work / "checker", source, dump, cases)
    expected = Run(lab, SUPPORT / "oracle.py", work / "oracle", source, dump, cases)
    out = difference("statuses", str(expected.statuses), str(found.statuses))
    out += difference("exit status", str(expected.exit), str(found.exit))
    if out:
        print(f"{dump}: {cases[0][0]} ...\n{out}")
    differing = int(bool(out))
    for (name, text), here, there in zip(cases, found.cases, expected.cases):
        out = oracle_complaints(here, there)
        if len(here.stderr_lines) != len(there.stderr_lines):
            out += "standard error:\n" + "\n".join(here.stderr_lines)
            out += "\nthe oracle's:\n" + "\n".join(there.stderr_lines) + "\n"
        if out:
            print(f"{dump}: {name}\n{out}in\n{text}")
            differing += 1
    return differing


def chosen(place, verb, everything):
    return everything or (place + VERBS.index(verb)) % PART == 0


def check_dump(lab, host, work, dump, everything):
    """Returns how many cases were tried and how many differ."""
    source = work / "router"
    generate(lab, source)
    for name in PIDB_FIELDS:
        dump_path(source, name).write_text(dump_text(read_dump(source, name)))
    records = read_dump(source, dump)
    if dump == PMDB:
        records = with_marks(records)
    places = range(1) if dump == PMDB else range(len(records))
    cases = [
        (f"{what}: {verb}", dump_text(change(verb)))
        for record in places
        for place, (what, change) in enumerate(changes(records, record))
        for verb in VERBS
        if chosen(record + place, verb, everything)
    ]
    differing = 0
    at_once = len(VERBS)
    for first in range(0, len(cases), at_once):
        some = cases[first : first + at_once]
        differing += check(lab, host, work, source, dump, some)
    return len(cases), differing


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--lab", type=Path, required=True)
    parser.add_argument("--host", type=Path, required=True)
    parser.add_argument("--work", type=Path, required=True)
    parser.add_argument("--all", action="store_true")
    parser.add_argument("dumps", metavar="DUMP", nargs="*", default=[*PIDB_FIELDS, PMDB])
    options = parser.parse_args()

    cases, differing = 0, 0
    for dump in options.dumps:
        some, bad = check_dump(
            options.lab.resolve(), options.host.resolve(), options.work.resolve() / dump, dump,
            options.all,
        )
        print(f"{dump}: {some} cases, {bad} differ", flush=True)
        cases += some
        differing += bad
    print(f"{cases} cases, {differing} differ")
    return cases == 0 or differing > 0


if __name__ == "__main__":
    sys.exit(main())
