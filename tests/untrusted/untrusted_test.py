#!/usr/bin/python3
"""Nothing that comes out of a dump or a command can run a command, or name a file.

    untrusted_test.py --lab ZORBEC_LAB --host ZORBEC_HOST --work DIR

Texts that a shell would act upon stand wherever a router's answers can hold a text. Whatever the
check makes of them, the commands that are called and the files that are left are those of a check.
"""

import argparse
import json
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

SUPPORT = Path(__file__).resolve().parent.parent / "support"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SUPPORT))

from outcome import Outcome

OPTIONS = None

MARK = "owned"  # the file in /tmp that any of these would make
HOSTILE = {
    "separated": f"1; touch /tmp/{MARK} #",
    "piped": f"1|touch /tmp/{MARK}",
    "in_background": f"1&touch /tmp/{MARK}",
    "substituted": f"$(touch /tmp/{MARK})",
    "in_backquotes": f"`touch /tmp/{MARK}`",
    "redirected": f"1>/tmp/{MARK}",
    "on_a_line_of_its_own": f"1\ntouch /tmp/{MARK}\n",
    "out_of_quotes": f"';touch /tmp/{MARK};'",
    "out_of_double_quotes": f'";touch /tmp/{MARK};"',
    "with_blanks_of_its_own": f"1;touch${{IFS}}/tmp/{MARK}",
    "of_another_folder": f"../{MARK}",
}

# What a check of the generated router may call, its numbers and words aside.
CALLS = re.compile(
    r"/pkg/bin/relinfo_print|/pkg/bin/nodemap_query -v|confdump -c -l 1 -t 1 -o 1"
    r"|confdump -c -q gl/early/hw-module/profile/bundle-scale/"
    r"|ifmgr_print database -i \d+ -l 0x2"
    r"|ssh -o StrictHostKeyChecking=no ? 192\.0\.\d+\.1 (?:cat /proc/uptime"
    r"|/pkg/bin/iftruth_dump -g|/pkg/bin/hwkey_dump -g|/pkg/bin/tunnel_db_print database"
    r"|/pkg/bin/mcroute_print -cmd 0x9|/pkg/bin/fwdobj_print -t 0xbe -l 0 -o b"
    r"|/pkg/bin/hwkey_dump -r 0x[0-9a-f]+)"
    r"|scp root@192\.0\.\d+\.1:/tmp/\w+\.dat /tmp/\w+\.dat"
)
FILES = re.compile(
    r"(?:log|output_file\.txt|zorbec(?:0|_\w+|pidb_\w+|pmdb_\w+)\.log|\w+\.dat"
    r"|\w*debug_logs\w*\.txt"
    r"|mribdump\.txt|mplsmdtbud\.txt|pmdbdump\.txt)"
)


def change(path, edit):
    path.write_text(edit(path.read_text("utf-8")), "utf-8")


def change_dump(path, edit):
    dump = json.loads(path.read_text("utf-8"))
    path.write_text(json.dumps(edit(dump)), "utf-8")


def card(router):
    return router / "nodes" / "192.0.16.1"


def first(dump):
    return next(iter(dump))


# A place: a function that puts a text there. Each record of a dump has the fields of its class.


def name_in(dump):
    def put(router, text):
        change_dump(card(router) / "dumps" / dump, lambda d: {text: d[first(d)], **d})

    return put


def every_field_in(dump):
    def put(router, text):
        change_dump(
            card(router) / "dumps" / dump,
            lambda d: {**d, first(d): {field: text for field in d[first(d)]}},
        )

    return put


def field_in(dump, field):
    def put(router, text):
        change_dump(
            card(router) / "dumps" / dump,
            lambda d: {**d, first(d): {**d[first(d)], field: text}},
        )

    return put


def field_name_in(dump):
    def put(router, text):
        field_in(dump, text)(router, text)

    return put


def whole(name):
    def put(router, text):
        for path in router.glob(name):
            path.write_text(text, "utf-8")

    return put


def behind(name, pattern):
    """The text in place of the value that stands behind the pattern."""

    def put(router, text):
        paths = list(router.glob(name))
        assert paths, name
        for path in paths:
            before = path.read_text("utf-8")
            after = re.sub(rf"({pattern})[^,\n)]*", lambda match: match[1] + text, before)
            assert before != after, name
            path.write_text(after, "utf-8")

    return put


def bundle_scale(router, text):
    (router / "bundle-scale.txt").write_text(f"bundle-scale {text}\n", "utf-8")


def interface_manager(router, text):
    (router / "ifmgr").mkdir(exist_ok=True)
    for defect in json.loads((router / "planted.json").read_text("utf-8"))["defects"]:
        (router / "ifmgr" / str(defect["key"])).write_text(text, "utf-8")


PIDB = ["pidb_physical", "pidb_physical_subif", "pidb_bundle", "pidb_bundle_subif",
        "pidb_bvi_intf", "pidb_gre_intf"]
