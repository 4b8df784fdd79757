"""Options of `zorbec-lab generate` for routers that a seed decides, and what is planted in them."""

import json
import random

SINGLE_PROCESSOR = (5, 7, 9)


def model_of(seed):
    return 1 + seed % 9


def interface_options(seed):
    """A router with a few interfaces of every class the seed gives it, and defects in those."""
    pick = random.Random(seed)
    model = model_of(seed)
    sizes = {
        "physical": pick.randint(1, 12),
        "physical-subifs": pick.randint(0, 12),
        "bundles": pick.randint(0, 4),
        "bundle-subifs": pick.randint(0, 8),
        "bvis": pick.randint(0, 4),
        "gre": pick.choice((0, 0, 3)),
    }
    if sizes["bundles"] == 0:
        sizes["bundle-subifs"] = 0
    options = {f"--{name}": size for name, size in sizes.items()}
    options["--seed"] = seed
    options["--model"] = model
    options["--line-cards"] = 1 if model in SINGLE_PROCESSOR else pick.randint(1, 4)
    options["--members"] = pick.randint(0, 3)
    options["--l2-share"] = pick.choice((0, 25, 50, 100))
    options["--bundle-scale"] = pick.choice((256, 512, 1024, 2048))
    arguments = [str(part) for option in options.items() for part in option]
    if model not in SINGLE_PROCESSOR and pick.random() < 0.5:
        arguments.append("--standby")

    kinds = ["leaked", "leaked-bundle"]
    kinds += ["missing-" + name.rstrip("s") for name, size in sizes.items() if size > 0]
    for kind in pick.sample(kinds, pick.randint(0, len(kinds))):
        arguments += ["--defect", f"{kind}:{pick.randint(1, 2)}"]
    return arguments


def multicast_defects(pick):
    """Up to twelve defects, one of which may end the check."""
    arguments = []
    kinds = ["rp-handle", "missing-bud", "missing-pmdb", "lc-handle", "lc-rif"]
    for kind in pick.sample(kinds, pick.randint(0, len(kinds))):
        arguments += ["--defect", f"mcast-{kind}:{pick.randint(1, 2)}"]
    if pick.random() < 0.4:
        end = pick.choice(("rp-pmdb", "bud", "field"))
        arguments += ["--defect", f"mcast-end-{end}"]
    return arguments


def multicast_options(seed):
    """A router with multicast routes, more than the defects that one node can get."""
    pick = random.Random(seed)
    routes = pick.choice((0, 1, *[pick.randint(12, 48)] * 8))
    arguments = ["--seed", seed, "--multicast", routes]
    arguments += ["--model", pick.choice((1, 2, 3, 4, 6, 8))]
    arguments += ["--line-cards", pick.randint(1, 5), "--interfaces", 10]
    if pick.random() < 0.5:
        arguments.append("--standby")
    if routes > 1:
        arguments += multicast_defects(pick)
    return [str(argument) for argument in arguments]


def planted_defects(router):
    with open(router / "planted.json", encoding="utf-8") as file:
        return json.load(file)["defects"]


def planted_findings(defects):
    return [finding["text"] for defect in defects for finding in defect["findings"]]
