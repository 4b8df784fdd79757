"""Routers with random damage, and what that damage keeps the check from verifying.

Damage that nobody could see from the route processor is never done: a tool that answers well with
other contents than the truth (a table without the interfaces that there are, text in place of the
configuration, yesterday's dump left on the node by a tool that says it went well).
"""

import json
import shutil

from random_routers import (
    SINGLE_PROCESSOR,
    interface_options,
    model_of,
    multicast_defects,
    planted_defects,
    planted_findings,
)

PIDB_FILES = {
    "physical": "pidb_physical",
    "physical-subif": "pidb_physical_subif",
    "bundle": "pidb_bundle",
    "bundle-subif": "pidb_bundle_subif",
    "bvi": "pidb_bvi_intf",
    "gre": "pidb_gre_intf",
}
KEY_CLASSES = (*PIDB_FILES, "leak")
ALL_CLASSES = (*KEY_CLASSES, "multicast")

# What the check reads of a record, in which classes, and needs to be there.
ALWAYS_READ = {of: ("rif", "lif", "slot", "ssp") for of in PIDB_FILES if of != "gre"}
ALWAYS_READ["gre"] = ("erif", "drif")
ALWAYS_READ["physical-subif"] += ("parent_ifh",)
ALWAYS_READ["bundle-subif"] += ("parent_ifh",)
FLAGS = {of: ("is_l2",) for of in ("physical", "physical-subif", "bundle", "bundle-subif")}
FLAGS["physical"] += ("is_member",)

TOOL_FAILS = ("absent", "exit 1", "exit 7", "exit 255")


def options_of(seed, pick):
    arguments = interface_options(seed)
    if pick.random() < 0.35:
        # As often as not there is nothing to find.
        if "--defect" in arguments:
            arguments = arguments[: arguments.index("--defect")]
    elif model_of(seed) not in SINGLE_PROCESSOR and pick.random() < 0.5:
        arguments += multicast_defects(pick)
    if model_of(seed) not in SINGLE_PROCESSOR:
        has_defects = any(argument.startswith("mcast-") for argument in arguments)
        routes = 14 if has_defects else pick.choice((0, *[pick.randint(1, 9)] * 9))
        arguments += ["--multicast", str(routes)]
    return arguments


class Node:
    def __init__(self, name, kind, is_active, address, model, folder):
        self.name = name
        self.address = address
        self.is_card = kind == "LC"
        self.is_active = is_active
        self.dumps_pidb = kind == "" or model == 2 or (self.is_card and is_active)
        self.dumps = folder / "nodes" / address / "dumps"
        self.tmp = folder / "nodes" / address / "tmp"


class Router:
    """A generated router, sound but for what was planted; the functions below damage it."""

    def __init__(self, folder):
        self.folder = folder
        with open(folder / "planted.json", encoding="utf-8") as file:
            self.options = json.load(file)["router"]
        self.routes = self.options.get("multicast", 0)
        self.is_single = self.options["model"] in SINGLE_PROCESSOR
        self.has_tunnels = self.options["gre"] > 0
        self.defects = planted_defects(folder)
        self.nodes = self._nodes()
        self.before = []  # shell commands to be run on the route processor first
        self.damage = []  # lines of damage.txt
        self.done = []  # all of it, to be shown
        # Classes of nodes that cannot be verified.
        self.hit = set()
        # Damaged nodes; all, if a tool of the route processor was hit.
        self.touched = set()
        # Whether a node's interfaces may be loaded in part or wrong, which can end the verification
        # of every other node.
        self.ends_others = False
        self.owners = self._owners()

    def _nodes(self):
        model = self.options["model"]
        if self.is_single:
            return [Node("RP0", "", True, "127.0.0.1", model, self.folder)]
        nodes = []
        for line in (self.folder / "nodemap.txt").read_text("utf-8").splitlines():
            words = line.split()
            if len(words) < 7 or not words[0].startswith("0/"):
                continue
            name = words[0].split("/")[1]
            nodes.append(Node(name, words[1], words[2] == "(ACTIVE)", words[6], model, self.folder))
        return nodes

    def _owners(self):
        """The nodes that report an interface, by its handle."""
        owners = {}
        for node in self.nodes:
            for of in self.classes_dumped(node):
                for handle in self.table(node, of):
                    owners.setdefault(handle, set()).add(node.name)
        return owners

    def dump_file(self, node, of):
        return node.dumps / f"{PIDB_FILES.get(of, 'pmdb')}.dat"

    def table(self, node, of):
        path = self.dump_file(node, of)
        return json.loads(path.read_bytes()) if path.exists() else {}

    def classes_dumped(self, node):
        """Those whose dumps are fetched from the node."""
        if not node.dumps_pidb:
            return []
        return [of for of in PIDB_FILES if of != "gre" or self.has_tunnels]

    def hurt(self, what, nodes, classes, ends_others=False):
        self.done.append(what)
        self.ends_others |= ends_others
        for node in nodes:
            self.touched.add(node.name)
            self.hit.update((node.name, of) for of in classes)

    def write_damage(self):
        (self.folder / "damage.txt").write_text("".join(line + "\n" for line in self.damage))

    # What there is to find ------------------------------------------------------------------------

    def findings(self):
        return planted_findings(self.defects)

    def ends_check(self):
        return any(defect.get("ends_check") for defect in self.defects)

    def certain_findings(self):
        """(node, text) of findings that rest on nothing that was damaged."""
        certain = set()
        owners_known = not any(node.dumps_pidb and node.name in self.touched for node in self.nodes)
        routes_known = not self.ends_check() and not any(of == "multicast" for _, of in self.hit)
        for defect in self.defects:
            if defect["node"] in self.touched:
                continue
            for finding in defect["findings"]:
                if defect["kind"].startswith("mcast-"):
                    is_certain = routes_known
                elif defect["kind"] == "leaked":
                    is_certain = owners_known
                else:
                    is_certain = not self.ends_others and self._is_of_sound(finding["text"])
                if is_certain:
                    certain.add((defect["node"], finding["text"]))
        return certain

    def _is_of_sound(self, text):
        handle = str(int(text.split(" for ifh ")[1].split()[0], 16))
        return not self.owners[handle] & self.touched


