#!/usr/bin/python3
"""Tests of `zorbec check` as people and scripts meet it: options, exit codes, signals, the lock.

    check_test.py --lab ZORBEC_LAB --zorbec ZORBEC --work DIR [TEST...]
"""

import argparse
import json
import os
import pty
import re
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

from check_run import finding_lines, findings_of, need_schemas, schema_complaints, validator

PATIENCE = 60  # seconds until something that must happen soon is taken to have failed
FOREVER = 600_000  # milliseconds; nobody waits for that
OPTIONS = None

# Stands before a script in which ssh ignores that it is to end.
STUBBORN_SSH = """
mkdir /tmp/bin
printf '#!/bin/sh\\ntrap "" TERM\\n: >"%s/stubborn"\\nexec sleep 600\\n' "$WORK" >/tmp/bin/ssh
chmod +x /tmp/bin/ssh
export PATH=/tmp/bin:$PATH
"""

# Stands before a script in which ssh reads what it finds on standard input, as the real one does.
READING_SSH = """
mkdir /tmp/bin
printf '#!/bin/sh\\ncat >/dev/null\\nexec /pkg/bin/ssh "$@"\\n' >/tmp/bin/ssh
chmod +x /tmp/bin/ssh
export PATH=/tmp/bin:$PATH
"""


def generate(router, *arguments):
    """Two cards, a port of theirs and more of every class, and three routes."""
    size = ["--physical", 3, "--physical-subifs", 2, "--bundles", 1, "--bundle-subifs", 1]
    size += ["--bvis", 1, "--gre", 1]
    if "--model" not in arguments:
        size += ["--line-cards", 2, "--multicast", 3]
    command = [OPTIONS.lab, "generate", router, *size, *arguments]
    subprocess.run([str(word) for word in command], check=True)


def steps_of_problems(report):
    """Where problems came up, wherever they stand in a report."""
    values = report.values() if isinstance(report, dict) else report
    parts = [value for value in values if isinstance(value, (dict, list))]
    own = {report["where"]} if isinstance(report, dict) and "where" in report else set()
    return own.union(*map(steps_of_problems, parts))


class CheckTest(unittest.TestCase):
    def setUp(self):
        self.work = OPTIONS.work / self.id()
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir(parents=True)
        self.router = self.work / "router"

    def make_router(self, *arguments, damage=""):
        generate(self.router, *arguments)
        self.damage(damage)

    def damage(self, line):
        (self.router / "damage.txt").write_text(line + "\n")

    def card_is_slow(self, milliseconds=FOREVER):
        self.damage(f"192.0.17.1 ssh late {milliseconds}")

    def start(self, script, **streams):
        """A shell script on the router; $ZORBEC is the command, $WORK the test's folder."""
        kinds = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        environment = {"TERM": "xterm", **os.environ}
        environment.pop("NO_COLOR", None)
        environment.update(ZORBEC=str(OPTIONS.zorbec), WORK=str(self.work))
        command = [OPTIONS.lab, "run", self.router, "--", "sh", "-c", script]
        # Ended by communicate() or by give_up().
        # pylint: disable-next=consider-using-with
        process = subprocess.Popen(command, text=True, env=environment, **{**kinds, **streams})
        self.addCleanup(self.give_up, process)
        return process

    def give_up(self, process):
        """The lab ends with its command, and whatever runs on the router with the lab; killed, it
        would leave that running."""
        if process.poll() is None:
            process.terminate()
            try:
                process.communicate(timeout=5)
            except subprocess.TimeoutExpired:
                process.kill()

    def end(self, process):
        process.output, process.errors = process.communicate(timeout=PATIENCE)
        return process

    def run_script(self, script):
        return self.end(self.start(script))

    def check(self, arguments):
        return self.run_script(f'exec "$ZORBEC" check {arguments}')

    def start_check(self, arguments):
        """A check that has got as far as its dumps."""
        process = self.start(f'exec "$ZORBEC" check {arguments} --jsonl "$WORK/events"')
        self.wait_for_event("phase_started")
        return process

    def wait_for_event(self, name):
        events = self.work / "events"
        self.wait_until(lambda: events.exists() and f'"{name}"' in events.read_text())

    def wait_until(self, is_so):
        give_up = time.monotonic() + PATIENCE
        while not is_so():
            self.assertLess(time.monotonic(), give_up)
            time.sleep(0.02)

    def command_of(self, process):
        """The process that runs in the lab."""
        children = Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text("utf-8")
        return int(children.split()[0])

    def report(self, name="report"):
        report = json.loads((self.work / name).read_bytes())
        self.assertEqual(schema_complaints(name, report, validator("report")), "")
        return report

    def node(self, report, name):
        return next(node for node in report["nodes"] if node["name"] == name)


