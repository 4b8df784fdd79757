#!/usr/bin/python3
"""A second, slow and obvious implementation of both checks.

    oracle.py STATUS_FILE STEP...

It takes the steps of zorbec_host and is run on the simulated router in its place. What it leaves
behind is what the checker is expected to leave behind. It has no threads: the workers of a phase
run one after the other, in node-table order, once all of them have been announced; each stage of
their work begins when all of them have done the one before.

Nothing here is shared with the checker, and nothing is done for speed.
"""

import json
import math
import os
import re
import subprocess
import sys
import traceback

FAILED = 2**32 - 2  # -2, as the host sees it
OWN_ADDRESS = "127.0.0.1"
SINGLE_PROCESSOR = (5, 7, 9)
SSH = "ssh  -o 'StrictHostKeyChecking=no' "

MODELS = [  # in this order: K310X holds K310
    ("KVR-7700", 3),
    ("KVR-330", 2),
    ("KVR-310 ()", 4),
    ("K310X", 9),
    ("K310", 5),
    ("KVR-78Q4", 7),
    ("DDC", 8),
    ("T4400-61QX-M2", 6),
]


class Failure(Exception):
    """Ends the worker, or the run when the main thread meets it."""


# Values of a dump ---------------------------------------------------------------------------------


class Integer:
    """A JSON number without fraction and exponent, which keeps the text that the dump gave it."""

    def __init__(self, text):
        self.text = text
        self.value = int(text)


class Float:
    """A JSON number with a fraction or an exponent, which keeps the text that the dump gave it."""

    def __init__(self, text):
        self.text = text
        self.value = float(text)


def refuse_constant(name):
    raise ValueError(f"{name} is not JSON")


def load_json(path):
    with open(path, "rb") as file:
        data = file.read()
    try:
        value = json.loads(
            data.decode("utf-8"),
            parse_int=Integer,
            parse_float=Float,
            parse_constant=refuse_constant,
        )
        on_one_line(value).encode("utf-8")  # half a surrogate pair is no text
        return value
    except (ValueError, RecursionError) as error:
        raise Failure(f"{path}: {error}") from error


def as_map(value, what):
    if not isinstance(value, dict):
        raise Failure(f"{what} is no map")
    return value


def as_list(value, what):
    if not isinstance(value, list):
        raise Failure(f"{what} is no list")
    return value


def read_field(record, name):
    if name not in as_map(record, f"the record that should hold {name}"):
        raise Failure(f"no field {name}")
    return record[name]


def look_up(table, key, what):
    if not isinstance(key, str) or key not in as_map(table, what):
        raise Failure(f"no {key} in {what}")
    return table[key]


def decimal(text):
    if not re.fullmatch("-?[0-9]+", text):
        raise Failure(f"'{text}' is no decimal number")
    return int(text)


def to_integer(value):
    """The integer that a value counts as in a key."""
    if isinstance(value, bool):
        return int(value)
    if isinstance(value, int):
        return value
    if isinstance(value, Integer):
        return value.value
    if isinstance(value, Float) and math.isfinite(value.value):
        return math.trunc(value.value)
    if isinstance(value, str):
        return decimal(value)
    raise Failure(f"{value!r} cannot be an integer")


def equals(value, number):
    """Numbers and truth values can equal a number; a text never does."""
    if isinstance(value, bool):
        return int(value) == number
    if isinstance(value, (Integer, Float)):
        return value.value == number
    return False


# Texts --------------------------------------------------------------------------------------------


def key_text(value):
    return hex(value)


def message_number(value):
    return hex(value) + ("L" if value >= 2**63 else "")


def split_lines(text):
    lines = text.split("\n")
    return lines[:-1] if lines[-1] == "" else lines


ESCAPES = {
    '"': '\\"', "\\": "\\\\",
    "\b": "\\b", "\f": "\\f", "\n": "\\n", "\r": "\\r", "\t": "\\t",
}  # fmt: skip


def quoted(text):
    out = ""
    for character in text:
        if character in ESCAPES:
            out += ESCAPES[character]
        elif ord(character) < 0x20:
            out += f"\\u{ord(character):04x}"
        else:
            out += character
    return f'"{out}"'


