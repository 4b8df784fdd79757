#!/usr/bin/python3
"""Compares reports of checks.

    diff_test.py --zorbec ZORBEC --work DIR
"""

import argparse
import copy
import json
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

ZORBEC = WORK = None


def finding(fingerprint, node="3", interface_class="bundle"):
    return {
        "id": f"missing-key/{node}/{fingerprint}", "fingerprint": fingerprint,
        "kind": "missing-key", "check": "interfaces", "node": node, "class": interface_class,
        "key": "0x76", "text": f"Missing PMDB Key 0x76 for ifh {fingerprint} in node {node}",
    }  # fmt: skip


def report(*findings, verdict="INCONSISTENT"):
    classes = [{"class": "bundle", "verdict": verdict}, {"class": "leak", "verdict": "CONSISTENT"}]
    return {
        "format": "zorbec-report", "version": 1, "started": "2026-11-21T03:12:44Z",
        "nodes": [{"name": "3", "reached": True, "classes": classes}],
        "findings": list(findings),
    }  # fmt: skip


class Diff(unittest.TestCase):
    def setUp(self):
        self.folder = WORK / self.id()
        self.folder.mkdir()
        self.err = ""

    def write(self, name, content):
        path = self.folder / name
        path.write_text(content if isinstance(content, str) else json.dumps(content))
        return path

    def diff(self, old, new, *arguments, status):
        paths = [self.write("old.json", old), self.write("new.json", new)]
        result = subprocess.run(
            [ZORBEC, "diff", *paths, *arguments],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False,
        )  # fmt: skip
        self.assertEqual(result.returncode, status, result.stdout + result.stderr)
        self.err = result.stderr
        return result.stdout

    def test_groups(self):
        old = report(finding("0xa"), finding("0xb"), finding("0xc", node="4"))
        new = report(finding("0xb"), finding("0xd"))
        out = self.diff(old, new, status=1)
        groups = out.split("\n\n")
        self.assertIn("2026-11-21T03:12:44Z", groups[0])
        line = "  node {0}, bundle: Missing PMDB Key 0x76 for ifh {1} in node {0}"
        self.assertEqual(groups[1], "New: 1\n" + line.format(3, "0xd"))
        self.assertEqual(groups[2], "Still there: 1\n" + line.format(3, "0xb"))
        self.assertEqual(groups[3], "Cleared: 1\n" + line.format(3, "0xa"))
        self.assertEqual(groups[4], "Not looked at again: 1\n" + line.format(4, "0xc") + "\n")

    def test_nothing_new(self):
        one = report(finding("0xa"))
        self.assertIn("\nNew: 0\n", self.diff(one, one, status=0))
        self.assertIn("\nCleared: 1\n", self.diff(one, report(verdict="CONSISTENT"), status=0))

    def test_what_was_not_verified_is_not_cleared(self):
        out = self.diff(report(finding("0xa")), report(verdict="NOT VERIFIED"), status=0)
        self.assertIn("\nCleared: 0\n", out)
        self.assertIn("\nNot looked at again: 1\n", out)

    def test_interface_that_nobody_reported_again_was_not_looked_at(self):
        old = {**finding("0xa"), "interface": {"handle": "0xa", "name": None, "owners": ["4"]}}
        new = report(verdict="CONSISTENT")
        new["nodes"].append({"name": "4", "reached": True, "classes": [
            {"class": "bundle", "verdict": "NOT VERIFIED"}]})  # fmt: skip
        self.assertIn("\nNot looked at again: 1\n", self.diff(report(old), new, status=0))
        new["nodes"][1]["classes"][0]["verdict"] = "CONSISTENT"
        self.assertIn("\nCleared: 1\n", self.diff(report(old), new, status=0))

    def test_unconfirmed_findings_are_no_alarm(self):
        new = report({**finding("0xa"), "confirmed": False})
        out = self.diff(report(), new, status=0)
        self.assertIn("\nNew: 0\n", out)
        self.assertIn("\nNew, but unconfirmed: 1\n", out)

    def test_document(self):
        old, new = report(finding("0xa"), finding("0xb")), report(finding("0xb"), finding("0xd"))
        out = self.diff(old, new, "--json", "-", status=1)
        expected = {
            "format": "zorbec-diff", "version": 1, "new": [finding("0xd")],
            "new_unconfirmed": [], "still": [finding("0xb")], "cleared": [finding("0xa")],
            "not_looked_at_again": [],
        }  # fmt: skip
        self.assertEqual(json.loads(out), expected)
        path = self.folder / "diff.json"
        self.assertIn("New: 1\n", self.diff(old, new, "--json", path, status=1))
        self.assertEqual(json.loads(path.read_text()), expected)
        self.diff(old, new, "--json", self.folder, status=3)
        self.assertIn("Is a directory", self.err)

    def test_no_report(self):
        good = report()
        nested = copy.deepcopy(good)
        nested["findings"] = [{**finding("0xa"), "key": "NESTED"}]
        deep = json.dumps(nested).replace('"NESTED"', "[" * 300_000 + "]" * 300_000)
        for bad in ("", "{", "[]", "null", '"x"', '{"format": "zorbec-report"}', deep,
                    {**good, "version": 2}, {**good, "format": "zorbec-diff"},
                    {**good, "findings": [7]}, {**good, "nodes": {}}):  # fmt: skip
            for pair in ((bad, good), (good, bad)):
                self.assertEqual(self.diff(*pair, status=3), "")
                self.assertEqual(self.err.count("\n"), 1, self.err)
                self.assertIn("old.json" if pair[0] is bad else "new.json", self.err)

    def test_missing_file(self):
        missing = [ZORBEC, "diff", WORK / "no_old.json", WORK / "no_new.json"]
        result = subprocess.run(missing, capture_output=True, text=True, check=False)
        self.assertEqual(result.returncode, 3)
        self.assertIn("no_old.json", result.stderr)

    def test_terminal_is_told_nothing(self):
        evil = {**finding("0xa"), "text": "\x1b[2J\nboo"}
        self.assertIn("?[2J?boo", self.diff(report(), report(evil), status=1))

    def test_usage(self):
        result = subprocess.run([ZORBEC, "diff", "a"], capture_output=True, check=False)
        self.assertEqual(result.returncode, 64)


def main():
    global ZORBEC, WORK
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--zorbec", type=Path, required=True)
    parser.add_argument("--work", type=Path, required=True)
    options = parser.parse_args()
    ZORBEC, WORK = options.zorbec.resolve(), options.work.resolve()
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    return not unittest.main(argv=sys.argv[:1], exit=False, verbosity=2).result.wasSuccessful()


if __name__ == "__main__":
    sys.exit(main())