# Damage of nodes ----------------------------------------------------------------------------------
#
# Each function does one kind of damage to one node.


def ssh_fails(router, node, pick):
    kind = pick.choice(("refuse", "none", "rubbish", *TOOL_FAILS))
    router.damage.append(f"{node.address} ssh {kind}")
    router.hurt(f"{node.name}: ssh {kind}", [node], ALL_CLASSES)


def scp_fails(router, node, pick):
    kind = pick.choice(("refuse", "none", "rubbish", *TOOL_FAILS))
    router.damage.append(f"{node.address} scp {kind}")
    router.hurt(f"{node.name}: scp {kind}", [node], KEY_CLASSES)


def stale_copies(router, node, pick):
    """Last week's copies lie there, from when nothing was wrong, and no new ones come."""
    kind = pick.choice(("refuse", *TOOL_FAILS))
    copies = router.folder / "tmp"
    copies.mkdir(exist_ok=True)
    names = []
    for of in (*router.classes_dumped(node), "pmdb"):
        source = router.dump_file(node, of)
        names.append(f"{source.stem}_{node.name}.dat")
        shutil.copyfile(source, copies / names[-1])
    pmdb = copies / names[-1]
    keys = json.loads(pmdb.read_bytes())
    for defect in router.defects:
        if defect["node"] == node.name and "key" in defect:
            if defect["kind"] == "leaked":
                keys.pop(str(defect["key"]), None)
            else:
                keys[str(defect["key"])] = {}
    pmdb.write_text(json.dumps(keys))
    old = "2026-01-01" if pick.random() < 0.5 else "1 minute ago"
    router.before.append(f"touch -d '{old}' " + " ".join(f"/tmp/{name}" for name in names))
    router.damage.append(f"{node.address} scp {kind}")
    router.hurt(f"{node.name}: scp {kind}, stale copies", [node], KEY_CLASSES)


def pidb_tool_fails(router, node, pick):
    kind = pick.choice(("none", "rubbish", *TOOL_FAILS))
    router.damage.append(f"{node.address} iftruth_dump {kind}")
    classes = KEY_CLASSES
    if kind in TOOL_FAILS and pick.random() < 0.5:
        # Old dumps lie on the node, and are copied from there.
        node.tmp.mkdir(exist_ok=True)
        for of, name in PIDB_FILES.items():
            if router.dump_file(node, of).exists():
                shutil.copyfile(router.dump_file(node, of), node.tmp / f"{name}.dat")
        classes = PIDB_FILES
        kind += " over old dumps"
    router.hurt(f"{node.name}: iftruth_dump {kind}", [node], classes, ends_others=True)


def tunnel_tool_fails(router, node, pick):
    kind = pick.choice(("none", "rubbish", *TOOL_FAILS))
    router.damage.append(f"{node.address} tunnel_db_print {kind}")
    router.hurt(f"{node.name}: tunnel_db_print {kind}", [node], KEY_CLASSES, ends_others=True)