def scalar(value):
    if value is None:
        return "null"
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, (Integer, Float)):
        return value.text
    return quoted(value)


def members(value):
    """(prefix, entry) pairs in the order in which they are shown."""
    if isinstance(value, Entries):
        return [(quoted(str(number)) + ": ", value[number]) for number in value]
    if isinstance(value, dict):
        names = sorted(value, key=lambda name: name.encode("utf-8", "surrogateescape"))
        return [(quoted(name) + ": ", value[name]) for name in names]
    return [("", entry) for entry in value]


class Entries(dict):
    """A map from entry number to record, shown in the order in which the entries were found."""


def brackets(value):
    return "{}" if isinstance(value, dict) else "[]"


def on_one_line(value):
    if not isinstance(value, (dict, list)):
        return scalar(value)
    inside = ", ".join(prefix + on_one_line(entry) for prefix, entry in members(value))
    opening, closing = brackets(value)
    return opening + inside + closing


def shown(value, indent, prefix, comma):
    line = " " * indent + prefix + on_one_line(value) + comma
    if not isinstance(value, (dict, list)) or not value or len(line) <= 80:
        return line + "\n"
    opening, closing = brackets(value)
    out = " " * indent + prefix + opening + "\n"
    entries = members(value)
    for place, (name, entry) in enumerate(entries):
        out += shown(entry, indent + 1, name, "," if place + 1 < len(entries) else "")
    return out + " " * indent + closing + comma + "\n"


def pretty(value):
    return shown(value, 0, "", "")


# Texts of the multicast tools ---------------------------------------------------------------------


def between(text, separator):
    """What stands between the first separator and the next one or the end."""
    pieces = text.split(separator)
    if len(pieces) < 2:
        raise Failure(f"no '{separator}' in '{text}'")
    return pieces[1]


def clean(text):
    return re.sub("[^0-9A-Za-z]+", "", text)


def rif_text(text):
    """The hexadecimal text of a RIF that was printed in decimal."""
    digits = clean(text)
    if not re.fullmatch("0*[0-9]{1,4000}", digits):
        raise Failure(f"the RIF '{text}' is no decimal number")
    return hex(int(digits))


def entry_of(entries, number):
    if number not in entries:
        raise Failure(f"no entry {number}")
    return entries[number]


# Files and commands -------------------------------------------------------------------------------


def open_anew(path):
    """Makes the file under its name; whatever had that name goes, and no link is followed."""
    try:
        os.unlink(path)
    except FileNotFoundError:
        pass
    flags = os.O_RDWR | os.O_CREAT | os.O_EXCL | os.O_NOFOLLOW | os.O_CLOEXEC
    return os.fdopen(os.open(path, flags, 0o644), "w+b", buffering=0)


class Log:
    def __init__(self, path):
        self.file = open_anew(path)

    def write(self, text):
        self.file.write(text.encode("utf-8", "surrogateescape"))


def say(text):
    """One finding for the operator."""
    os.write(1, text.encode("utf-8", "surrogateescape"))


