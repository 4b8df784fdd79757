#!/usr/bin/python3
"""Checks on machines that lack something: room, descriptors, processes, memory, streams, time.

    environment_test.py --lab ZORBEC_LAB --host ZORBEC_HOST --faulty-host ZORBEC_FAULTY_HOST
                        --zorbec ZORBEC --work DIR [TEST...]
"""

import fcntl
import json
import os
import random
import sys
import time

sys.dont_write_bytecode = True

import faulty_run
from check_run import finding_lines
from faulty_run import CHECKS, FAILED, PATIENCE, WAIT_FOR_ORPHANS
from faulty_run import FaultTest, complaints, outcome

REFUSES_WORK = (2, 3)  # exit codes of a check that does not vouch for anything
BROKEN = "write standard output: Broken pipe"
# As many as there are: where the programs are below the machine's /tmp, their folder is one.
NO_MORE_FILES = "nr_inodes=$(($(df --output=iused /tmp | tail -n 1)))"


class Room(FaultTest):
    def test_full_tmp(self):
        for room in (4, 16, 64):
            for check, step in CHECKS.items():
                with self.subTest(room=room, check=check):
                    shell = self.run_host(step, f"mount -o remount,size={room}k /tmp")
                    self.assert_honest(shell, check, "No space left on device", "not valid JSON")
        self.assertIn("write /tmp/", self.run_host("run:0", "mount -o remount,size=4k /tmp").errors)

    def test_no_file_can_be_made_in_tmp(self):
        shell = self.run_host("run:0", f"mount -o remount,{NO_MORE_FILES} /tmp")
        self.assertEqual(shell.status, FAILED)
        self.assertIn("open /tmp/output_file.txt: No space left on device", shell.errors)

    def test_read_only_tmp(self):
        for step in CHECKS.values():
            shell = self.run_host(step, "mount -o remount,ro /tmp")
            self.assertEqual((shell.status, shell.output), (FAILED, ""))
            self.assertRegex(
                shell.errors,
                "^zorbec: run failed: .* /tmp/output_file.txt: Read-only file system\n$",
            )

    def test_check_vouches_for_nothing_in_a_full_or_read_only_tmp(self):
        for option in ("size=4k", "size=16k", NO_MORE_FILES, "ro"):
            with self.subTest(option=option):
                shell = self.run_script(
                    f'mount -o remount,{option} /tmp; exec "$ZORBEC" check all --json -'
                )
                self.assertIn(shell.returncode, REFUSES_WORK, shell.output)
                self.assertIn("/tmp/", shell.errors)


class Limits(FaultTest):
    def test_64_descriptors_are_enough(self):
        for check, step in CHECKS.items():
            self.assert_sound(self.run_host(step, "ulimit -n 64"), check)

    def test_too_few_descriptors(self):
        failed = 0
        for most in range(5, 16, 2):
            for check, step in CHECKS.items():
                with self.subTest(most=most, check=check):
                    shell = self.run_host(step, f"ulimit -n {most}")
                    self.assert_honest(shell, check, "Too many open files", "Bad file descriptor")
                    failed += bool(shell.errors)
        self.assertGreater(failed, 0)

    def test_memory(self):
        """From hardly enough to be loaded to more than enough; threads have stacks of 8 MiB."""
        seen = set()
        for megabytes in (*range(10, 60, 8), *range(60, 400, 40)):
            for check, step in CHECKS.items():
                with self.subTest(megabytes=megabytes, check=check):
                    shell = self.run_host(step, f"ulimit -v {megabytes * 1024}")
                    if shell.status is None:
                        self.assertTrue(shell.errors)  # not brought up
                        continue
                    seen.add(shell.errors == "")
                    self.assert_honest(shell, check, "emory", "Resource temporarily unavailable")
        self.assertEqual(seen, {True, False})

    def test_check_with_little_memory(self):
        for megabytes in range(10, 120, 10):
            with self.subTest(megabytes=megabytes):
                shell = self.run_script(
                    f"ulimit -v {megabytes * 1024}\n"
                    'exec "$ZORBEC" check all --quiet --json "$WORK/report"'
                )
                self.assertIn(shell.returncode, (1, *REFUSES_WORK), shell.errors)
                if shell.returncode == 1:
                    report = json.loads((self.work / "report").read_bytes())
                    confirmed = {f["text"] for f in report["findings"] if f["confirmed"]}
                    known = {*self.sound["interfaces"], *self.sound["multicast"]}
                    self.assertLessEqual(confirmed, known)

    def test_file_size_ends_no_host(self):
        for kilobytes in (0, 1, 4):
            for check, step in CHECKS.items():
                with self.subTest(kilobytes=kilobytes, check=check):
                    shell = self.run_script(
                        f'ulimit -f {kilobytes}; exec "$HOST" /dev/null init {step} finalize'
                    )
                    self.assertEqual(shell.returncode, 0, shell.errors)
                    if kilobytes == 0:
                        continue  # no command can answer, and a router without nodes is checked
                    shell.status = FAILED if "zorbec: run failed: " in shell.errors else 0
                    self.assert_honest(shell, check, "File too large", "not valid JSON")

    def test_check_with_a_file_size(self):
        for kilobytes in (0, 1, 4):
            shell = self.run_script(f'ulimit -f {kilobytes}; exec "$ZORBEC" check all')
            self.assertIn(shell.returncode, REFUSES_WORK, shell.errors)
            self.assertIn("File too large", shell.errors)


