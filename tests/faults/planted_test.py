#!/usr/bin/python3
"""Checks in a /tmp in which another user has taken names: links, FIFOs, folders, files of his own.

    planted_test.py --lab ZORBEC_LAB --host ZORBEC_HOST --faulty-host ZORBEC_FAULTY_HOST
                    --zorbec ZORBEC --work DIR [TEST...]

The kernel may be set to refuse to follow links, and to open FIFOs and files of others, in such a
folder. What is expected here holds either way.
"""

import json
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True

import faulty_run
from check_run import findings_of
from faulty_run import CHECKS, PATIENCE, FaultTest, finding_lines, outcome

PLANTED = Path(__file__).resolve().parent / "planted.py"
REPLACED = ("link", "dangling", "hard_link", "fifo", "socket", "file")
LOCK = "zorbec.lock"
# Written by scp, or by the shell for a tool, and by nobody else.
OF_COMMANDS = ("pidb_physical_0.dat", "pidb_gre_intf_1.dat", "pmdb_RP0.dat", "log")


class Planted(FaultTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.names = {check: cls.names_after(step) for check, step in CHECKS.items()}

    @classmethod
    def names_after(cls, step):
        """All that a run leaves in /tmp, and the one file that it removes."""
        host, work = faulty_run.OPTIONS.host, cls.work / "names"
        left = outcome(host, ["init", step, "finalize"], work).files
        return sorted({*left, "pidb_gre_intf.dat"})

    def assert_clean(self, told, code):
        self.assertEqual((told["exit"], told["errors"], told["complaints"]), (code, "", []))

    def run_planted(self, kind, names, *command):
        planted = [sys.executable, PLANTED, kind, *names, "--", *command]
        result = subprocess.run(
            [faulty_run.OPTIONS.lab, "run", self.router, "--", *planted],
            stdout=subprocess.PIPE, check=True, timeout=2 * PATIENCE,
        )  # fmt: skip
        return json.loads(result.stdout)

    def run_planted_host(self, kind, names, step):
        host = faulty_run.OPTIONS.host
        return self.run_planted(kind, names, host, "/dev/null", "init", step, "finalize")

    def run_check(self, kind, names):
        command = [faulty_run.OPTIONS.zorbec, "check", "all", "--quiet", "--json", "-"]
        return self.run_planted(kind, names, *command)

    def test_every_name_is_known(self):
        known = {*OF_COMMANDS, "debug_logs_RP0.txt", "zorbec0.log"}
        self.assertLessEqual(known, {*self.names["interfaces"]})
        self.assertGreater(len(self.names["interfaces"]), 25)
        self.assertGreater(len(self.names["multicast"]), 10)

    def test_runs_replace_all_but_folders(self):
        for check, step in CHECKS.items():
            for kind in REPLACED:
                with self.subTest(check=check, kind=kind):
                    told = self.run_planted_host(kind, self.names[check], step)
                    self.assert_clean(told, 0)
                    self.assertEqual(finding_lines(told["output"]), self.sound[check])

    def test_check_replaces_all_but_folders(self):
        names = {*self.names["interfaces"], *self.names["multicast"], "zorbec_report.json"}
        for kind in REPLACED:
            with self.subTest(kind=kind):
                told = self.run_check(kind, sorted(names))
                self.assert_clean(told, 1)
                expected = self.sound["interfaces"] + self.sound["multicast"]
                self.assertEqual(findings_of(json.loads(told["output"])), expected)

    def test_folder_is_told_by_path(self):
        """Nobody removes it: what it holds may be somebody's."""
        for check, step in CHECKS.items():
            for name in self.names[check]:
                with self.subTest(check=check, name=name):
                    told = self.run_planted_host("folder", [name], step)
                    self.assertEqual(told["exit"], 0)
                    self.assertIn(f"unlink /tmp/{name}: Is a directory\n", told["errors"])

    def test_lock_is_no_others_file(self):
        for kind in ("folder", *REPLACED):
            if kind == "file":
                continue  # that may be a lock: somebody ran the first check here
            with self.subTest(kind=kind):
                told = self.run_check(kind, [LOCK])
                self.assertEqual((told["exit"], told["output"]), (3, ""))
                self.assertIn("/tmp/zorbec.lock", told["errors"])
                self.assertEqual(told["complaints"], [f"{LOCK} is still what was planted"])

    def test_copy_of_another_user_is_not_taken_for_the_nodes(self):
        """Not even where none arrives in its place."""
        script = """
            copy=/tmp/pidb_physical_0.dat
            echo '{}' >$copy; chown 65534 $copy; chmod 666 $copy
            ln -sf /bin/false /pkg/bin/scp
            exec "$HOST" /dev/null init run:0 finalize
        """
        shell = self.run_script(script)
        self.assertIn("dump_task: stat /tmp/pidb_physical_0.dat: No such file", shell.errors)

    def test_nobody_may_do_more_than_the_umask_allows(self):
        """With a umask of 0 everybody may write the files: such a host asks for it."""
        for umask in ("077", "022", "000"):
            for command in (
                f'"$HOST" /dev/null init {" ".join(CHECKS.values())} finalize',
                '"$ZORBEC" check all --quiet',
            ):
                with self.subTest(umask=umask, command=command):
                    shell = self.run_script(
                        f"umask {umask}; {command} >/dev/null\n"
                        r"find /tmp -maxdepth 1 -type f -printf '%m %f\n'"
                    )
                    modes = dict(line.split()[::-1] for line in shell.output.splitlines())
                    self.assertGreater(len(modes), 35)
                    for name, mode in modes.items():
                        allowed = (0o644 if name == LOCK else 0o666) & ~int(umask, 8)
                        if name.endswith(".dat"):  # scp has a say in it
                            self.assertEqual(int(mode, 8) & ~allowed, 0, name)
                        else:
                            self.assertEqual(int(mode, 8), allowed, name)


if __name__ == "__main__":
    faulty_run.main()
