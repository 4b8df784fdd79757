#!/usr/bin/python3
"""The script that an engineer would write for the interface check: reads the dumps that a check
left in a folder and writes the same logs.

    peer.py DUMPS LOGS [--model CODE] [--bundle-scale N]

It runs no commands, so that a leaked key is reported without asking whether it is a bundle's.
Tables are rendered where the log shows them, in every node's log.
"""

import argparse
import json
import pathlib
import resource
import time

COLUMNS = 80
LEAST_OF_ENTRY = {list: 3, dict: 7}  # columns: "1, " and '"": 1, '

CLASSES = (
    # class, dump file, table, heading, label of the result
    ("physical", "pidb_physical", "pidb_physical_ifh", "physical intf", " Physical intf"),
    ("physical-subif", "pidb_physical_subif", "pidb_physical_subifh", "physical sub intf",
     "Physical sub intf"),
    ("bundle", "pidb_bundle", "pidb_bundle_ifh", "bundle intf", "Bundle intf"),
    ("bundle-subif", "pidb_bundle_subif", "pidb_bundle_subifh", "bundle sub intf", "Bundle intf"),
    ("bvi", "pidb_bvi_intf", "pidb_bvi_ifh", "bvi intf", "BVI intf"),
    ("gre", "pidb_gre_intf", "pidb_gre_ifh", "gre intf", "GRE intf"),
)


one_line = json.JSONEncoder(sort_keys=True, ensure_ascii=False).encode


def render(value, indent=0, taken=0):
    """As docs/logs.md tells: on one line if it fits, otherwise one entry a line."""
    if isinstance(value, int):
        return str(value)
    if not isinstance(value, (dict, list)):
        return one_line(value)
    if len(value) <= COLUMNS // LEAST_OF_ENTRY[type(value)]:
        line = one_line(value)
        if taken + len(line) <= COLUMNS:
            return line
    begin = "\n" + " " * (indent + 1)
    entries = []
    left = len(value)
    if isinstance(value, dict):
        for name in sorted(value):
            left -= 1
            before = f'"{name}": '
            entries.append(before + render(value[name], indent + 1,
                                           indent + 1 + len(before) + (left > 0)))
        opening, closing = "{}"
    else:
        for element in value:
            left -= 1
            entries.append(render(element, indent + 1, indent + 1 + (left > 0)))
        opening, closing = "[]"
    return opening + begin + ("," + begin).join(entries) + begin[:-1] + closing


def key_text(agr, l2, rif_lif, ssp):
    return hex((int(agr) << 31) | (int(l2) << 30) | (int(ssp) << 16) | (rif_lif & 0xffff))


class Router:
    def __init__(self, dumps, model, bundle_scale):
        self.model = model
        self.lag_bits = 8 + (0 if model == 9 else {256: 0, 512: 1, 1024: 2}.get(bundle_scale, 10))
        self.tables = {name: {} for name, *_ in CLASSES}
        self.pmdb_keys = {}
        nodes = [path.stem.removeprefix("pmdb_") for path in dumps.glob("pmdb_*.dat")]
        self.nodes = sorted(nodes, key=lambda name: (name.isdigit(), len(name), name))
        for node in self.nodes:
            for name, file, *_ in CLASSES:
                self.load(dumps / f"{file}_{node}.dat", self.tables[name], node)
            self.construct_truth(node)
            self.load(dumps / f"pmdb_{node}.dat", self.pmdb_keys, node)

    @staticmethod
    def load(path, table, node):
        if path.exists() and path.stat().st_size > 0:
            with path.open(encoding="utf-8") as file:
                table[node] = json.load(file)

    def port(self, slot):
        return 0 if self.model in (2, 5, 7, 8, 9) else int(slot) & 63

    def construct_truth(self, node):
        bundles = self.tables["bundle"].get(node, {})
        subifs = self.tables["bundle-subif"].get(node, {})
        for handle, bundle in bundles.items():
            key = (key_text(0, 1, bundle["lif"], 0) if bundle["is_l2"] == 1
                   else key_text(0, 0, bundle["rif"], 0))
            bundle["key_list"] = [hex(int(handle)), key]
        for handle, subif in subifs.items():
            if subif["parent_ifh"] != 0:
                bundles[str(subif["parent_ifh"])].setdefault("subiflist", []).append(handle)
            subif["key_list"] = [hex(int(handle)), self.subif_key(subif)]
        for handle, port in self.tables["physical"].get(node, {}).items():
            self.construct_physical(node, handle, port)
        for handle, subif in self.tables["physical-subif"].get(node, {}).items():
            keys = [key_text(0, 1, subif["lif"], self.port(node))]
            if subif["is_l2"] == 0:
                keys.insert(0, key_text(0, 0, subif["rif"], 0))
            subif["key_list"] = [hex(int(handle)), *keys]
        for handle, bvi in self.tables["bvi"].get(node, {}).items():
            bvi["key_list"] = [hex(int(handle)), key_text(0, 1, bvi["lif"], self.port(bvi["slot"])),
                               key_text(0, 0, bvi["rif"], 0)]
        for handle, tunnel in self.tables["gre"].get(node, {}).items():
            tunnel["key_list"] = [hex(int(handle)), hex(int(tunnel["erif"])),
                                  hex(int(tunnel["drif"]))]

    @staticmethod
    def subif_key(subif):
        return (key_text(0, 0, subif["rif"], 0) if subif["is_l2"] == 0
                else key_text(0, 1, subif["lif"], 0))

    def construct_physical(self, node, handle, port):
        own = key_text(0, 1, port["lif"], self.port(node))
        if port["is_l2"] == 0:
            keys = [key_text(0, 0, port["rif"], 0), own, key_text(0, 0, 0, port["ssp"])]
        else:
            keys = [key_text(0, 0, 0, port["ssp"]), own, key_text(0, 1, 0, port["ssp"])]
        if port["is_member"] == 0:
            port["key_list"] = [hex(int(handle)), *keys]
            return
        bundle = self.tables["bundle"][node][str(port["bundle_ifh"])]
        keys.append(key_text(1, 0, 0, (port["memid"] << self.lag_bits) | port["lagid"]))
        if bundle["is_l2"] != 0:
            keys.append(key_text(0, 1, bundle["lif"], 0))
        bundle["key_list"] += keys
        for subif_handle in bundle.get("subiflist", []):
            subif = self.tables["bundle-subif"][node][subif_handle]
            subif["key_list"].append(self.subif_key(subif))