class ExitCodes(CheckTest):
    def expect(self, code, arguments="all"):
        shell = self.run_script(f'"$ZORBEC" check {arguments}; echo "exit status $?"')
        self.assertEqual(shell.output.splitlines()[-1], f"exit status {code}", shell.errors)
        return shell

    def test_0_consistent(self):
        self.make_router()
        self.assertIn("\nCONSISTENT", self.expect(0).output)

    def test_1_inconsistent(self):
        self.make_router("--defect", "missing-bvi")
        self.assertIn("\nINCONSISTENT", self.expect(1).output)

    def test_2_not_verified(self):
        self.make_router(damage="192.0.17.1 ssh refuse")
        self.assertIn("\nNOT VERIFIED", self.expect(2).output)

    def test_3_run_failed(self):
        self.make_router()
        with open(self.router / "nodemap.txt", "a", encoding="utf-8") as table:
            table.write("0/FC0/CPU0  LC (ACTIVE)  NONE  NODE READY  192.0.18.1\n")
        shell = self.expect(3)
        self.assertIn("\nRUN FAILED", shell.output)
        self.assertIn("FC0", shell.errors)

    def test_64_usage(self):
        self.make_router()
        for arguments in ("everything", "--colour", "--max-findings -1", "--deadline 0",
                          "--deadline nan", "--deadline 1e300", "--json - --jsonl -",
                          "--json /tmp/one --jsonl /tmp/one"):  # fmt: skip
            self.expect(64, arguments)

    def test_no_nodes_are_no_pass(self):
        self.make_router(damage="local nodemap_query none")
        self.expect(2)

    def test_no_programmed_keys_are_no_pass(self):
        self.make_router()
        for path in self.router.glob("nodes/*/dumps/p*.dat"):
            path.write_text("{}")
        self.expect(2, "interfaces")

    def test_card_without_any_interface_is_no_pass(self):
        self.make_router()
        for path in self.router.glob("nodes/192.0.17.1/dumps/pidb_*.dat"):
            path.write_text("{}")
        shell = self.expect(2, 'interfaces --json "$WORK/report"')
        self.assertIn("the node reports no interface at all", shell.output)
        reasons = {cell["reason"] for cell in self.node(self.report(), "1")["classes"]}
        self.assertIn("nothing to compare", reasons)

    def test_node_whose_name_another_one_took_is_no_pass(self):
        self.make_router()
        table = self.router / "nodemap.txt"
        lines = table.read_text().splitlines(keepends=True)
        card = next(line for line in lines if line.startswith("0/1/CPU0"))
        lost = card.replace("192.0.17.1", "192.0.99.9")
        table.write_text("".join(lines).replace(card, lost + card.replace("0/1/", "1/1/")))
        self.assertIn("192.0.99.9", self.expect(2).output)

    def test_two_nodes_with_one_address_are_no_pass(self):
        self.make_router()
        table = self.router / "nodemap.txt"
        table.write_text(table.read_text().replace("192.0.17.1", "192.0.16.1"))
        self.assertIn("same address", self.expect(2, "interfaces").output)

    def test_failed_tool_is_seen_by_whom_ignores_his_children(self):
        self.make_router(damage="192.0.17.1 hwkey_dump exit 3")
        old = self.router / "nodes/192.0.17.1/tmp"
        old.mkdir()
        shutil.copy(self.router / "nodes/192.0.17.1/dumps/pmdb.dat", old)
        shell = self.run_script("""bash -c 'trap "" CHLD; "$ZORBEC" check; echo $?'""")
        self.assertEqual(shell.output.split()[-1], "2")

    def test_copy_from_the_future_is_no_pass(self):
        self.make_router(damage="192.0.17.1 scp none")
        shell = self.run_script(
            'cd "$WORK/router/nodes/192.0.17.1/dumps"\n'
            'for f in *.dat; do cp $f /tmp/${f%.dat}_1.dat; done; touch -d "+1 day" /tmp/*_1.dat\n'
            '"$ZORBEC" check; echo $?'
        )
        self.assertEqual(shell.output.split()[-1], "2")
        self.assertIn("in the future", " ".join(shell.output.split()))

    def test_leaks_that_nobody_could_be_asked_about_are_no_findings(self):
        self.make_router("--defect", "leaked-bundle:2")
        self.expect(0)
        for how in ("exit 1", "absent"):
            self.damage(f"local ifmgr_print {how}")
            self.expect(2)

    def test_handles_that_cannot_be_read_are_no_findings(self):
        self.make_router(damage="192.0.17.1 hwkey_dump rubbish")
        self.expect(2, "multicast")

    def test_single_processor_has_no_multicast_state_to_check(self):
        self.make_router("--model", "9")
        self.expect(0, 'all --json "$WORK/report"')
        report = self.report()
        self.assertEqual(report["checks"], ["interfaces"])
        self.assertIn("single-processor", str(report["not_looked_at"]))