class Processes(FaultTest):
    """Needs root, which has no limit of processes, to become a user who has."""

    USER = 54321  # hardly anybody's
    # Whatever mask all of it was made with, that user may read it.
    BECOME = f"""
        mkdir /tmp/bin
        cp "$HOST" /tmp/bin/host
        cp "$(dirname "$HOST")"/libzorbec.so.0 /tmp/bin
        chmod -R a+rX /tmp/bin /pkg
        chmod -R a+rwX /pkg/lab/nodes
        cd /tmp; export HOME=/tmp LD_LIBRARY_PATH=/tmp/bin
        become() {{ setpriv --reuid {USER} --regid {USER} --clear-groups bash -c "$1"; }}
    """

    def run_limited(self, step, limit):
        shell = self.run_script(
            self.BECOME + f'become "{limit} exec bin/host status init {step} finalize"\n'
            "cat status >&2"
        )
        *lines, status = shell.errors.splitlines(keepends=True)
        shell.status, shell.errors = int(status), "".join(lines)
        return shell

    def test_another_user_runs_it_alike(self):
        for check, step in CHECKS.items():
            self.assert_sound(self.run_limited(step, ""), check)

    def test_too_few_processes(self):
        seen = set()
        for most in (1, 2, 4, 40):
            for check, step in CHECKS.items():
                with self.subTest(most=most, check=check):
                    shell = self.run_limited(step, f"ulimit -u {most};")
                    self.assert_honest(shell, check, "Resource temporarily unavailable")
                    seen.add(shell.status)
        self.assertEqual(seen, {0, FAILED})


