"""What the tests of this folder share: scripts on the small router, and what a sound run leaves."""

import argparse
import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))

from check_run import finding_lines
from outcome import Outcome, comparable_file, comparable_stdout, difference
from outcome import nodes_among, shared_files
from faulty_router import make_router

PATIENCE = 60  # seconds until something that must happen soon is taken to have failed
FAILED = 4294967294  # the status of a run whose main thread failed
CHECKS = {"interfaces": "run:0", "multicast": "run:1"}
OPTIONS = None

# A step of zorbec_host: waits for the commands that a killed checker has left behind. They are the
# lab's children then, beside the host.
WAIT_FOR_ORPHANS = """sh:lab=$(cut -d' ' -f4 /proc/$PPID/stat)
until [ "$(cat /proc/$lab/task/$lab/children)" = "$PPID " ]; do sleep 0.01; done"""


class FaultTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = OPTIONS.work / cls.__name__
        shutil.rmtree(cls.work, ignore_errors=True)
        cls.work.mkdir(parents=True)
        cls.router = cls.work / "router"
        make_router(OPTIONS.lab, cls.router)
        cls.sound = {check: cls.sound_findings(step) for check, step in CHECKS.items()}

    @classmethod
    def sound_findings(cls, step):
        shell = cls.run_script(f'exec "$HOST" /dev/null init {step} finalize')
        findings = finding_lines(shell.output)
        if shell.returncode != 0 or shell.errors or sum(findings.values()) < 5:
            raise RuntimeError(f"without a fault: {shell}")
        return findings

    @classmethod
    def start(cls, script, **streams):
        """A shell script on the router: $HOST and $FAULTY_HOST are programs that take the steps of
        zorbec_host, $ZORBEC is the command, $WORK the test's folder."""
        pipes = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        environment = {
            **os.environ,
            "HOST": str(OPTIONS.host),
            "FAULTY_HOST": str(OPTIONS.faulty_host),
            "ZORBEC": str(OPTIONS.zorbec),
            "WORK": str(cls.work),
        }
        command = [OPTIONS.lab, "run", cls.router, "--", "bash", "-c", script]
        return subprocess.Popen(command, text=True, env=environment, **{**pipes, **streams})

    @classmethod
    def run_script(cls, script, **streams):
        """Its output and errors are texts of these names."""
        process = cls.start(script, **streams)
        try:
            process.output, process.errors = process.communicate(timeout=PATIENCE)
        finally:
            process.kill()
        return process

    def run_host(self, step, before="", host="$HOST"):
        """One run, with its status as `status`."""
        shell = self.run_script(
            f'status=$WORK/status; : >"$status"\n{before}\n'
            f'exec "{host}" "$status" init {step} finalize'
        )
        status = (self.work / "status").read_text().split()
        shell.status = int(status[0]) if status else None
        return shell

    def assert_sound(self, shell, check):
        self.assertEqual((shell.status, shell.errors), (0, ""))
        self.assertEqual(finding_lines(shell.output), self.sound[check])

    def assert_honest(self, shell, check, *reasons):
        """The run is right, or has said what is not, for one of these reasons."""
        self.assertIn(shell.status, (0, FAILED), shell.errors)
        if shell.status == 0 and not shell.errors:
            self.assert_sound(shell, check)
            return
        self.assertEqual(shell.status == FAILED, "zorbec: run failed: " in shell.errors)
        self.assertRegex(shell.errors, "|".join(map(re.escape, reasons)))
        if "dump_task: " not in shell.errors:
            self.assertLessEqual(finding_lines(shell.output), self.sound[check])


def outcome(host, steps, work, variables=None):
    """What these steps leave on the router."""
    return Outcome(
        OPTIONS.lab, host, steps, work, lambda router: make_router(OPTIONS.lab, router), variables
    )


def complaints(expected, found):
    """Where two outcomes differ in more than what they leave to chance."""
    names = expected.files.keys()
    nodes = nodes_among(names)
    out = difference("statuses", str(expected.statuses), str(found.statuses[-1:]))
    out += difference("standard error", expected.stderr, found.stderr)
    texts = (comparable_stdout(run.stdout, nodes) for run in (expected, found))
    out += difference("findings", *texts)
    # The command that came last, of whichever node.
    chance = {"zorbec0.log", *shared_files(names)}
    of_check = {"zorbec.lock", "zorbec_report.json"}
    out += difference("names", str(sorted(names)), str(sorted(found.files.keys() - of_check)))
    for name in names - chance:
        files = (comparable_file(name, run.files.get(name, b"")) for run in (expected, found))
        out += difference(name, *files)
    return out


def main():
    global OPTIONS
    parser = argparse.ArgumentParser()
    for name in ("lab", "host", "faulty-host", "zorbec", "work"):
        parser.add_argument(f"--{name}", type=lambda path: Path(path).resolve(), required=True)
    parser.add_argument("--times", type=int, default=20, help="how often a check is killed")
    parser.add_argument("tests", nargs="*", metavar="TEST")
    OPTIONS = parser.parse_args()
    unittest.main(argv=[sys.argv[0], *OPTIONS.tests])