class Output(CheckTest):
    def test_quiet_writes_nothing(self):
        self.make_router("--defect", "missing-bvi")
        check = self.check("all --quiet")
        self.assertEqual((check.returncode, check.output, check.errors), (1, "", ""))

    def test_standard_input_is_left_to_the_caller(self):
        self.make_router()
        check = self.run_script(
            READING_SSH + 'echo next line | { "$ZORBEC" check --quiet; echo status $?; cat; }'
        )
        self.assertEqual(check.output, "status 0\nnext line\n", check.errors)

    def test_finding_lines_come_first_then_the_summary(self):
        self.make_router("--defect", "leaked:2")
        check = self.check('interfaces --json "$WORK/report"')
        lines = check.output.splitlines()
        self.assertEqual(finding_lines("\n".join(lines[:2])), findings_of(self.report()))
        self.assertIn("Coverage: ", check.output)

    def test_max_findings_leaves_rows_out(self):
        self.make_router("--defect", "leaked:5", "--defect", "missing-bvi", "--defect",
                         "missing-gre", "--defect", "missing-physical")  # fmt: skip
        none = self.check("interfaces --max-findings 0").output
        rows = int(re.search(r"\.\.\. and (\d+) more\n", none)[1])
        self.assertGreaterEqual(rows, 4)  # different classes are never folded
        two = self.check("interfaces --max-findings 2").output
        self.assertIn(f"... and {rows - 2} more\n", two)
        all_rows = self.check(f'interfaces --max-findings {rows} --json "$WORK/report"')
        self.assertNotIn(" more\n", all_rows.output)
        self.assertEqual(finding_lines(all_rows.output), findings_of(self.report()))

    def test_json_on_standard_output_is_alone_there(self):
        self.make_router("--defect", "leaked:2")
        check = self.check("all --json -")
        report = json.loads(check.output)
        self.assertEqual(schema_complaints("report", report, validator("report")), "")
        self.assertEqual(sum(findings_of(report).values()), 2)

    def test_events_on_standard_output_are_alone_there(self):
        self.make_router("--defect", "leaked:2", "--defect", "mcast-missing-bud")
        events = [json.loads(line) for line in self.check("all --jsonl -").output.splitlines()]
        for event in events:
            self.assertEqual(schema_complaints("event", event, validator("events")), "")
        names = [event["event"] for event in events]
        self.assertEqual((names[0], names[-1]), ("check_started", "check_ended"))
        self.assertEqual(names.count("leaked_key"), 2)

    def test_report_is_left_in_tmp_as_well(self):
        self.make_router()
        check = self.run_script(
            '"$ZORBEC" check --json "$WORK/report" >/dev/null && cat /tmp/zorbec_report.json'
        )
        self.assertEqual(check.output, (self.work / "report").read_text())

    def test_report_that_cannot_be_written_fails_the_run(self):
        self.make_router()
        check = self.check("--json /nowhere/report")
        self.assertEqual(check.returncode, 3)
        self.assertIn("Coverage: ", check.output)
        self.assertEqual(len(check.errors.splitlines()), 1)
        self.assertIn("/nowhere/report", check.errors)

    def test_two_runs_differ_in_times_only(self):
        self.make_router("--defect", "leaked:3", "--defect", "missing-bundle", "--standby",
                         damage="192.0.16.1 pidb_bvi_intf.dat empty")  # fmt: skip
        self.run_script('for n in 1 2; do "$ZORBEC" check all --quiet --json "$WORK/$n"; done')
        texts = {}
        for name in ("1", "2"):
            report = self.report(name)
            report["started"] = report["seconds"] = None
            for node in report["nodes"]:
                for dump in node["dumps"]:
                    dump["modified"] = None
            texts[name] = json.dumps(report)
        self.assertEqual(texts["1"], texts["2"])

    def test_problem_says_at_which_step_it_came_up(self):
        self.make_router("--defect", "leaked")
        for damage, steps in (
            ("192.0.17.1 iftruth_dump exit 3", {"PIDB dump", "PIDB copy of physical"}),
            ("192.0.17.1 scp refuse", {"PIDB copy of physical"}),
            ("192.0.17.1 tunnel_db_print exit 3", {"GRE tunnels", "PIDB copy of gre"}),
            ("192.0.17.1 hwkey_dump exit 3", {"PMDB dump", "PMDB handles"}),
            ("192.0.17.1 fwdobj_print exit 3", {"bud objects"}),
            ("192.0.1.1 mcroute_print exit 3", {"routes"}),
            ("local ifmgr_print exit 3", {"leak check"}),
        ):
            with self.subTest(damage):
                self.damage(damage)
                self.check('all --quiet --json "$WORK/report"')
                self.assertEqual(steps_of_problems(self.report()), steps)

    def test_stale_copy_is_loaded_but_nothing_is_verified_by_it(self):
        self.make_router(damage="192.0.17.1 scp refuse")
        script = 'exec "$ZORBEC" check --json "$WORK/report"'
        for dump in sorted(self.router.glob("nodes/192.0.17.1/dumps/*.dat")):
            copy = f"/tmp/{dump.stem}_1.dat"
            script = f"cp '{dump}' {copy} && touch -d '3 days ago' {copy} && {script}"
        check = self.run_script(script)
        self.assertEqual(check.returncode, 2)
        node = self.node(self.report(), "1")
        self.assertEqual(len(node["dumps"]), 7)
        self.assertTrue(all(dump["stale"] and dump["entries"] for dump in node["dumps"]))
        self.assertIn("stale", {problem["reason"] for problem in node["problems"]})
        self.assertEqual({cell["verdict"] for cell in node["classes"]}, {"NOT VERIFIED"})
        self.assertIn("older than this run by 3 days", str(node["problems"]))


