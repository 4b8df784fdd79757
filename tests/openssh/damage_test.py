#!/usr/bin/python3
"""A check over the real ssh and scp when a node's server, sessions or disk are damaged.

    damage_test.py --lab ZORBEC_LAB --zorbec ZORBEC --host ZORBEC_HOST --work DIR [--all] [TEST...]

Each damage hits line card 0 of a router on which both cards lack a key. The other card's finding
must be there and certain; of card 0 nothing may be called consistent that the damage hides. The
library's run is held against the oracle's on the same router. --all waits as long as a slow node
really takes.
"""

import argparse
import json
import shutil
import subprocess
import sys
import time
import unittest
from collections import Counter
from pathlib import Path

SUPPORT = Path(__file__).resolve().parent.parent / "support"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SUPPORT))

from check_run import CheckRun, findings_of, need_schemas
from openssh import run_tests
from outcome import Outcome, comparable_stdout, difference, nodes_among

ORACLE = SUPPORT / "oracle.py"
ADDRESS = "192.0.16.1"  # of the damaged card
STEPS = ["init", "run:0", "run:1", "finalize"]
IMPATIENT_CLIENT = f"""
Host {ADDRESS}
  ConnectTimeout 2
  ServerAliveInterval 1
  ServerAliveCountMax 2
"""
SECONDS = 60  # until a check that nothing holds up has ended, on a busy machine
OPTIONS = None

# What is damaged, what ssh or scp say about it in output_file.txt, and which reason the damaged
# card's classes of interfaces then have; none if all that there is to know arrives.
DAMAGES = {
    "ServerDown": ("sshd down", "Connection refused", "unreachable"),
    "LoginRefused": ("sshd deny", "Permission denied (publickey)", "unreachable"),
    "OtherHostKey": ("sshd other-key", "Host key verification failed", "unreachable"),
    "Banner": ("sshd banner", "Authorised access only", None),
    # Tools and copies both meet the profile's text; only a copy cannot live with it.
    "ChattyProfile": ("sshd chatty", "Received message too long", "unreachable"),
    "FullDisk": ("tmp full 4", "No space left on device", "command failed"),
    "CopyCutOff": ("scp cut 3000", "Connection closed", "unreachable"),
    "CopyRefused": ("scp refuse", "Connection closed", "unreachable"),
    "CopyRubbish": ("scp rubbish", None, "not JSON"),
    "CommandsRubbish": ("ssh rubbish", "No such file or directory", "command failed"),
    "CommandsAbsent": ("ssh absent", "/pkg/bin/ssh: No such file", "command failed"),
}
KEY_CLASSES = {"physical", "physical-subif", "bundle", "bundle-subif", "bvi", "gre", "leak"}


def generate(folder, *defects):
    """Two cards with ports and bundles, a few of each, and three multicast routes. The seed lets a
    defect of its own fall to each card.
    """
    size = ["--seed", 9, "--line-cards", 2, "--interfaces", 30, "--bundles", 1, "--multicast", 3]
    command = [OPTIONS.lab, "generate", folder, *size, *defects]
    subprocess.run([str(word) for word in command], check=True)


class DamageTest(unittest.TestCase):
    def setUp(self):
        self.work = OPTIONS.work / self.id().replace("__main__.", "")
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir(parents=True)
        self.router = self.work / "router"
        self.options = ["--openssh"]
        generate(self.router, "--defect", "missing-physical:2")

    def damage(self, text):
        (self.router / "damage.txt").write_text(f"{ADDRESS} {text}\n")

    def use_client_options(self, text):
        (self.work / "ssh_config").write_text(text)
        self.options += ["--ssh-config", self.work / "ssh_config"]

    def check(self, *arguments):
        """Its report, which must hold together."""
        options = [*self.options, "--tmp", self.work / "tmp"]
        run = CheckRun(
            OPTIONS.lab, OPTIONS.zorbec, self.router, self.work / "check", arguments,
            lab_options=options,
        )
        self.assertEqual(run.complaints(), "")
        return run

    def errors(self):
        """What commands wrote on standard error; the multicast check begins the file anew."""
        return (self.work / "tmp/output_file.txt").read_text("utf-8", "replace")

    def planted(self):
        """The findings of each node's planted defects."""
        texts = {}
        with open(self.router / "planted.json", encoding="utf-8") as file:
            for defect in json.load(file)["defects"]:
                texts[defect["node"]] = [finding["text"] for finding in defect["findings"]]
        self.assertEqual(sorted(texts), ["0", "1"])
        return texts

    def verdicts(self, report, node):
        classes = next(n for n in report["nodes"] if n["name"] == node)["classes"]
        return {cell["class"]: (cell["verdict"], cell["reason"]) for cell in classes}

    def confirmed(self, report):
        return Counter({f["text"]: f["times"] for f in report["findings"] if f["confirmed"]})

    def expect_all_found(self, report):
        self.assertEqual(findings_of(report), Counter(sum(self.planted().values(), [])))
        for node in report["nodes"]:
            self.assertEqual(node["problems"], [], node["name"])
            self.assertNotIn("NOT VERIFIED", node["verdict"])

    def expect_only_healthy_card_known(self, report, reasons):
        planted = self.planted()
        self.assertEqual(self.confirmed(report), Counter(planted["1"]))
        damaged = self.verdicts(report, "0")
        for of in KEY_CLASSES:
            self.assertEqual(damaged[of][0], "NOT VERIFIED", of)
            self.assertIn(damaged[of][1], reasons, of)
        self.assertEqual(self.verdicts(report, "1")["physical"][0], "INCONSISTENT")
        self.assertNotEqual(report["exit_code"], 0)