PLACES = {
    **{f"{dump}_name": (0, name_in(f"{dump}.dat")) for dump in PIDB},
    **{f"{dump}_fields": (0, every_field_in(f"{dump}.dat")) for dump in PIDB},
    **{f"{dump}_field_name": (0, field_name_in(f"{dump}.dat")) for dump in PIDB},
    "sub_interfaces_of_a_bundle": (0, field_in("pidb_bundle.dat", "subiflist")),
    "keys_of_an_interface": (0, field_in("pidb_physical.dat", "key_list")),
    "pmdb_fields": (0, every_field_in("pmdb.dat")),
    "pmdb_field_name": (0, field_name_in("pmdb.dat")),
    "pmdb_mark": (0, field_in("pmdb.dat", "visited")),
    "banner": (0, whole("banner.txt")),
    "configuration": (0, whole("config.txt")),
    "bundle_scale": (0, bundle_scale),
    "interface_manager": (0, interface_manager),
    "output_of_dump_tools": (0, whole("nodes/192.0.16.1/out/*")),
    "route_rpf_id": (1, behind("nodes/192.0.1.1/out/mcroute_print", "RPF-ID: ")),
    "route_handle": (1, behind("nodes/192.0.1.1/out/mcroute_print", "MDT Handle: ")),
    "route_rif": (1, behind("nodes/192.0.1.1/out/mcroute_print", "Tunnel RIF: ")),
    "bud_name": (1, behind("nodes/192.0.16.1/out/fwdobj_print", r"mplsmdtbud\(id: ")),
    "bud_rif": (1, behind("nodes/192.0.16.1/out/fwdobj_print", "tun_rif => ")),
    "key_handle": (1, behind("nodes/192.0.16.1/rifs/*", "intf_info.port_ifh: ")),
    "key_rif": (1, behind("nodes/192.0.16.1/rifs/*", "intf_info.rif: ")),
}


def check(case, mode, put):
    """The outcome of one check with the text put into its place."""

    def make_router(router):
        shutil.copytree(OPTIONS.work / "router", router)
        put(router)

    return Outcome(OPTIONS.lab, OPTIONS.host, ["init", f"run:{mode}", "finalize"],
                   OPTIONS.work / case, make_router)


class Untrusted(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(OPTIONS.work, ignore_errors=True)
        subprocess.run(
            [OPTIONS.lab, "generate", OPTIONS.work / "router", "--interfaces", "12", "--line-cards",
             "1", "--physical", "2", "--bundles", "1", "--bundle-subifs", "1", "--bvis", "1",
             "--gre", "1", "--multicast", "2", "--defect", "leaked:2"],
            check=True)

    def assert_only_a_check(self, outcome):
        self.assertEqual(outcome.exit, 0, outcome.stderr)
        self.assertNotIn(MARK, outcome.files)
        for name in outcome.files:
            self.assertRegex(name, rf"\A{FILES.pattern}\Z")
        self.assertTrue(outcome.calls)
        for call in outcome.calls:
            self.assertRegex(" ".join(call["argv"]), rf"\A(?:{CALLS.pattern})\Z")

    def test_texts_act_where_a_shell_sees_them(self):
        """The texts do what they are here for."""
        for name, text in HOSTILE.items():
            if name in ("out_of_quotes", "out_of_double_quotes", "of_another_folder"):
                continue
            with self.subTest(name):
                folder = OPTIONS.work / "shell"
                shutil.rmtree(folder, ignore_errors=True)
                folder.mkdir()
                line = text.replace("/tmp/", f"{folder}/")
                subprocess.run(["bash", "-c", f"echo {line}"], check=False, cwd=folder,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                self.assertEqual([path.name for path in folder.iterdir()], [MARK])

    def test_no_text_of_a_router_runs_a_command_or_names_a_file(self):
        for place, (mode, put) in PLACES.items():
            for name in ("separated", "substituted", "on_a_line_of_its_own"):
                text = HOSTILE[name]
                with self.subTest(place=place, text=name):
                    self.assert_only_a_check(
                        check("run", mode, lambda router, put=put, text=text: put(router, text)))

    def test_no_key_text_reaches_a_shell_that_would_act_upon_it(self):
        plain = {"number_in_other_form", "of_another_folder"}
        texts = {**HOSTILE, "empty": "", "number_in_other_form": "0x1f"}
        for name, text in texts.items():
            with self.subTest(text=name):
                outcome = check(
                    "key", 0, lambda router, text=text: name_in("pmdb.dat")(router, text))
                self.assertNotIn(MARK, outcome.files)
                asked = [call["argv"][3] for call in outcome.calls
                         if call["argv"][0] == "ifmgr_print"]
                if name in plain:
                    self.assertIn(text, asked)
                    continue
                self.assertNotIn(text, asked)
                self.assert_only_a_check(outcome)
                lines = outcome.stderr_lines
                self.assertEqual(len(lines), 1, outcome.stderr)
                escaped = text.replace("\\", "\\\\").replace("\n", "\\n").replace('"', '\\"')
                self.assertIn(f'"{escaped}"', lines[0])


def main():
    global OPTIONS
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--lab", type=Path, required=True)
    parser.add_argument("--host", type=Path, required=True)
    parser.add_argument("--work", type=Path, required=True)
    OPTIONS, rest = parser.parse_known_args()
    OPTIONS.lab, OPTIONS.host = OPTIONS.lab.resolve(), OPTIONS.host.resolve()
    OPTIONS.work = OPTIONS.work.resolve()
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