class Selected(CheckTest):
    def test_only_the_node(self):
        self.make_router("--seed", "5", "--defect", "leaked")
        planted = json.loads((self.router / "planted.json").read_text())["defects"][0]["node"]
        for name, code in (("RP0", 0), ("0", 0), ("1", 0), (planted, 1)):
            if code == 0 and name == planted:
                continue
            check = self.check(f'--node {name} --json "$WORK/report"')
            report = self.report()
            self.assertEqual(check.returncode, code, check.output)
            self.assertEqual([node["name"] for node in report["nodes"]], [name])
            self.assertEqual(report["selection"], {"nodes": [name], "classes": None})
            self.assertEqual(len(report["findings"]), code)

    def test_only_the_classes(self):
        self.make_router("--defect", "missing-bvi")
        check = self.check('--class bundle --class gre --json "$WORK/report"')
        report = self.report()
        self.assertEqual((check.returncode, report["findings"]), (0, []))
        for node in report["nodes"]:
            self.assertEqual([cell["class"] for cell in node["classes"]], ["bundle", "gre"])
        self.assertEqual(self.check("--class bvi").returncode, 1)

    def test_unknown_names_are_usage_errors_that_list_near_ones(self):
        self.make_router()
        for arguments, near in (("--node RPO", "RP0"), ("--node rp0", "RP0"), ("--node 11", "1"),
                                ("--class bundel", "bundle"),
                                ("all --class multicats", "multicast"),
                                ("--class multicast", "it has: ")):  # fmt: skip
            check = self.check(arguments)
            self.assertEqual(check.returncode, 64, arguments)
            self.assertIn(near, check.errors.replace(arguments.split()[-1], ""), arguments)


