#!/usr/bin/python3
"""Explains keys of a checked router: what was planted in it must be told.

    explain_test.py --lab ZORBEC_LAB --zorbec ZORBEC --work DIR
"""

import argparse
import json
import os
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

LAB = ZORBEC = WORK = None

ROUTER = [
    "--line-cards", "2", "--standby", "--interfaces", "60", "--seed", "4", "--physical", "4",
    "--physical-subifs", "10", "--bundles", "3", "--bundle-subifs", "6", "--bvis", "3",
    "--gre", "2", "--bundle-scale", "512",
]  # fmt: skip
CLASSES = {
    "missing-physical": "physical",
    "missing-physical-subif": "physical-subif",
    "missing-bundle": "bundle",
    "missing-bundle-subif": "bundle-subif",
    "missing-bvi": "bvi",
    "missing-gre": "gre",
}


def checked_router(name, *defects):
    """A router with these defects, checked; its folder and the folder with the check's files."""
    router, tmp = WORK / name, WORK / f"{name}-tmp"
    options = [part for defect in defects for part in ("--defect", defect)]
    subprocess.run([LAB, "generate", router, *ROUTER, *options], check=True)
    tmp.mkdir()
    subprocess.run(
        [LAB, "run", router, "--tmp", tmp, "--", ZORBEC, "check"],
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=False, timeout=120,
    )  # fmt: skip
    # What is told must not depend on whether the check left a report.
    (tmp / "zorbec_report.json").unlink(missing_ok=True)
    return router, tmp


def files_in(folder):
    return {p.name: (p.read_bytes(), p.stat().st_mtime_ns) for p in folder.iterdir() if p.is_file()}


class ExplainTest(unittest.TestCase):
    tmp = None  # the folder with the files of the check

    def setUp(self):
        self.folder = WORK / self.id()
        shutil.copytree(self.tmp, self.folder)
        self.err = ""

    def explain(self, *arguments, status=0, folder=None):
        before = files_in(self.folder)
        # No tool can be found, so one that is called shows.
        result = subprocess.run(
            [ZORBEC, "explain", *map(str, arguments), "--from", folder or self.folder],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False,
            env={**os.environ, "PATH": "/nonexistent"},
        )  # fmt: skip
        self.assertEqual(result.returncode, status, result.stdout + result.stderr)
        self.assertEqual(files_in(self.folder), before)
        for line in result.stdout.splitlines():
            self.assertLessEqual(len(line), 80, line)
        self.err = result.stderr
        return result.stdout