class Verification:
    def __init__(self, router):
        self.router = router

    def verify(self, node, log):
        pmdb = self.router.pmdb_keys.get(node)
        log.write(f"\nVerify Thread : <Thread(Thread-1, initial)> on node: {node}")
        if pmdb is None:
            log.write(f"\nERROR: PMDB Dictionary is empty for {node}")
            return
        results = []
        for name, _, table, heading, label in CLASSES:
            text = render(self.router.tables[name])
            log.write(f"\n{heading} verification\n{table} is :\n{text}\n")
            if name == "physical":
                log.write(f"\npmdb_dict is :\n{render(pmdb)}\n")
            results.append(self.compare(self.router.tables[name], pmdb, log, node))
            log.write(f"\n{label} Result is : {results[-1]}")
        log.write("\nChecking pmdb leaks: \n")
        results.append(self.check_leaks(pmdb, log))
        log.write(f"\ncheck_pmdb_leak Result is : {results[-1]}")
        log.write(f"\nOverall Result is : {min(results)}")

    @staticmethod
    def compare(table, pmdb, log, node):
        result = 0
        for interfaces in table.values():
            for handle, interface in interfaces.items():
                if "key_list" not in interface:
                    log.write(f"\nERROR: Key_list not present {hex(int(handle))}")
                    pmdb[handle]["visited"] = 1
                    continue
                for text in interface["key_list"]:
                    value = int(text.lstrip("0x"), 16)
                    entry = pmdb.get(str(value))
                    if entry is not None:
                        entry["visited"] = 1
                        continue
                    where = f"PMDB Key {hex(value)} for ifh {hex(int(handle))} in node {node}"
                    print(f"\nMissing {where}")
                    log.write(f"\nMISSING {where}")
                    result = -1
        return result

    @staticmethod
    def check_leaks(pmdb, log):
        result = 0
        for key, entry in pmdb.items():
            if "visited" not in entry:
                print(f"ERROR PMDB Key {hex(int(key))} leaked !!!!!!")
                log.write(f"ERROR!!!!!! PMDB Key {hex(int(key))} leaked !!!!!!")
                result = -1
        return result


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("dumps", type=pathlib.Path)
    parser.add_argument("logs", type=pathlib.Path)
    parser.add_argument("--model", type=int, default=1)
    parser.add_argument("--bundle-scale", type=int, default=256)
    arguments = parser.parse_args()

    begin = time.monotonic()
    router = Router(arguments.dumps, arguments.model, arguments.bundle_scale)
    verification = Verification(router)
    for node in router.nodes:
        with open(arguments.logs / f"debug_logs_{node}.txt", "w", encoding="utf-8") as log:
            verification.verify(node, log)
    peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024
    print(f"wall {time.monotonic() - begin:.3f} s, CPU {time.process_time():.3f} s, "
          f"peak {peak / 1e6:.0f} MB")


if __name__ == "__main__":
    main()
