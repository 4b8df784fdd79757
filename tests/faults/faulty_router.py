"""The small router of these tests: two line cards and findings of every kind."""

import subprocess

DEFECTS = """
missing-physical missing-physical-subif missing-bundle missing-bundle-subif missing-bvi missing-gre
leaked leaked-bundle
mcast-rp-handle mcast-missing-bud mcast-missing-pmdb mcast-lc-handle mcast-lc-rif
""".split()
SIZE = ["--line-cards", 2, "--physical", 1, "--physical-subifs", 1, "--bundles", 1, "--members", 1,
        "--bundle-subifs", 1, "--bvis", 1, "--gre", 1]  # fmt: skip
LARGE = 2 * 1024 * 1024  # bytes; from here on a dump has memory of its own


def make_router(lab, router, has_large_dump=False, has_routes=True):
    """The large dump holds no more than the others."""
    options = [*SIZE, "--multicast", 2 if has_routes else 0]
    for defect in DEFECTS:
        if has_routes or not defect.startswith("mcast-"):
            options += ["--defect", defect]
    subprocess.run([lab, "generate", router, *map(str, options)], check=True)
    if has_large_dump:
        dump = next((router / "nodes").glob("*/dumps/pidb_bvi_intf.dat"))
        dump.write_bytes(dump.read_bytes() + b" " * LARGE)
