"""A small router whose dumps are changed member by member, as texts.

A dump is a list of (name, members), a record's members a list of (field, value text): what JSON
cannot say of itself, such as a member that stands there twice, can be said of these.
"""

import json
import shutil
import subprocess

CARD = "192.0.16.1"  # whose dumps are changed; the other card's stay as they are
PIDB_FIELDS = {
    "pidb_physical": "intf_name rif lif ssp slot is_l2 is_member bundle_ifh memid lagid",
    "pidb_physical_subif": "intf_name rif lif ssp slot is_l2 parent_ifh",
    "pidb_bundle": "intf_name rif lif ssp slot is_l2",
    "pidb_bundle_subif": "intf_name rif lif ssp slot is_l2 parent_ifh",
    "pidb_bvi_intf": "intf_name rif lif ssp slot is_l2",
    "pidb_gre_intf": "intf_name erif drif",
}
PMDB = "pmdb"


def generate(lab, folder):
    """Two line cards, an interface of each class and a bundle member on each of them."""
    shutil.rmtree(folder, ignore_errors=True)
    counts = ["--physical", 1, "--physical-subifs", 1, "--bundles", 1, "--members", 1,
              "--bundle-subifs", 1, "--bvis", 1, "--gre", 1]
    arguments = ["--model", 3, "--line-cards", 2, "--l2-share", 0, *counts]
    subprocess.run([lab, "generate", folder, *map(str, arguments)], check=True)
    # Without the route processor, which adds nothing but time.
    table = folder / "nodemap.txt"
    lines = table.read_text().splitlines(keepends=True)
    table.write_text("".join(line for line in lines if " RP " not in line))


def dump_path(router, dump):
    return router / "nodes" / CARD / "dumps" / f"{dump}.dat"


def read_dump(router, dump):
    """The dump, its records with the fields that tell something only."""
    kept = PIDB_FIELDS[dump].split() if dump in PIDB_FIELDS else None
    return [
        (name, [(field, json.dumps(value)) for field, value in record.items()
                if kept is None or field in kept])
        for name, record in json.loads(dump_path(router, dump).read_text()).items()
    ]


def dump_text(records):
    """`records` as a dump file; a record that is not a list of members is a value text itself."""
    lines = []
    for name, members in records:
        if not isinstance(members, str):
            fields = (f"{json.dumps(field)}: {text}" for field, text in members)
            members = "{" + ", ".join(fields) + "}"
        lines.append(f"{json.dumps(name)}: {members}")
    return "{" + ",\n".join(lines) + "}\n"