class Terminal(CheckTest):
    def on_terminal(self, stream, script):
        """What comes on a stream that is a terminal."""
        master, slave = pty.openpty()
        process = self.start(script, **{stream: slave})
        os.close(slave)
        shown = b""
        try:
            while piece := os.read(master, 65536):
                shown += piece
        except OSError:
            pass  # that is how a terminal ends
        os.close(master)
        self.end(process)
        return shown.decode()

    def test_colour_on_a_terminal_only(self):
        self.make_router("--defect", "missing-bvi")
        self.assertIn("\x1b[", self.on_terminal("stdout", 'exec "$ZORBEC" check'))
        for before in ("NO_COLOR=1", "TERM=dumb"):
            shown = self.on_terminal("stdout", f'{before} exec "$ZORBEC" check')
            self.assertIn("INCONSISTENT", shown)
            self.assertNotIn("\x1b", shown)
        self.assertNotIn("\x1b", self.check("").output)

    def test_progress_on_a_terminal(self):
        self.make_router()
        self.card_is_slow(1000)
        shown = self.on_terminal("stderr", 'exec "$ZORBEC" check interfaces')
        self.assertIn("interfaces, dump: ", shown)
        self.assertIn("waiting for node 1: ssh ", shown)
        self.assertTrue(shown.endswith("\r\x1b[K"), "the line is cleared")

    def test_no_progress_elsewhere_unless_asked_for(self):
        self.make_router()
        self.card_is_slow(500)
        self.assertEqual(self.check("").errors, "")
        started = time.monotonic()
        lines = self.check("--progress").errors.splitlines()
        seconds = time.monotonic() - started
        self.assertIn("interfaces, dump: ", "\n".join(lines))
        self.assertLessEqual(len(lines), 10 * seconds + 1, "\n".join(lines))


class EndedEarly(CheckTest):
    def expect_report(self, reason):
        """The slow card was given up; the others' dumps were compared all the same."""
        report = self.report()
        self.assertEqual(report["ended_early"], reason)
        slow, sound = self.node(report, "1"), self.node(report, "0")
        self.assertEqual(slow["verdict"], "NOT VERIFIED")
        self.assertEqual({cell["reason"] for cell in slow["classes"]}, {reason})
        self.assertIn("CONSISTENT", {cell["verdict"] for cell in sound["classes"]})
        self.assertEqual(report["exit_code"], 2)

    def test_deadline(self):
        self.make_router()
        self.card_is_slow()
        # Long enough for the others on a busy machine.
        check = self.check('interfaces --deadline 5 --json "$WORK/report"')
        self.assertEqual(check.returncode, 2)
        self.expect_report("deadline")
        self.assertIn("deadline", check.output)

    def test_deadline_does_not_hide_a_defect(self):
        self.make_router("--defect", "missing-physical:4")
        self.card_is_slow()
        check = self.check('interfaces --deadline 1 --json "$WORK/report"')
        report = self.report()
        self.assertNotEqual(check.returncode, 0)
        self.assertEqual(finding_lines(check.output), findings_of(report))

    def end_by(self, number):
        self.make_router()
        self.card_is_slow()
        check = self.start_check('interfaces --json "$WORK/report"')
        self.wait_until(self.others_are_done)
        check.send_signal(number)  # the lab passes it on
        self.end(check)
        self.assertEqual(check.returncode, 2)
        self.expect_report("interrupted")

    def others_are_done(self):
        return (self.work / "events").read_text().count('"worker_ended"') == 2

    def test_interrupt(self):
        self.end_by(signal.SIGINT)

    def test_termination(self):
        self.end_by(signal.SIGTERM)

    def test_command_that_ignores_it_is_killed_and_none_is_left(self):
        self.make_router()
        check = self.run_script(
            STUBBORN_SSH + '"$ZORBEC" check --quiet --deadline 1 --json "$WORK/report"\n'
            'echo "$? $$ $(cat /proc/$PPID/task/$PPID/children)"'
        )
        code, shell, *children = check.output.split()
        self.assertEqual(code, "2", check.errors)
        self.assertEqual(children, [shell])
        self.assertEqual(self.report()["ended_early"], "deadline")

    def test_redirected_command_is_not_left_behind(self):
        self.make_router(damage=f"192.0.17.1 tunnel_db_print late {FOREVER}")
        # What the check leaves behind is a child of the lab then, beside this script. What was told
        # to end may have to wait for a processor to do so.
        check = self.run_script(
            '"$ZORBEC" check --quiet --deadline 2; echo $?\n'
            'until [ "$(cat /proc/$PPID/task/$PPID/children)" = "$$ " ]; do sleep 0.1; done\n'
            "echo none"
        )
        self.assertEqual(check.output, "2\nnone\n", check.errors)

    def test_second_interrupt_ends_the_process(self):
        self.make_router()
        check = self.start(STUBBORN_SSH + 'exec "$ZORBEC" check --quiet')
        self.wait_until((self.work / "stubborn").exists)
        while check.poll() is None:
            check.send_signal(signal.SIGINT)
            time.sleep(0.3)
        self.end(check)
        self.assertEqual(check.returncode, 128 + signal.SIGINT)

    def test_status_line_when_asked(self):
        self.make_router()
        self.card_is_slow()
        check = self.start_check("interfaces")
        os.kill(self.command_of(check), signal.SIGUSR1)
        line = check.stderr.readline()
        self.assertRegex(line, r"^zorbec: interfaces, dump: \d of 3 nodes done")
        check.send_signal(signal.SIGTERM)
        self.end(check)
        self.assertNotIn("nodes done", check.errors)