class Defective(ExplainTest):
    @classmethod
    def setUpClass(cls):
        cls.router, cls.tmp = checked_router(
            "router", *CLASSES, "leaked:2", "leaked-bundle"
        )
        with open(cls.router / "planted.json", encoding="utf-8") as file:
            cls.defects = json.load(file)["defects"]

    def planted(self, kind):
        found = [defect for defect in self.defects if defect["kind"] == kind]
        self.assertTrue(found, kind)
        return found

    def test_missing_key_shows_its_interface(self):
        for kind, interface_class in CLASSES.items():
            for defect in self.planted(kind):
                handle = defect["findings"][0]["text"].split(" for ifh ")[1].split()[0]
                out = self.explain(defect["hex"], "--model", 1, "--bundle-scale", 512)
                self.assertIn(f"Key {defect['hex']} ({defect['key']})\n", out)
                self.assertRegex(out, rf"\n  {interface_class} \S+, handle {handle} \(\d+\)\n    ")
                self.assertRegex(out, rf"\n  missing in   {defect['node']}\n")
                self.assertNotIn("Assumed", out)
                self.assertEqual(self.err, "")

    def test_decimal_and_hexadecimal_are_one(self):
        defect = self.defects[0]
        self.assertEqual(self.explain(defect["key"]), self.explain(defect["hex"]))

    def test_leaked_key_shows_the_nearest_owner(self):
        for defect in self.planted("leaked") + self.planted("leaked-bundle"):
            out = self.explain(defect["key"])
            self.assertIn("Expected by no interface\n", out)
            self.assertRegex(out, rf"\n  held by      {defect['node']}\n")
            words = " ".join(out.split())
            self.assertIn("On a node that holds it, it is a leak", words)
            self.assertRegex(words, r"nearest expected key, 0x[0-9a-f]+, has .* instead of \d+\.")
            self.assertRegex(out, r"Expected by\n  \S+ \S+, handle 0x")

    def test_logical_interface_is_one_line_with_its_nodes(self):
        with open(self.tmp / "pidb_bvi_intf_1.dat", encoding="utf-8") as file:
            handle, record = next(iter(json.load(file).items()))
        out = self.explain(handle)
        self.assertIn(f"\n  bvi {record['intf_name']}, handle {int(handle):#x} ({handle})\n", out)
        self.assertIn("\n    the interface's own handle\n    reported by 0, 1\n", out)
        self.assertEqual(out.count("Expected by 1 interface\n"), 1)

    def test_member_key_shows_member_and_bundle(self):
        with open(self.tmp / "pidb_physical_1.dat", encoding="utf-8") as file:
            member = next(m for m in json.load(file).values() if m["is_member"])
        port = member["memid"] << 9 | member["lagid"]
        out = self.explain((1 << 31) | port << 16, "--bundle-scale", 512)
        self.assertIn(f"member key: memid {member['memid']}, lagid {member['lagid']}\n", out)
        self.assertIn(f"handle {member['bundle_ifh']:#x} ", out)

    def test_node_limits_the_programmed_keys(self):
        defect = self.planted("missing-bvi")[0]
        out = self.explain(defect["key"], "--node", defect["node"])
        self.assertIn(f"  held by      none\n  missing in   {defect['node']}\n", out)

    def test_model_and_scale_come_from_the_report(self):
        report = {"format": "zorbec-report", "version": 1,
                  "router": {"model_code": 1, "scale_mode": 1}}  # fmt: skip
        (self.folder / "zorbec_report.json").write_text(json.dumps(report))
        told = self.explain(8)
        self.assertNotIn("Assumed", told)
        self.assertEqual(told, self.explain(8, "--model", 1, "--bundle-scale", 512))
        (self.folder / "zorbec_report.json").write_text("{")
        out = self.explain(8)
        self.assertIn("zorbec_report.json: not valid JSON", self.err)
        words = " ".join(out.split())
        self.assertIn("Assumed, because neither an option nor a report in the folder says it: "
                      "model 1, bundle scale 256.", words)  # fmt: skip

    def test_malformed_dump_costs_only_itself(self):
        defect = self.planted("missing-bvi")[0]
        (self.folder / "pidb_bundle_0.dat").write_text('{"7": {')
        out = self.explain(defect["key"])
        self.assertIn("pidb_bundle_0.dat: ", self.err)
        self.assertIn("Not looked at\n  pidb_bundle of node 0: cannot be used\n", out)
        self.assertIn("\n  bvi Bvi", out)
        self.assertIn("reported by 0, 1\n", out)

    def test_key_beyond_64_bits(self):
        key = (1 << 96) + 0x40020005
        out = self.explain(hex(key))
        self.assertIn(f"Key {key:#x} ({key})\n", out)
        self.assertIn("It has bits above bit 31", out)
        self.assertIn("Expected by no interface\n", out)
        (self.folder / "pidb_gre_intf_0.dat").write_text(json.dumps({7: {"erif": key, "drif": 8}}))
        (self.folder / "pmdb_0.dat").write_text(json.dumps({key: {}, key % 2**64: {}}))
        (self.folder / "pmdb_1.dat").write_text(json.dumps({key % 2**64: {}}))
        out = self.explain(key)
        self.assertIn("\n  gre, handle 0x7 (7)\n    encapsulation RIF", out)
        self.assertIn("  held by      0\n  missing in   1, RP0, RP1\n", out)

    def test_nearest_key_differs_in_fewest_fields_then_least(self):
        tunnels = {7: {"erif": 0x10, "drif": 0x13}, 8: {"erif": 0x20011, "drif": (1 << 96) + 0x12}}
        for path in self.folder.iterdir():
            path.unlink()
        (self.folder / "pidb_gre_intf_0.dat").write_text(json.dumps(tunnels))
        for key, nearest, difference in (
            (0x12, "0x13", "RIF or LIF 19 instead of 18"),  # 0x20011 has another port too
            (0x11, "0x10", "RIF or LIF 16 instead of 17"),
            (0x30011, "0x20011", "source port 2 instead of 3"),
            (0x40020011, "0x20011", "layer-2 flag 0 instead of 1"),
            (1 << 96, "0x1000000000000000000000012", "RIF or LIF 18 instead of 0"),
        ):
            words = " ".join(self.explain(key).split())
            self.assertIn(f"nearest expected key, {nearest}, has {difference}", words)

    def test_no_dump(self):
        empty = WORK / "empty"
        empty.mkdir()
        self.assertEqual(self.explain(8, folder=empty, status=3), "")
        self.assertEqual(self.err, f"zorbec: {empty}: holds no dumps of a check\n")
        self.assertEqual(self.explain(8, folder=WORK / "nowhere", status=3), "")
        self.assertEqual(self.err, f"zorbec: {WORK / 'nowhere'}: No such file or directory\n")

    def test_no_dump_that_can_be_read(self):
        for path in self.folder.glob("*.dat"):
            path.write_text("{")
        self.assertEqual(self.explain(8, status=3), "")
        self.assertTrue(self.err.endswith(f"zorbec: {self.folder}: no dump can be read\n"))

    def test_bad_key(self):
        for key in ("", "0x", "7f", "0x7g", "0x-7", "1 2", "9" * 5000):
            self.assertEqual(self.explain(key, status=64), "")
            self.assertIn("neither decimal digits nor 0x", self.err)
        self.explain(status=64)

    def test_unknown_node(self):
        self.assertEqual(self.explain(8, "--node", "RP7", status=64), "")
        self.assertIn("there is no dump of node RP7; did you mean: RP0, RP1", self.err)
        self.explain(8, "--node", "Bermuda", status=64)
        self.assertIn("there are dumps of: 0, 1, RP0, RP1", self.err)


class Healthy(ExplainTest):
    @classmethod
    def setUpClass(cls):
        _, cls.tmp = checked_router("healthy")

    def test_every_expected_key_is_held_by_all(self):
        dumps = sorted(self.tmp.glob("pidb_*_1.dat"))
        self.assertEqual(len(dumps), 6)
        for path in dumps:
            for handle in list(json.loads(path.read_text()))[:3]:
                out = self.explain(handle)
                self.assertIn("  held by      0, 1, RP0, RP1\n  missing in   none\n", out)


def main():
    global LAB, ZORBEC, WORK
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--lab", type=Path, required=True)
    parser.add_argument("--zorbec", type=Path, required=True)
    parser.add_argument("--work", type=Path, required=True)
    options = parser.parse_args()
    LAB, ZORBEC, WORK = (p.resolve() for p in (options.lab, options.zorbec, options.work))
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    return not unittest.main(argv=sys.argv[:1], exit=False, verbosity=2).result.wasSuccessful()


if __name__ == "__main__":
    sys.exit(main())