def add_damage(name, damage, complaint, reason):
    def test_check(self):
        self.damage(damage)
        report = self.check("interfaces").report
        if complaint:
            self.assertIn(complaint, self.errors())
        if reason is None:
            self.expect_all_found(report)
        else:
            self.expect_only_healthy_card_known(report, {reason})

    def test_library(self):
        self.damage(damage)
        outcomes = [
            Outcome(OPTIONS.lab, command, STEPS, self.work / which,
                    lambda to: shutil.copytree(self.router, to), lab_options=self.options)
            for command, which in ((OPTIONS.host, "checker"), (ORACLE, "oracle"))
        ]
        found, expected = outcomes
        nodes = nodes_among(found.files)
        self.assertEqual(found.statuses, expected.statuses)
        self.assertEqual(
            difference("stdout", comparable_stdout(expected.stdout, nodes),
                       comparable_stdout(found.stdout, nodes)), "")
        self.assertEqual(difference("calls", expected.call_lines(), found.call_lines()), "")
        self.assertEqual(list(found.files), list(expected.files))
        for text in self.planted()["1"]:
            self.assertIn(text, found.stdout)

    globals()[name] = type(name, (DamageTest,), {"test_check": test_check,
                                                 "test_library": test_library})


for row, (what, complaint_about_it, why) in DAMAGES.items():
    add_damage(row, what, complaint_about_it, why)


class Multicast(DamageTest):
    def test_answers_behind_a_profiles_text_are_read(self):
        self.damage("sshd chatty")
        report = self.check("multicast").report
        self.assertEqual((report["verdict"], report["exit_code"]), ("CONSISTENT", 0))

    def test_of_an_unreachable_card_is_not_verified(self):
        self.damage("sshd down")
        report = self.check("multicast").report
        self.assertEqual((report["verdict"], report["exit_code"]), ("NOT VERIFIED", 2))
        self.assertEqual(self.verdicts(report, "0")["multicast"], ("NOT VERIFIED", "unreachable"))


class SlowNode(DamageTest):
    def test_is_waited_for(self):
        seconds = 30
        self.damage(f"iftruth_dump late {seconds * 1000}")
        start = time.monotonic()
        self.expect_all_found(self.check("all").report)
        self.assertGreaterEqual(time.monotonic() - start, seconds)

    def test_whose_login_takes_its_time_is_waited_for(self):
        self.damage("ssh late 2000")
        self.expect_all_found(self.check("all").report)


class HangingNode(DamageTest):
    """What nobody answers is ended by the client's own limits, or by the check's deadline."""

    def check_within(self, *arguments):
        start = time.monotonic()
        report = self.check(*arguments).report
        self.assertLess(time.monotonic() - start, SECONDS)
        return report

    def test_server_hangs_and_the_client_gives_up(self):
        self.use_client_options(IMPATIENT_CLIENT)
        self.damage("sshd hang")
        report = self.check_within("interfaces")
        self.assertIn("timed out", self.errors())
        self.expect_only_healthy_card_known(report, {"unreachable"})

    def test_server_hangs_until_the_deadline(self):
        self.damage("sshd hang")
        report = self.check_within("interfaces", "--deadline", "5")
        self.assertEqual(report["ended_early"], "deadline")
        self.assertEqual({v for v, _ in self.verdicts(report, "0").values()} - {"BY DESIGN"},
                         {"NOT VERIFIED"})

    def test_copy_stalls_and_the_client_gives_up(self):
        self.use_client_options(IMPATIENT_CLIENT)
        self.damage("scp stall 3000")
        report = self.check_within("interfaces")
        self.assertIn("not responding", self.errors())
        self.expect_only_healthy_card_known(report, {"unreachable"})

    def test_copy_stalls_until_the_deadline(self):
        self.damage("scp stall 3000")
        report = self.check_within("interfaces", "--deadline", "5")
        self.assertEqual(report["ended_early"], "deadline")
        self.assertNotIn("CONSISTENT", {v for v, _ in self.verdicts(report, "0").values()})


class Shared(DamageTest):
    """Connections that commands share, as the client's own configuration allows."""

    def test_findings_are_the_same(self):
        folder = "/tmp/mux"
        self.use_client_options(
            f"ControlMaster auto\nControlPath {folder}/%C\nControlPersist 60\n"
        )
        (self.router / "tmp/mux").mkdir(parents=True)
        self.expect_all_found(self.check("all").report)
        self.assertEqual(self.errors(), "")


def main():
    global OPTIONS
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--lab", type=Path, required=True)
    parser.add_argument("--zorbec", type=Path, required=True)
    parser.add_argument("--host", type=Path, required=True)
    parser.add_argument("--work", type=Path, required=True)
    parser.add_argument("tests", nargs="*", metavar="TEST")
    OPTIONS = parser.parse_args()
    need_schemas()
    for name in ("lab", "zorbec", "host", "work"):
        setattr(OPTIONS, name, getattr(OPTIONS, name).resolve())
    return run_tests(OPTIONS.tests)


if __name__ == "__main__":
    sys.exit(main())