class Streams(FaultTest):
    def test_no_file_gets_the_number_of_a_closed_stream(self):
        """Not even for a moment, in which a finding could be written to it."""
        for check, step in CHECKS.items():
            for closed in ("<&-", ">&-", "2>&-", "<&- >&- 2>&-"):
                before = f"export FAULTY_CALLS=trapped; exec {closed}"
                shell = self.run_host(step, before, host="$FAULTY_HOST")
                self.assertEqual((shell.returncode, shell.status), (0, 0), shell.errors)
                if ">&- " not in closed + " ":
                    self.assertEqual(finding_lines(shell.output), self.sound[check])

    def stalled(self, script, flags=0):
        """A script whose standard output is a full pipe, and the end of the pipe that is read."""
        read_end, write_end = os.pipe()
        self.addCleanup(os.close, read_end)
        fcntl.fcntl(write_end, fcntl.F_SETPIPE_SZ, 4096)
        os.write(write_end, b"x" * 4096)
        fcntl.fcntl(write_end, fcntl.F_SETFL, flags)
        process = self.start(script, stdout=write_end)
        os.close(write_end)
        return process, read_end

    def drained(self, process, read_end):
        text = b""
        while piece := os.read(read_end, 65536):
            text += piece
        _, process.errors = process.communicate(timeout=PATIENCE)
        return text[4096:].decode()

    def test_reader_that_stops_is_waited_for(self):
        for flags in (0, os.O_NONBLOCK):
            for check, step in CHECKS.items():
                script = f'exec "$HOST" /dev/null init {step} finalize'
                process, read_end = self.stalled(script, flags)
                time.sleep(1)
                self.assertIsNone(process.poll())
                text = self.drained(process, read_end)
                self.assertEqual((process.returncode, process.errors), (0, ""))
                self.assertEqual(finding_lines(text), self.sound[check])

    def test_reader_that_stops_holds_up_a_check_beyond_its_deadline(self):
        process, read_end = self.stalled(
            'exec "$ZORBEC" check all --deadline 1 --json "$WORK/report" --jsonl "$WORK/events"'
        )
        time.sleep(2)
        self.assertIsNone(process.poll())
        self.assertIn('"missing_key"', (self.work / "events").read_text())
        self.drained(process, read_end)
        report = json.loads((self.work / "report").read_bytes())
        self.assertEqual(report["ended_early"], "deadline")
        self.assertEqual(report["exit_code"], process.returncode)

    def closed_reader(self, script):
        read_end, write_end = os.pipe()
        os.close(read_end)
        process = self.start(script, stdout=write_end)
        os.close(write_end)
        _, errors = process.communicate(timeout=PATIENCE)
        return process.returncode, errors.splitlines()

    def test_reader_that_is_gone_ends_no_host(self):
        for check, step in CHECKS.items():
            status = self.work / "status"
            code, errors = self.closed_reader(
                f'"$HOST" "{status}" init {step} finalize; code=$?; '
                'cat /tmp/debug_logs_* >"$WORK/logs" 2>&-; exit $code'
            )
            self.assertEqual((code, status.read_text()), (0, "0\n"))
            self.assertTrue(errors)
            for line in errors:
                self.assertRegex(line, r"^zorbec: node \S+: verify(_mcast)?: " + BROKEN + "$")
            self.assertEqual(len(errors), len(set(errors)), "each worker says so once")
            if check == "interfaces":
                logged = (self.work / "logs").read_text().count("MISSING PMDB Key ")
                self.assertEqual(logged, len(errors))  # up to the first that could not be told

    def test_reader_that_is_gone_ends_no_check(self):
        code, errors = self.closed_reader('exec "$ZORBEC" check all --json "$WORK/report"')
        self.assertEqual(code, 3)
        self.assertIn("zorbec: cannot write the report: " + BROKEN, errors)
        self.assertTrue(json.loads((self.work / "report").read_bytes())["findings"])


class Signals(FaultTest):
    def test_host_that_ignores_the_end_of_children(self):
        for check, step in CHECKS.items():
            self.assert_sound(self.run_host(step, "trap '' CHLD"), check)

    def test_check_started_so(self):
        shell = self.run_script("trap '' CHLD; exec \"$ZORBEC\" check all --quiet --json -")
        self.assertEqual((shell.returncode, shell.errors), (1, ""))
        texts = {finding["text"] for finding in json.loads(shell.output)["findings"]}
        self.assertEqual(texts, {*self.sound["interfaces"], *self.sound["multicast"]})


class Habits(FaultTest):
    def test_nobody_sees_interrupted_or_short_calls(self):
        for check, step in CHECKS.items():
            steps = ["init", step, "finalize"]
            host = faulty_run.OPTIONS.faulty_host
            sound = outcome(host, steps, self.work / "sound")
            for habit in ("interrupted", "short", "waiting"):
                with self.subTest(check=check, habit=habit):
                    faulty = outcome(host, steps, self.work / habit, {"FAULTY_CALLS": habit})
                    self.assertEqual(complaints(sound, faulty), "")


class Killed(FaultTest):
    def test_next_run_is_right(self):
        """Whenever a run or a check before it was killed."""
        options = faulty_run.OPTIONS
        moments = random.Random(20)
        for check, step in CHECKS.items():
            steps = ["init", step, "finalize"]
            first = outcome(options.host, steps, self.work / "first")
            for number in range(options.times // 2):
                seconds = round(moments.uniform(0, 0.12), 4)
                run = f"{options.host} /dev/null init {step}"
                if number % 2:
                    run = f"{options.zorbec} check {check}"
                killed = f"sh:{run} >/dev/null & sleep {seconds}; kill -9 $! 2>&- || true"
                with self.subTest(killed=killed):
                    all_steps = [killed, WAIT_FOR_ORPHANS, *steps]
                    again = outcome(options.host, all_steps, self.work / "again")
                    self.assertEqual(complaints(first, again), "")


if __name__ == "__main__":
    faulty_run.main()