class Checker:
    """The shared run state and everything that works on it."""

    threads = 0  # counted over the life of the process

    def __init__(self):
        self.pmdb_keys = {}
        self.pidb_physical_ifh = {}
        self.pidb_physical_subifh = {}
        self.pidb_bundle_ifh = {}
        self.pidb_bundle_subifh = {}
        self.pidb_gre_ifh = {}
        self.pidb_bvi_ifh = {}
        self.nodeinfo = {}
        self.mribkeys = {}
        self.mcastpmdbkeys = {}
        self.mplsmdtbudobj = {}
        self.rifs = []
        self.router = 0
        self.db_file = None
        self.dl_fd = None

    def execute(self, command, suffix="0"):
        if "\0" in command:
            raise Failure(f"no shell can be given {command!r}")
        with open_anew(f"/tmp/zorbec{suffix}.log") as output:
            subprocess.run(
                ["/bin/bash", "-c", command], stdout=output, stderr=self.db_file, check=False
            )
            output.seek(0)
            return output.read().decode("utf-8", "surrogateescape")

    # Platform -------------------------------------------------------------------------------------

    def get_router_type(self):
        if self.router != 0:
            return self.router
        banner = self.execute("/pkg/bin/relinfo_print")
        found = re.findall("(.+?)(?=processor)", banner)
        model = found[0] if found else ""
        code = 1
        for text, its_code in MODELS:
            if text in model:
                code = its_code
                break
        self.router = code
        return code

    def get_rack_slot_ssp(self, node):
        if self.get_router_type() in (2, 5, 8, 9, 7):
            return 0
        return to_integer(node) & 63

    def get_bundle_scale(self):
        output = self.execute("confdump -c -q gl/early/hw-module/profile/bundle-scale/")
        found = re.search("hw-module profile bundle-scale ([0-9]+)", output)
        if "hw-module profile" not in output:
            return "256"
        if found is None:
            raise Failure("the bundle scale profile has no number")
        return found.group(1)

    def get_spa_mode(self):
        return {"256": 0, "512": 1, "1024": 2}.get(self.get_bundle_scale(), 10)

    def nodeinfo_init(self):
        def skeleton(nodeid):
            return {
                "nodeid": nodeid,
                "pidb_dump": 0,
                "nodetype": "None",
                "nodeip": "None",
                "act_standby": "None",
                "pmdb_dump": 0,
            }

        processors = ("D0", "D1") if self.router == 8 else ("RP0", "RP1")
        self.nodeinfo[processors[0]] = skeleton(4352)
        self.nodeinfo[processors[1]] = skeleton(4096)
        for slot in range(47 if self.router == 8 else 16):
            self.nodeinfo[str(slot)] = skeleton(slot)

    def get_list_of_vms(self):
        if self.router in SINGLE_PROCESSOR:
            self.nodeinfo = {
                "RP0": {
                    "pidb_dump": 1,
                    "is_active": 1,
                    "nodeid": 0,
                    "pmdb_dump": 1,
                    "nodeip": OWN_ADDRESS,
                }
            }
            return self.nodeinfo

        for line in split_lines(self.execute("/pkg/bin/nodemap_query -v")):
            fields = re.split("[ \t\n\r\f\v]+", line)

            def its_record(line=line, fields=fields):
                pieces = fields[0].split("/")
                if len(pieces) < 2:
                    raise Failure(f"no node name in the node table line '{line}'")
                if pieces[1] not in self.nodeinfo:
                    raise Failure(f"unknown node '{pieces[1]}'")
                return self.nodeinfo[pieces[1]]

            def field(number, line=line, fields=fields):
                if number >= len(fields):
                    raise Failure(f"too few fields in the node table line '{line}'")
                return fields[number]

            if "ACTIVE" in line:
                record = its_record()
                record["pidb_dump"] = 0
                record["nodetype"] = field(1)
                if field(1) != "RP":
                    record["pidb_dump"] = 1
                record["pmdb_dump"] = 1
                record["nodeip"] = field(6)
                record["act_standby"] = "Active"
            if "STANDBY" in line:
                record = its_record()
                record["pidb_dump"] = 0
                record["pmdb_dump"] = 1
                record["nodetype"] = field(1)
                record["nodeip"] = field(6)
                record["act_standby"] = "Standby"
            if self.router == 2:
                its_record()["pidb_dump"] = 1
        return self.nodeinfo

    # Keys -----------------------------------------------------------------------------------------

    def get_pmdb_key_value(self, agr, l2, rif_lif, ssp):
        if isinstance(rif_lif, Integer):
            rif_lif = rif_lif.value
        elif not isinstance(rif_lif, int):  # a truth value is an int
            raise Failure(f"{rif_lif!r} cannot be masked")
        value = to_integer(agr) << 31 | to_integer(l2) << 30
        value |= to_integer(ssp) << 16
        value |= rif_lif & 65535
        return key_text(value)

    def construct_key_db(self, record, intftype, ifh, node):
        key = self.get_pmdb_key_value
        keys = []
        if intftype != "gre":
            rif = read_field(record, "rif")
            lif = read_field(record, "lif")
            ssp = read_field(record, "ssp")
            slot = read_field(record, "slot")
        keys.append(key_text(to_integer(ifh)))

        if intftype == "bundle":
            if equals(read_field(record, "is_l2"), 1):
                keys.append(key(0, 1, lif, 0))
            else:
                keys.append(key(0, 0, rif, 0))
            record["key_list"] = keys
        elif intftype == "bvi":
            port = self.get_rack_slot_ssp(slot)
            keys.append(key(0, 1, lif, port))
            keys.append(key(0, 0, rif, 0))
            record["key_list"] = keys
        elif intftype == "gre":
            erif = read_field(record, "erif")
            drif = read_field(record, "drif")
            keys.append(key_text(to_integer(erif)))
            keys.append(key_text(to_integer(drif)))
            record["key_list"] = keys
        elif intftype == "bundle-subif":
            if equals(read_field(record, "is_l2"), 0):
                keys.append(key(0, 0, rif, 0))
            else:
                keys.append(key(0, 1, lif, 0))
            record["key_list"] = keys
        elif intftype == "physical":
            port = self.get_rack_slot_ssp(node)
            if equals(read_field(record, "is_l2"), 0):
                keys.append(key(0, 0, rif, 0))
                keys.append(key(0, 1, lif, port))
                keys.append(key(0, 0, 0, ssp))
            else:
                keys.append(key(0, 0, 0, ssp))
                keys.append(key(0, 1, lif, port))
                keys.append(key(0, 1, 0, ssp))
            if equals(read_field(record, "is_member"), 0):
                record["key_list"] = keys
            else:
                self.give_keys_to_bundle(record, keys[1:], node)
        elif intftype == "physical-subif":
            read_field(record, "parent_ifh")
            port = self.get_rack_slot_ssp(node)
            if equals(read_field(record, "is_l2"), 0):
                keys.append(key(0, 0, rif, 0))
            keys.append(key(0, 1, lif, port))
            record["key_list"] = keys

    def give_keys_to_bundle(self, member, keys, node):
        key = self.get_pmdb_key_value
        bundle_ifh = str(to_integer(read_field(member, "bundle_ifh")))
        bundles = look_up(self.pidb_bundle_ifh, node, "pidb_bundle_ifh")
        bundle = look_up(bundles, bundle_ifh, "pidb_bundle_ifh")
        spa_mode = 0 if self.get_router_type() == 9 else self.get_spa_mode()
        member_port = to_integer(read_field(member, "memid")) << (8 + spa_mode)
        member_port |= to_integer(read_field(member, "lagid"))
        read_field(bundle, "rif")
        bundle_lif = read_field(bundle, "lif")
        layer_2 = not equals(read_field(bundle, "is_l2"), 0)
        keys.append(key(1, 0, 0, member_port))
        if layer_2:
            keys.append(key(0, 1, bundle_lif, 0))
        bundle["key_list"] = bundle.get("key_list", []) + keys

        self.dl_fd.write("\nbundle_key_inputs:\n")
        self.dl_fd.write(pretty(bundle))
        if "subiflist" not in bundle:
            return
        self.dl_fd.write("\nbsubif_ifh_list :\n")
        self.dl_fd.write(pretty(bundle["subiflist"]))
        for sub_ifh in as_list(bundle["subiflist"], "subiflist"):
            subs = look_up(self.pidb_bundle_subifh, node, "pidb_bundle_subifh")
            sub = look_up(subs, sub_ifh, "pidb_bundle_subifh")
            rif = read_field(sub, "rif")
            lif = read_field(sub, "lif")
            layer_3 = equals(read_field(sub, "is_l2"), 0)
            added = key(0, 0, rif, 0) if layer_3 else key(0, 1, lif, 0)
            sub["key_list"] = sub.get("key_list", []) + [added]

    def construct_pidb_truth_db(self, node):
        for table, intftype in (
            (self.pidb_bundle_ifh, "bundle"),
            (self.pidb_bundle_subifh, "bundle-subif"),
            (self.pidb_physical_ifh, "physical"),
            (self.pidb_physical_subifh, "physical-subif"),
            (self.pidb_bvi_ifh, "bvi"),
            (self.pidb_gre_ifh, "gre"),
        ):
            if node not in table:
                continue
            for ifh, record in as_map(table[node], f"the {intftype} table").items():
                if intftype == "bundle-subif":
                    self.link_to_bundle(record, ifh, node)
                self.construct_key_db(record, intftype, ifh, node)

    def link_to_bundle(self, record, ifh, node):
        parent_ifh = read_field(record, "parent_ifh")
        if equals(parent_ifh, 0):
            return
        if isinstance(parent_ifh, Integer):
            parent_ifh = str(parent_ifh.value)
        bundles = look_up(self.pidb_bundle_ifh, node, "pidb_bundle_ifh")
        parent = look_up(bundles, parent_ifh, "pidb_bundle_ifh")
        if "subiflist" not in as_map(parent, "the parent bundle"):
            parent["subiflist"] = []
        as_list(parent["subiflist"], "subiflist").append(ifh)

    # Dumps ----------------------------------------------------------------------------------------

    def load_copy(self, table, node, path):
        if os.stat(path).st_size != 0:
            table[node] = {}
            table[node] = load_json(path)

    def pidb_dump(self, nodeip, node):
        def copy_back(name, table):
            local = f"/tmp/{name}_{node}.dat"
            self.execute(f"scp root@{nodeip}:/tmp/{name}.dat {local}")
            self.load_copy(table, node, local)

        self.execute(SSH + f" {nodeip} /pkg/bin/iftruth_dump -g")
        copy_back("pidb_physical", self.pidb_physical_ifh)
        copy_back("pidb_physical_subif", self.pidb_physical_subifh)
        copy_back("pidb_bundle", self.pidb_bundle_ifh)
        copy_back("pidb_bundle_subif", self.pidb_bundle_subifh)
        copy_back("pidb_bvi_intf", self.pidb_bvi_ifh)
        if "interface tunnel-ip" in self.execute("confdump -c -l 1 -t 1 -o 1"):
            command = SSH + f"{nodeip} /pkg/bin/tunnel_db_print database >& /tmp/log"
            self.execute(command, f"pidb_{node}")
            copy_back("pidb_gre_intf", self.pidb_gre_ifh)
        self.construct_pidb_truth_db(node)

    def pmdb_dump(self, nodeip, node):
        if nodeip == "None":
            return
        self.execute(SSH + f"{nodeip} /pkg/bin/hwkey_dump -g", f"pmdb_{node}")
        local = f"/tmp/pmdb_{node}.dat"
        self.execute(f"scp root@{nodeip}:/tmp/pmdb.dat {local}")
        self.load_copy(self.pmdb_keys, node, local)

    def dump_task(self, node, record, _log):
        if record["pidb_dump"]:
            self.pidb_dump(record["nodeip"], node)
        if record["pmdb_dump"]:
            self.pmdb_dump(record["nodeip"], node)

    # Verification ---------------------------------------------------------------------------------

    def verify(self, node, _record, log):
        if node not in self.pmdb_keys:
            log.write(f"\nERROR: PMDB Dictionary is empty for {node}")
            return
        pmdb = self.pmdb_keys[node]
        results = []
        for heading, name, table, label in (
            ("physical intf", "pidb_physical_ifh", self.pidb_physical_ifh, "\n Physical intf"),
            ("physical sub intf", "pidb_physical_subifh", self.pidb_physical_subifh,
             "\nPhysical sub intf"),
            ("bundle intf", "pidb_bundle_ifh", self.pidb_bundle_ifh, "\nBundle intf"),
            ("bundle sub intf", "pidb_bundle_subifh", self.pidb_bundle_subifh, "\nBundle intf"),
            ("bvi intf", "pidb_bvi_ifh", self.pidb_bvi_ifh, "\nBVI intf"),
            ("gre intf", "pidb_gre_ifh", self.pidb_gre_ifh, "\nGRE intf"),
        ):
            log.write(f"\n{heading} verification\n")
            log.write(f"{name} is :\n")
            log.write(pretty(table))
            if not results:
                log.write("\npmdb_dict is :\n")
                log.write(pretty(pmdb))
            results.append(self.verify_intf_specific(table, pmdb, log, node))
            log.write(f"{label} Result is : {results[-1]}")
        log.write("\nChecking pmdb leaks: \n")
        results.append(self.check_pmdb_leak(pmdb, log))
        log.write(f"\ncheck_pmdb_leak Result is : {results[-1]}")
        log.write(f"\nOverall Result is : {-1 if -1 in results else 0}")

    def verify_intf_specific(self, table, pmdb, log, node):
        result = 0
        for its_node in self.nodeinfo:
            if its_node not in table:
                continue
            for ifh, record in as_map(table[its_node], f"the table of {its_node}").items():
                if "key_list" not in as_map(record, f"the record of {ifh}"):
                    log.write(f"\nERROR: Key_list not present {message_number(decimal(ifh))}")
                    self.claim(look_up(pmdb, ifh, "the PMDB"))
                    continue
                for key in as_list(record["key_list"], "key_list"):
                    if not isinstance(key, str):
                        raise Failure("a key of the key_list is no text")
                    digits = key.lstrip("0x")
                    if not re.fullmatch("-?(0x)?[0-9a-fA-F]+", digits):
                        raise Failure(f"'{key}' is no key")
                    value = int(digits, 16)
                    if str(value) in as_map(pmdb, "the PMDB"):
                        self.claim(pmdb[str(value)])
                        continue
                    text = (
                        f"PMDB Key {message_number(value)} for ifh {message_number(decimal(ifh))}"
                        f" in node {node}"
                    )
                    say(f"\nMissing {text}\n")
                    log.write(f"\nMISSING {text}")
                    result = -1
        return result

    def claim(self, entry):
        as_map(entry, "a PMDB entry")["visited"] = Integer("1")

    def check_pmdb_leak(self, pmdb, log):
        result = 0
        for key, entry in as_map(pmdb, "the PMDB").items():
            if "visited" in as_map(entry, f"the PMDB entry {key}"):
                continue
            if not re.fullmatch(r"(?![#~])[^\x00-\x20\x7f\"'$;|&<>()*?\[\]{}\\`]+", key):
                raise Failure(f"{key!r} is no word of a command line")
            if self.check_if_bundle_without_member(key) == 0:
                continue
            number = message_number(decimal(key))
            say(f"ERROR PMDB Key {number} leaked !!!!!!\n")
            log.write(f"ERROR!!!!!! PMDB Key {number} leaked !!!!!!")
            result = -1
        return result

    def check_if_bundle_without_member(self, ifh):
        for line in split_lines(self.execute(f"ifmgr_print database -i {ifh} -l 0x2")):
            if "Bundle-Ether" in line:
                configuration = self.execute("confdump -c -l 1 -t 1 -o 1")
                return 1 if re.search("bundle id $number", configuration) else 0
        return 1

    # Multicast dumps ------------------------------------------------------------------------------

    def mcast_collect_objects(self, node, record, _log):
        if record["nodetype"] == "RP":
            self.check_mrib_dump(record["nodeip"], node)
        elif record["nodetype"] == "LC" or self.router in (2, 7):
            self.check_mdtbudobj_dump(record["nodeip"], node)

    def mcast_collect_handles(self, _node, record, _log):
        if record["nodetype"] in ("RP", "LC") or self.router in (2, 7):
            self.check_pmdb_dump(record["nodeip"])

    def check_mrib_dump(self, nodeip, node):
        if nodeip == "None":
            return
        file = Log("/tmp/mribdump.txt")
        command = SSH + f"{nodeip} /pkg/bin/mcroute_print -cmd 0x9"
        output = self.execute(command, f"_mrib_{node}")
        entries = self.mribkeys[nodeip] = Entries()
        number = -1
        for line in split_lines(output):
            for item in line.split(", "):
                if "RPF-ID" in item:
                    number += 1
                    entries[number] = {}
                    if not item.partition(": ")[2]:
                        raise Failure(f"no RPF id in '{item}'")
                if "MDT Handle" in item:
                    handle = clean(between(item, ": "))
                    entry_of(entries, number)["mdt_handle"] = handle
                if "Tunnel RIF" in item:
                    rif = rif_text(between(item, ": "))
                    entry_of(entries, number)["rif"] = rif
                    self.rifs.append(rif)
        file.write(pretty(self.mribkeys))

    def check_mdtbudobj_dump(self, nodeip, node):
        file = Log("/tmp/mplsmdtbud.txt")
        command = SSH + f"{nodeip} /pkg/bin/fwdobj_print -t 0xbe -l 0 -o b"
        output = self.execute(command, f"_mplsmdtbud_{node}")
        entries = self.mplsmdtbudobj[nodeip] = Entries()
        number = -1
        for line in split_lines(output):
            if "mplsmdtbud" in line:
                number += 1
                entries[number] = {}
                entries[number]["mdt_bud_obj"] = clean(between(between(line, "("), ":"))
            if "tun_rif" in line:
                rif = rif_text(between(line, "=>"))
                entry_of(entries, number)["rif"] = rif
        file.write(pretty(self.mplsmdtbudobj))

    def check_pmdb_dump(self, nodeip):
        if nodeip == "None":
            return
        file = Log("/tmp/pmdbdump.txt")
        entries = self.mcastpmdbkeys[nodeip] = Entries()
        for number, rif in enumerate(self.rifs):
            command = f"ssh -o StrictHostKeyChecking=no {nodeip} /pkg/bin/hwkey_dump -r {rif}"
            for line in split_lines(self.execute(command, f"_pmdb_{rif}")):
                if "intf_info.port_ifh" in line:
                    entries[number] = {}
                    entries[number]["pmdb_port_ifh"] = clean(between(line, ": "))
                if "intf_info.rif" in line:
                    rif_shown = clean(between(line, ": "))
                    entry_of(entries, number)["rif"] = rif_shown
        file.write(pretty(self.mcastpmdbkeys))

    # Multicast verification -----------------------------------------------------------------------

    def in_node_table_order(self, table):
        """The table's addresses; those that no node has any more come last."""
        addresses = dict.fromkeys(record["nodeip"] for record in self.nodeinfo.values())
        listed = [nodeip for nodeip in addresses if nodeip in table]
        return listed + [nodeip for nodeip in table if nodeip not in listed]

    def verify_mcast(self, _node, _record, log):
        log.write("\n mrib rif and ifh handle: \n")
        log.write(pretty(self.mribkeys))
        log.write("\n pmdb rif and ifh handle \n")
        log.write(pretty(self.mcastpmdbkeys))
        log.write("\n mplsmdtbud objects \n")
        log.write(pretty(self.mplsmdtbudobj))
        rp_nodes = self.in_node_table_order(self.mribkeys)
        for rp_node in rp_nodes:
            if rp_node not in self.mcastpmdbkeys:
                continue
            for number, mrib in self.mribkeys[rp_node].items():
                self.compare_on_route_processor(rp_node, mrib, number)
        if rp_nodes:
            for lc_node in self.in_node_table_order(self.mplsmdtbudobj):
                for rp_node in rp_nodes:
                    for number, mrib in self.mribkeys[rp_node].items():
                        self.compare_on_line_card(lc_node, mrib, number)

    def compare_on_route_processor(self, rp_node, mrib, number):
        pmdb = entry_of(self.mcastpmdbkeys[rp_node], number)
        rif = read_field(mrib, "rif")
        if rif not in read_field(pmdb, "rif"):
            return
        handle = read_field(mrib, "mdt_handle")
        if handle not in read_field(pmdb, "pmdb_port_ifh"):
            blanks = " " * 29
            say(f"inconsistant data at node {rp_node} rif:{rif}, mdt handle:{blanks}{handle}\n")

    def compare_on_line_card(self, lc_node, mrib, number):
        bud = entry_of(self.mplsmdtbudobj[lc_node], number)
        rif = read_field(mrib, "rif")
        if rif not in read_field(bud, "rif"):
            say(f"Missing Key in mplsmdtbudobj {rif}\n")
            return
        entries = look_up(self.mcastpmdbkeys, lc_node, "mcastpmdbkeys")
        if number not in entries:
            handle = read_field(mrib, "mdt_handle")
            say(f"Missing Keys in PMDB rif: {rif} port ifh: {handle}\n")
            return
        pmdb = entries[number]
        same_rif = read_field(pmdb, "rif") == rif
        handle = read_field(mrib, "mdt_handle")
        if not (same_rif and read_field(pmdb, "pmdb_port_ifh") == handle):
            say(f"inconsistant data at node {lc_node} rif:{rif}, mdt handle: {handle}\n")

    # The run --------------------------------------------------------------------------------------

    def run_zorbec(self, mode):
        self.db_file = open_anew("/tmp/output_file.txt")
        self.router = self.get_router_type()
        self.nodeinfo_init()
        self.get_list_of_vms()
        self.dl_fd = Log("/tmp/debug_logs.txt")
        if os.path.lexists("/tmp/pidb_gre_intf.dat"):
            os.unlink("/tmp/pidb_gre_intf.dat")
        if mode == 0:
            self.phase("debug_logs", [self.dump_task], "Thread", "waiting")
            self.phase("debug_logs", [self.verify])
        else:
            collectors = [self.mcast_collect_objects, self.mcast_collect_handles]
            self.phase("mcast_debug_logs", collectors)
            self.dl_fd = Log("/tmp/mcast_verify_debug_logs.txt")
            worker = self.announce("Verify Thread", list(self.nodeinfo)[-1], None)
            self.work([worker], [self.verify_mcast])
            self.join([worker], "Waiting")

    def phase(self, logs, stages, announcement="Verify Thread", waiting="Waiting"):
        workers = []
        try:
            for node, record in self.nodeinfo.items():
                if record["nodeip"] == "None":
                    continue
                self.dl_fd = Log(f"/tmp/{logs}_{node}.txt")
                if logs.startswith("mcast"):
                    read_field(record, "nodetype")
                workers.append(self.announce(announcement, node, record))
        finally:  # workers that were started run to their end, even if the run fails
            self.work(workers, stages)
        self.join(workers, waiting)

    def announce(self, announcement, node, record):
        Checker.threads += 1
        thread = f"Thread-{Checker.threads}"
        self.dl_fd.write(f"\n{announcement} : <Thread({thread}, initial)> on node: {node}")
        return thread, node, record, self.dl_fd

    def work(self, workers, stages):
        for stage in stages:
            going_on = []
            for worker in workers:
                _, node, record, log = worker
                try:
                    stage(node, record, log)
                    going_on.append(worker)
                except (Failure, OSError) as error:
                    complain(f"node {node}: {error}")
            workers = going_on

    def join(self, workers, waiting):
        for thread, *_ in workers:
            display = f"<Thread({thread}, stopped {thread[7:]})>"
            self.dl_fd.write(f"\n{waiting} for pid {display} to join \n")
            self.dl_fd.write(f"\npid {display} joined")