def pmdb_tool_fails(router, node, pick):
    """The tool that answers for the tunnels as well: no answer there is a finding of a card."""
    kinds = TOOL_FAILS if node.is_card and router.routes else ("none", "rubbish", *TOOL_FAILS)
    kind = pick.choice(kinds)
    asked_for_tunnels = router.routes > 0 and (kind in TOOL_FAILS or node.is_active)
    router.damage.append(f"{node.address} hwkey_dump {kind}")
    classes = ALL_CLASSES if asked_for_tunnels else KEY_CLASSES
    router.hurt(f"{node.name}: hwkey_dump {kind}", [node], classes)


def route_tool_fails(router, node, pick):
    kind = pick.choice(("none", "rubbish", *TOOL_FAILS) if node.is_active else TOOL_FAILS)
    router.damage.append(f"{node.address} mcroute_print {kind}")
    router.hurt(f"{node.name}: mcroute_print {kind}", [node], ["multicast"])


def bud_tool_fails(router, node, pick):
    kind = pick.choice(("none", "rubbish", *TOOL_FAILS))
    router.damage.append(f"{node.address} fwdobj_print {kind}")
    router.hurt(f"{node.name}: fwdobj_print {kind}", [node], ["multicast"])


def dump_is_damaged(router, node, pick):
    of = pick.choice((*router.classes_dumped(node), "pmdb"))
    kind = pick.choice(("half", "empty", "none", "rubbish"))
    router.damage.append(f"{node.address} {router.dump_file(node, of).name} {kind}")
    # An empty file ends nothing: the other classes are loaded.
    classes = [of] if kind == "empty" and of != "pmdb" else KEY_CLASSES
    router.hurt(f"{node.name}: {of} dump {kind}", [node], classes, ends_others=of != "pmdb")


def node_is_out_of_service(router, node, pick):
    path = router.folder / "nodemap.txt"
    lines = path.read_text("utf-8").splitlines(keepends=True)
    role = "ACTIVE" if node.is_active else "STANDBY"
    for number, line in enumerate(lines):
        if line.startswith(f"0/{node.name}/"):
            state = pick.choice(("OFFLINE", "FAILED", "-"))
            lines[number] = line.replace(f"({role})", f"({state})")
    path.write_text("".join(lines))
    router.hurt(f"{node.name}: out of service", [node], ALL_CLASSES)


# Damage of dumps ----------------------------------------------------------------------------------


def spoil_table(router, node, pick):
    """A dump that holds no table, or a table without any entry where there must be some."""
    of = pick.choice((*router.classes_dumped(node), "pmdb", "pmdb"))
    table = pick.choice(("[]", "[1, 2]", "7", '"a text"', "null", "true"))
    router.dump_file(node, of).write_text(table)
    classes = KEY_CLASSES if of == "pmdb" else [of]
    router.hurt(f"{node.name}: {of} dump is {table}", [node], classes, ends_others=of != "pmdb")


def empty_pmdb(router, node, _pick):
    router.dump_file(node, "pmdb").write_text("{}")
    router.hurt(f"{node.name}: no key at all", [node], KEY_CLASSES)


def empty_tables(router, node, _pick):
    for of in PIDB_FILES:
        router.dump_file(node, of).write_text("{}")
    router.hurt(f"{node.name}: no interface at all", [node], PIDB_FILES)


def spoil_record(router, node, pick):
    """A field of a record gets another type, or the record itself, its name, or a member more."""
    of = pick.choice([of for of in router.classes_dumped(node) if router.table(node, of)])
    table = router.table(node, of)
    name = pick.choice(list(table))
    record = table[name]
    how = pick.choice(("field", "field", "field", "gone", "record", "name", "member"))
    classes = [of]
    if how == "field":
        field = pick.choice(list(record))
        value = pick.choice((None, "abc", "", 1.5, [], [1], {}, {"a": 1}))
        record[field] = value
        what = f"{field} is {value!r}"
        if field not in (*ALWAYS_READ[of], *FLAGS.get(of, ())):
            classes = []
    elif how == "gone":
        field = pick.choice(ALWAYS_READ[of])
        del record[field]
        what = f"{field} is missing"
        classes = KEY_CLASSES
    elif how == "record":
        table[name] = pick.choice((None, [], [record], "text", 5, True))
        what = f"is {table[name]!r}"
    elif how == "name":
        other = pick.choice(("00" + name, "abc", "", "-" + name, name + ".0", " " + name))
        table = {other if key == name else key: value for key, value in table.items()}
        what = f"is called {other!r}"
    else:
        member = pick.choice(("key_list", "subiflist"))
        record[member] = pick.choice(([], ["0x5"], None, 1))
        what = f"has a {member}"
    router.dump_file(node, of).write_text(json.dumps(table))
    router.hurt(f"{node.name}: {of} {name} {what}", [node], classes, ends_others=True)


