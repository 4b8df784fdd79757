#!/usr/bin/python3
"""The lab's nodes behind the real ssh and scp: what they show, and that nothing of them is left.

    lab_test.py --lab ZORBEC_LAB --work DIR [TEST...]
"""

import argparse
import json
import os
import shutil
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

SUPPORT = Path(__file__).resolve().parent.parent / "support"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SUPPORT))

from openssh import run_tests

PATIENCE = 60  # seconds
OPTIONS = None
CARDS = ("192.0.16.1", "192.0.17.1")
# But for the folder of the programs, where that is below the machine's /tmp.
FILES_IN_TMP = "find /tmp -mindepth 1 -maxdepth 1 ! -type d -printf '%f\\n' | sort"


class LabTest(unittest.TestCase):
    def setUp(self):
        self.work = OPTIONS.work / self.id().replace("__main__.", "")
        shutil.rmtree(self.work, ignore_errors=True)
        self.router = self.work / "router"
        self.write("banner.txt", "the banner\n")
        for card in CARDS:
            self.write(f"nodes/{card}/dumps/pmdb.dat", f"keys of {card}")
            self.write(f"nodes/{card}/out/hwkey_dump", "done\n")
        self.write(f"nodes/{CARDS[0]}/uptime", "86407.25 54321.00\n")
        self.write(f"nodes/{CARDS[1]}/tmp/old", "left here\n")

    def write(self, name, text):
        path = self.router / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def start(self, script, *options):
        # Ended by communicate() or by the clean-up.
        # pylint: disable-next=consider-using-with
        process = subprocess.Popen(
            [OPTIONS.lab, "run", "--openssh", *options, self.router, "--", "bash", "-c", script],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
        )
        self.addCleanup(process.__exit__, None, None, None)
        self.addCleanup(process.kill)
        return process

    def run_script(self, script, *options):
        process = self.start(script, *options)
        process.out, process.err = process.communicate(timeout=PATIENCE)
        return process

    def expect(self, script, out, *options):
        process = self.run_script(script, *options)
        self.assertEqual(process.out, out, process.err)
        return process


class Nodes(LabTest):
    def test_each_has_a_tmp_of_its_own(self):
        self.expect(
            "for n in 16 17; do ssh 192.0.$n.1 /pkg/bin/hwkey_dump -g; ssh 192.0.$n.1 ls /tmp; done"
            ";" + FILES_IN_TMP,
            "done\npmdb.dat\ndone\nold\npmdb.dat\n",
        )

    def test_copies_are_those_of_the_node(self):
        self.expect(
            "for n in 16 17; do ssh 192.0.$n.1 /pkg/bin/hwkey_dump -g >&2;"
            " scp root@192.0.$n.1:/tmp/pmdb.dat /tmp/$n; cat /tmp/$n; echo; done",
            "keys of 192.0.16.1\nkeys of 192.0.17.1\n",
        )

    def test_uptime_is_the_nodes(self):
        self.expect(f"ssh {CARDS[0]} cat /proc/uptime", "86407.25 54321.00\n")
        self.expect(f"ssh {CARDS[1]} cat /proc/uptime", "")

    def test_has_no_files_but_its_own(self):
        self.expect(f"ssh {CARDS[0]} 'ls -A /etc /root /run /tmp; test -e /pkg/bin/ssh'; echo $?",
                    "/etc:\ngroup\npasswd\n\n/root:\n\n/run:\nsshd\n\n/tmp:\n1\n")

    def test_status_is_the_tools(self):
        self.expect(f"ssh {CARDS[0]} /pkg/bin/hwkey_dump -x 2>&-; echo $?; "
                    f"ssh {CARDS[0]} 'exit 7'; echo $?", "2\n7\n")


class Copies(LabTest):
    def test_of_a_missing_file_leaves_none(self):
        process = self.expect(f"scp root@{CARDS[0]}:/tmp/none /tmp/x; echo $?;" + FILES_IN_TMP,
                              "1\n")
        self.assertIn("No such file or directory", process.err)

    def test_of_a_missing_file_leaves_an_old_one(self):
        self.expect("echo stale >/tmp/x; "
                    f"scp root@{CARDS[0]}:/tmp/none /tmp/x; echo $?; cat /tmp/x", "1\nstale\n")

    def test_replaces_what_a_link_leads_to(self):
        self.expect(f"ln -s y /tmp/x; scp root@{CARDS[1]}:/tmp/old /tmp/x; cat /tmp/y;"
                    + FILES_IN_TMP, "left here\nx\ny\n")


class Addresses(LabTest):
    def test_that_nobody_owns_fails_at_once(self):
        start = time.monotonic()
        process = self.expect("ssh 192.0.99.1 true; echo $?; scp 192.0.99.1:/tmp/x /tmp; echo $?",
                              "255\n255\n")
        self.assertLess(time.monotonic() - start, 20)
        self.assertIn("unreachable", process.err)

    def test_outside_the_router_are_out_of_reach(self):
        self.expect("cut -d: -f1 /proc/net/dev | tail -n +3 | tr -d ' '", "lo\n")

    def test_that_are_none_are_refused(self):
        self.write("nodes/card/uptime", "1 1\n")
        process = self.run_script("true")
        self.assertEqual(process.returncode, 125)
        self.assertIn("card", process.err)