def complain(text):
    print(text, file=sys.stderr, flush=True)


def run(checker, mode):
    try:
        if checker is None:
            raise Failure("the checker is not up")
        checker.run_zorbec(mode)
        return 0
    except (Failure, OSError) as error:
        complain(f"run: {error}")
        return FAILED


def main(status_file, steps):
    checker = None
    with open(status_file, "w", buffering=1, encoding="ascii") as statuses:
        for step in steps:
            name, _, argument = step.partition(":")
            if name == "init":
                if checker is not None:
                    complain("init: the checker is up already")
                checker = checker or Checker()
            elif name == "finalize":
                if checker is None:
                    complain("finalize: the checker is not up")
                checker = None
            elif name == "run":
                statuses.write(f"{run(checker, int(argument))}\n")
            elif name == "both":  # two threads: one run waits for the other
                statuses.write(f"{run(checker, int(argument))}\n")
                statuses.write(f"{run(checker, int(argument))}\n")
            elif name == "sh":
                subprocess.run(["/bin/sh", "-c", argument], check=True)
            else:
                raise SystemExit(f"no step {step}")


if __name__ == "__main__":
    if hasattr(sys, "set_int_max_str_digits"):
        sys.set_int_max_str_digits(0)
    try:
        main(sys.argv[1], sys.argv[2:])
    # A bug here must never pass for an expectation.
    except Exception:  # pylint: disable=broad-exception-caught
        traceback.print_exc()
        sys.exit(70)