class Lock(CheckTest):
    FIRST = """
        "$ZORBEC" check --quiet & first=$!
        until [ -s /tmp/zorbec.lock ]; do sleep 0.02; done
    """

    def test_second_check_is_told_who_holds_it(self):
        self.make_router()
        self.card_is_slow()
        shell = self.run_script(
            self.FIRST + 'echo $first; "$ZORBEC" check; echo $?; kill $first; wait $first'
        )
        first, code = shell.output.split()
        self.assertEqual(code, "3")
        self.assertIn("another check is running", shell.errors)
        self.assertIn(f"process {first} of user {os.getuid()}", shell.errors)

    def test_second_check_can_wait(self):
        self.make_router()
        self.card_is_slow(500)
        shell = self.run_script(
            self.FIRST + '"$ZORBEC" check --quiet --wait; echo $?; wait $first; echo $?'
        )
        self.assertEqual(shell.output.split(), ["0", "0"], shell.errors)
        self.assertIn("waiting for another check to end", shell.errors)

    def test_killed_check_holds_it_no_longer(self):
        self.make_router()
        self.card_is_slow()
        shell = self.run_script(
            self.FIRST + 'kill -9 $first; wait $first; [ -s /tmp/zorbec.lock ] && '
            '"$ZORBEC" check --quiet --deadline 1 --json "$WORK/report"; echo $?'
        )
        self.assertEqual(shell.output.split(), ["2"], shell.errors)
        self.assertEqual(self.report()["ended_early"], "deadline")

    def test_waiting_can_be_ended(self):
        self.make_router()
        self.card_is_slow()
        shell = self.run_script(
            self.FIRST + '"$ZORBEC" check --wait --deadline 1; echo $?; '
            'timeout --signal INT 1 "$ZORBEC" check --wait; echo $?; kill $first; wait $first'
        )
        self.assertEqual(shell.output.split(), ["3", "124"], shell.errors)
        self.assertEqual(shell.errors.count("another check is running"), 2)

    def test_file_of_another_name_is_not_written_to(self):
        self.make_router()
        shell = self.run_script(
            'echo mine >/tmp/other; ln /tmp/other /tmp/zorbec.lock; "$ZORBEC" check; echo $?; '
            "cat /tmp/other"
        )
        self.assertEqual(shell.output, "3\nmine\n")

    def test_closed_standard_streams_are_not_taken_for_the_lock(self):
        self.make_router()
        shell = self.run_script('"$ZORBEC" check >&- 2>&-; echo $?; wc -l </tmp/zorbec.lock')
        self.assertEqual(shell.output.split(), ["0", "1"])

    def test_what_is_no_file_is_no_lock(self):
        self.make_router()
        for make in ("mkfifo", "mkdir", "ln -s /tmp/other"):
            shell = self.run_script(f'{make} /tmp/zorbec.lock; "$ZORBEC" check; echo $?; ls /tmp')
            self.assertEqual(shell.output.split()[0], "3", make)
            self.assertEqual(len(shell.errors.splitlines()), 1, make)
            self.assertIn("/tmp/zorbec.lock", shell.errors)
            self.assertNotIn("other", shell.output.split())


def main():
    global OPTIONS
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--lab", type=lambda path: Path(path).resolve(), required=True)
    parser.add_argument("--zorbec", type=lambda path: Path(path).resolve(), required=True)
    parser.add_argument("--work", type=lambda path: Path(path).resolve(), required=True)
    parser.add_argument("tests", nargs="*", metavar="TEST")
    OPTIONS = parser.parse_args()
    need_schemas()
    unittest.main(argv=[sys.argv[0], *OPTIONS.tests])


if __name__ == "__main__":
    main()