class Calls(LabTest):
    def test_are_those_of_the_simulated_tools(self):
        script = (
            "ssh  -o 'StrictHostKeyChecking=no ' 192.0.16.1 /pkg/bin/hwkey_dump -g;"
            "scp root@192.0.16.1:/tmp/pmdb.dat /tmp/x; relinfo_print; ssh 192.0.99.1 true; true"
        )
        both = []
        for options in ([], ["--openssh"]):
            calls = self.work / "calls"
            calls.unlink(missing_ok=True)
            subprocess.run(
                [OPTIONS.lab, "run", *options, "--calls", calls, self.router, "--", "bash", "-c",
                 script], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True,
                timeout=PATIENCE,
            )
            lines = [json.loads(line) for line in calls.read_text().splitlines()]
            both.append([(line["argv"], line["exit"]) for line in lines])
        self.assertEqual(both[0], both[1])
        self.assertEqual([status for _, status in both[1]], [0, 0, 0, 255])


class Leftovers(LabTest):
    """A process is told from a later one with the same id by when it started."""

    @staticmethod
    def started(pid):
        try:
            status = Path(f"/proc/{pid}/stat").read_text("utf-8")
        except OSError:
            return None
        return status.rpartition(")")[2].split()[19]

    def processes_below(self, pid):
        found = set()
        try:
            children = Path(f"/proc/{pid}/task/{pid}/children").read_text("utf-8").split()
        except OSError:
            return found
        for child in children:
            found |= {(child, self.started(child))} | self.processes_below(child)
        return found

    def wait_for_end(self, processes):
        give_up = time.monotonic() + PATIENCE
        left = processes
        while left:
            left = {(pid, start) for pid, start in processes if self.started(pid) == start}
            self.assertLess(time.monotonic(), give_up, left)
            time.sleep(0.05)

    def wait_for_servers(self, process, number):
        """All processes of the lab, once so many of them serve nodes or sessions."""
        give_up = time.monotonic() + PATIENCE
        while True:
            processes = self.processes_below(process.pid)
            names = [Path(f"/proc/{pid}/comm") for pid, _ in processes]
            if sum(n.exists() and n.read_text() == "sshd\n" for n in names) >= number:
                return processes
            self.assertLess(time.monotonic(), give_up)
            time.sleep(0.05)

    def test_none_behind_the_command(self):
        process = self.start("ssh 192.0.16.1 'sleep 600' & sleep 3")
        processes = self.wait_for_servers(process, 3)  # one of them the session's
        self.assertEqual(process.wait(PATIENCE), 0)
        self.wait_for_end(processes)

    def test_none_behind_a_killed_lab(self):
        process = self.start("sleep 600")
        processes = self.wait_for_servers(process, 2)
        process.kill()
        process.wait()
        self.wait_for_end(processes)

    def test_a_signal_ends_the_command(self):
        process = self.start("echo up; exec sleep 600")
        self.assertEqual(process.stdout.readline(), "up\n")
        processes = self.processes_below(process.pid)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(PATIENCE), 128 + signal.SIGTERM)
        self.wait_for_end(processes)

    def test_nothing_in_the_machines_folders(self):
        def seen():
            return [sorted(os.listdir(folder)) for folder in ("/etc/ssh", "/run", "/root", "/pkg")
                    if os.path.isdir(folder)]

        before = seen()
        self.expect("ssh 192.0.16.1 'echo here; touch /root/x /run/x /etc/x'; ls /etc/ssh",
                    "here\nssh_config\nssh_known_hosts\nuser_key\nuser_key.pub\n")
        self.assertEqual(seen(), before)


class ClientConfiguration(LabTest):
    def test_own_lines_come_first(self):
        config = self.work / "ssh_config"
        config.write_text("ConnectTimeout 7")
        self.expect("ssh -G 192.0.16.1 | grep -E '^(connecttimeout|batchmode) '",
                    "batchmode yes\nconnecttimeout 7\n", "--ssh-config", config)

    def test_must_be_there(self):
        process = self.run_script("true", "--ssh-config", self.work / "none")
        self.assertEqual(process.returncode, 125)


def main():
    global OPTIONS
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--lab", type=Path, required=True)
    parser.add_argument("--work", type=Path, required=True)
    parser.add_argument("tests", nargs="*", metavar="TEST")
    OPTIONS = parser.parse_args()
    OPTIONS.lab, OPTIONS.work = OPTIONS.lab.resolve(), OPTIONS.work.resolve()
    return run_tests(OPTIONS.tests)


if __name__ == "__main__":
    sys.exit(main())