def spoil_key(router, node, pick):
    table = router.table(node, "pmdb")
    name = pick.choice(list(table))
    how = pick.choice(("entry", "name", "extra", "visited"))
    if how == "entry":
        table[name] = pick.choice((None, [], "text", 5, 1.5, True))
    elif how == "name":
        other = pick.choice(("00" + name, "abc", "", "0x5", "-" + name, name + ".0"))
        table = {other if key == name else key: value for key, value in table.items()}
    elif how == "extra":
        table[pick.choice(("007", "abc", "1e3"))] = {}
    else:
        table[name]["visited"] = pick.choice((1, 0, None))
    router.dump_file(node, "pmdb").write_text(json.dumps(table))
    router.hurt(f"{node.name}: key {name}: {how}", [node], KEY_CLASSES)


# Damage of the route processor's own tools, and harmless things ----------------------------------


def node_table_fails(router, pick):
    kind = pick.choice(("none", "rubbish", *TOOL_FAILS))
    router.damage.append(f"local nodemap_query {kind}")
    router.hurt(f"nodemap_query {kind}", router.nodes, ALL_CLASSES)


def banner_fails(router, pick):
    kind = pick.choice(("none", *TOOL_FAILS))
    router.damage.append(f"local relinfo_print {kind}")
    router.hurt(f"relinfo_print {kind}", router.nodes, ALL_CLASSES)


def configuration_fails(router, pick):
    """It is the nodes with interfaces for which it is asked."""
    kind = pick.choice(("none", *TOOL_FAILS))
    router.damage.append(f"local confdump {kind}")
    router.hurt(f"confdump {kind}", router.nodes, [], ends_others=True)
    router.hit.update((node.name, "gre") for node in router.nodes if node.dumps_pidb)


def interface_manager_fails(router, pick):
    """It is asked about keys that nobody claims, and knows those that are bundles'."""
    of_bundles = [defect["node"] for defect in router.defects if defect["kind"] == "leaked-bundle"]
    leaked = [defect["node"] for defect in router.defects if defect["kind"] == "leaked"]
    kind = pick.choice(("absent",) if of_bundles else ("absent", "none", "rubbish", "exit 1"))
    router.damage.append(f"local ifmgr_print {kind}")
    if kind == "absent":
        router.hurt("ifmgr_print absent", router.nodes, [])
        router.hit.update((node, "leak") for node in (*of_bundles, *leaked))


def slow_tool(router, node, pick):
    tool = pick.choice(("ssh", "scp", "iftruth_dump", "hwkey_dump", "mcroute_print"))
    router.damage.append(f"{node.address} {tool} late {pick.randint(1, 40)}")


# What is done, and to which nodes it can be done. Damage of dumps comes first, as it is done to
# sound ones.


def any_node(_router, _node):
    return True


def dumps_pidb(_router, node):
    return node.dumps_pidb


def has_interfaces(router, node):
    return any(router.table(node, of) for of in router.classes_dumped(node))


IN_DUMPS = (
    (spoil_record, has_interfaces),
    (spoil_record, has_interfaces),
    (spoil_record, has_interfaces),
    (spoil_key, any_node),
    (spoil_table, any_node),
    (empty_pmdb, any_node),
    (empty_tables, lambda router, node: node.dumps_pidb and (node.is_card or router.is_single)),
)
OF_NODES = (
    (ssh_fails, any_node),
    (scp_fails, any_node),
    (stale_copies, any_node),
    (pidb_tool_fails, dumps_pidb),
    (tunnel_tool_fails, lambda router, node: node.dumps_pidb and router.has_tunnels),
    (pmdb_tool_fails, any_node),
    (route_tool_fails, lambda router, node: not node.is_card and not router.is_single),
    (bud_tool_fails, lambda router, node: node.is_card),
    (dump_is_damaged, any_node),
    (dump_is_damaged, any_node),
    (node_is_out_of_service, lambda router, node: not router.is_single),
    (slow_tool, any_node),
)


def damage(router, pick):
    for kinds in (IN_DUMPS, OF_NODES):
        for _ in range(pick.choice((0, 0, 1, 1, 1, 2))):
            do, fits = pick.choice(kinds)
            # Two damages of one node may undo each other.
            nodes = [n for n in router.nodes if n.name not in router.touched and fits(router, n)]
            if nodes:
                do(router, pick.choice(nodes), pick)
    if pick.random() < 0.2:
        local = [banner_fails, configuration_fails, interface_manager_fails]
        if not router.is_single:
            local.append(node_table_fails)
        pick.choice(local)(router, pick)
    router.write_damage()
