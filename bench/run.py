#!/usr/bin/python3
"""What a check costs, beside the least work that could do it and the script that an engineer would
write. docs/performance.md tells what is measured and how to read it."""

import argparse
import json
import mmap
import os
import pathlib
import platform
import re
import shutil
import statistics
import subprocess
import sys

BENCH = pathlib.Path(__file__).resolve().parent
WORKER_LINES = re.compile(
    rb"\n(Verify Thread : |Waiting for pid |pid )<[^>]*>( on node: \w+| to join \n| joined)")
# Every run of a round has the same two processors, or the first of them.
CPUS = {1: "0", 2: "0,1"}
# What the largest run writes to its /tmp, and the floor's memory then.
KEPT_BYTES = 6 << 30
KEPT_BLOCK = 1 << 20


class Bench:
    def __init__(self, build, work, rounds):
        self.build = build
        self.work = work
        self.rounds = rounds
        self.lab = build / "zorbec-lab"

    def program(self, name):
        return str(self.build / f"zorbec-bench-{name}")

    # Routers

    def router(self, name, options, damage=""):
        """Generates a router, or takes the one that an earlier section generated."""
        folder = self.work / name
        if not folder.exists():
            run([self.lab, "generate", folder, *options.split()])
            if damage:
                (folder / "damage.txt").write_text(damage)
        return folder

    def with_dumps_in_place(self, router):
        """The same router with all dumps in /tmp already, under the names of the local copies."""
        folder = router.with_name(router.name + "-in-place")
        if folder.exists():
            return folder
        (folder / "tmp").mkdir(parents=True)
        for node, address in nodes_of(router):
            for dump in (router / "nodes" / address / "dumps").glob("*.dat"):
                os.link(dump, folder / "tmp" / f"{dump.stem}_{node}.dat")
            # Where a node has no such dump, its copy is an empty file.
            for dump in ("pidb_physical", "pidb_physical_subif", "pidb_bundle",
                         "pidb_bundle_subif", "pidb_bvi_intf", "pidb_gre_intf", "pmdb"):
                (folder / "tmp" / f"{dump}_{node}.dat").touch()
        return folder

    # Measurements. Each returns a dictionary with at least wall, cpu and peak_bytes.

    def check(self, router, mode=0):
        """A check as it is, watched: the real library runs the simulated router's tools."""
        return self.run_check("check", router, router, 2, [mode, "watched"])

    def check_answered(self, router, cpus, mode=0, watched=False):
        """A check whose commands cost nothing."""
        return self.run_check("check-answered", self.with_dumps_in_place(router), router, cpus,
                              [mode, "watched"] if watched else [mode])

    def run_check(self, program, folder, router, cpus, options):
        report = self.work / "report.json"
        sizes = self.work / "sizes"
        script = ('"$@" >/tmp/findings; grep -c PMDB /tmp/findings >"$0"; '
                  'stat -c %s /tmp/*debug_logs*.txt >>"$0"')
        run([self.lab, "run", folder, "--", "taskset", "-c", CPUS[cpus], "bash", "-c", script,
             sizes, self.program(program), report, *options],
            environment={"ZORBEC_BENCH_ROUTER": str(router)})
        phases = json.loads(report.read_text())
        findings, *logs = map(int, sizes.read_text().split())
        result = {"phases": phases, "findings": findings, "log_bytes": sum(logs)}
        for name in ("wall", "cpu", "user_cpu", "commands_cpu", "commands"):
            result[name] = sum(phase[name] for phase in phases.values())
        result["peak_bytes"] = max(phase["peak_bytes"] for phase in phases.values())
        return result

    def floor(self, router, threads):
        return self.outside([self.program("floor"), "/tmp", "/tmp", "--threads", str(threads),
                             *key_rules(router)], router, threads)

    def peer(self, router, *options):
        return self.outside([sys.executable, BENCH / "peer.py", "/tmp", "/tmp", *options,
                             *key_rules(router)], router, 1)

    def outside(self, command, router, cpus):
        output = run([self.lab, "run", self.with_dumps_in_place(router), "--",
                      "taskset", "-c", CPUS[cpus], *command])
        wall, cpu, peak = re.search(r"wall ([\d.]+) s, CPU ([\d.]+) s, peak ([\d.]+) MB",
                                    output).groups()
        return {"wall": float(wall), "cpu": float(cpu), "peak_bytes": float(peak) * 1e6}

    def interleaved(self, times=1, **measurements):
        """Takes every measurement once a round; returns a list of results for each. A difference
        that is small beside what it is taken of needs several times as many rounds."""
        results = {name: [] for name in measurements}
        rounds = times * self.rounds
        for number in range(rounds):
            for name, measure in measurements.items():
                if sys.stderr.isatty():
                    print(f"  round {number + 1} of {rounds}: {name:<30}", end="\r",
                          file=sys.stderr, flush=True)
                results[name].append(measure())
        return results


def run(command, environment=None):
    done = subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, env={**os.environ, **(environment or {})},
                          check=False)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} ended with {done.returncode}:\n"
                 f"{done.stdout[-2000:]}{done.stderr[-2000:]}")
    return done.stdout


def nodes_of(router):
    for line in (router / "nodemap.txt").read_text().splitlines():
        words = line.split()
        if words and words[0].startswith("0/"):
            yield words[0].split("/")[1], words[-1]


def key_rules(router):
    plan = json.loads((router / "planted.json").read_text())["router"]
    return ["--model", str(plan["model"]), "--bundle-scale", str(plan["bundle_scale"])]


def dump_bytes(router):
    return sum(dump.stat().st_size for dump in router.glob("nodes/*/dumps/*.dat"))


def median(results, name):
    return statistics.median(result[name] for result in results)


def ratio(results, other, name):
    """Median of the ratios of the rounds."""
    return statistics.median(a[name] / b[name] for a, b in zip(results, other))


# Printing

def print_phases(title, results):
    print(f"\n{title}")
    print(f"  {'phase':<14}{'wall s':>9}{'CPU s':>9}{'CPU s of commands':>19}{'commands':>10}"
          f"{'peak MB':>9}")
    for phase in results[0]["phases"]:
        rows = [result["phases"][phase] for result in results]
        print(f"  {phase:<14}{median(rows, 'wall'):9.3f}{median(rows, 'cpu'):9.3f}"
              f"{median(rows, 'commands_cpu'):19.3f}{median(rows, 'commands'):10.0f}"
              f"{median(rows, 'peak_bytes') / 1e6:9.0f}")


def print_others(results):
    for name, rows in results.items():
        print(f"  {name:<26}{median(rows, 'wall'):9.3f} s wall{median(rows, 'cpu'):9.3f} s CPU"
              f"{median(rows, 'peak_bytes') / 1e6:8.0f} MB peak")


def print_target(what, value, target, at_least=False):
    met = value >= target if at_least else value <= target
    print(f"  {what:<58}{value:8.2f}  {'at least' if at_least else 'at most'} {target:g}: "
          f"{'met' if met else 'NOT MET'}")


# Sections

def same_logs(bench):
    """The floor and the peer write what the check writes, but for the lines about its workers."""
    router = bench.router("small", "--line-cards 3 --interfaces 700 --seed 2")
    placed = bench.with_dumps_in_place(router)
    report = bench.work / "report.json"
    logs = {}
    for name, folder, command in (
            ("check", router, [bench.program("check"), report, 0]),
            ("floor", placed, [bench.program("floor"), "/tmp", "/tmp", "--threads", "2"]),
            ("peer", placed, [sys.executable, BENCH / "peer.py", "/tmp", "/tmp"])):
        tmp = bench.work / f"logs-{name}"
        shutil.rmtree(tmp, ignore_errors=True)
        run([bench.lab, "run", folder, "--tmp", tmp, "--", *command])
        logs[name] = {log.name: WORKER_LINES.sub(b"", log.read_bytes())
                      for log in tmp.glob("debug_logs_*.txt")}
        shutil.rmtree(tmp)
        different = [log for log in {**logs["check"], **logs[name]}
                     if logs[name].get(log) != logs["check"].get(log)]
        if different or not logs[name]:
            sys.exit(f"{name} does not write the logs of the check: {' '.join(sorted(different))}")
    print("Floor and peer write the same logs as the check.")


def at_scale(bench, interfaces, peer):
    router = bench.router(f"16x{interfaces}", f"--line-cards 16 --interfaces {interfaces} --seed 1")
    measurements = {
        "check": lambda: bench.check(router),
        "answered, watched": lambda: bench.check_answered(router, 2, watched=True),
        "answered, 2 CPUs": lambda: bench.check_answered(router, 2),
        "floor, 2 threads": lambda: bench.floor(router, 2),
        "answered, 1 CPU": lambda: bench.check_answered(router, 1),
        "floor, 1 thread": lambda: bench.floor(router, 1),
    }
    if peer:
        measurements["peer, 1 thread"] = lambda: bench.peer(router)
    results = bench.interleaved(**measurements)
    megabytes = dump_bytes(router) / 1e6
    print_phases(f"16 cards x {interfaces} interfaces, dumps of {megabytes:.0f} MB, logs of "
                 f"{results['check'][0]['log_bytes'] / 1e6:.0f} MB", results["check"])
    print_phases("  the same with commands answered at once", results["answered, watched"])
    print_others({name: rows for name, rows in results.items() if name != "check"})
    return router, results


def section_scale(bench):
    same_logs(bench)
    router, results = at_scale(bench, 4000, peer=True)
    two, one = results["answered, 2 CPUs"], results["answered, 1 CPU"]
    print_target("CPU, check : floor, 1 thread", ratio(one, results["floor, 1 thread"], "cpu"), 1.5)
    print_target("wall, check : floor, 1 CPU", ratio(one, results["floor, 1 thread"], "wall"), 1.5)
    print_target("CPU, check : floor, 2 threads", ratio(two, results["floor, 2 threads"], "cpu"),
                 1.5)
    print_target("wall, check : floor, 2 CPUs", ratio(two, results["floor, 2 threads"], "wall"),
                 1.5)
    peer = results["peer, 1 thread"]
    print_target("wall, peer : check, 1 CPU", ratio(peer, one, "wall"), 25, at_least=True)
    print_target("wall, peer : check, 2 CPUs", ratio(peer, two, "wall"), 40, at_least=True)
    print_target("peak memory, bytes a byte of dumps",
                 median(results["check"], "peak_bytes") / dump_bytes(router), 2.5)


def section_growth(bench):
    base = bench.router("16x4000", "--line-cards 16 --interfaces 4000 --seed 1")
    routers = {}
    measurements = {"16x4000": lambda: bench.check_answered(base, 2),
                    "floor 16x4000": lambda: bench.floor(base, 2)}
    for cards, interfaces in ((16, 1000), (16, 16000), (8, 4000), (32, 4000), (46, 1000)):
        name = f"{cards}x{interfaces}"
        options = f"--line-cards {cards} --interfaces {interfaces} --seed 1"
        if cards > 16:
            options += " --model 8"
        if interfaces > 10000:
            options += " --bundle-scale 512"
        router = routers[name] = bench.router(name, options)
        measurements[name] = lambda router=router: bench.check_answered(router, 2)
        measurements["floor " + name] = lambda router=router: bench.floor(router, 2)
    results = bench.interleaved(**measurements)
    for name, router in routers.items():
        check, floor = results[name], results["floor " + name]
        cards, interfaces = name.split("x")
        print(f"\n{cards} cards x {interfaces} interfaces, commands answered, 2 CPUs: dumps of "
              f"{dump_bytes(router) / 1e6:.0f} MB, logs of {check[0]['log_bytes'] / 1e6:.0f} MB")
        print_others({"check": check, "floor": floor})
        print(f"  {'CPU, check : floor':<58}{ratio(check, floor, 'cpu'):8.2f}")
        shutil.rmtree(router)
        shutil.rmtree(bench.with_dumps_in_place(router))
    print("\n16 cards x 4000 interfaces in the same rounds")
    print_others({"check": results["16x4000"], "floor": results["floor 16x4000"]})
    for name in ("CPU", "wall"):
        column = name.lower()
        for larger, what, most in (("16x16000", "16,000 : 4,000 interfaces a card", 4),
                                   ("32x4000", "32 : 16 cards", 5)):
            growth = ratio(results[larger], results["16x4000"], column)
            print_target(f"{name}, {what}", growth, most)
    for what, larger, smaller, column in (
            ("CPU in user mode alone", "16x16000", "16x4000", "user_cpu"),
            ("CPU of the floor", "floor 16x16000", "floor 16x4000", "cpu")):
        growth = ratio(results[larger], results[smaller], column)
        print(f"  {what + ', 16,000 : 4,000 interfaces a card':<58}{growth:8.2f}")


def section_unhealthy(bench):
    healthy = bench.router("16x4000", "--line-cards 16 --interfaces 4000 --seed 1")
    # 5 % of 17 PMDBs of 149,508 keys.
    sick = bench.router("16x4000-unhealthy",
                        "--line-cards 16 --interfaces 4000 --seed 1 "
                        "--defect missing-physical-subif:127000 --defect leaked:34000")
    results = bench.interleaved(times=3,
                                healthy=lambda: bench.check_answered(healthy, 2),
                                unhealthy=lambda: bench.check_answered(sick, 2))
    findings = results["unhealthy"][0]["findings"]
    print("\nUnhealthy, 16 cards x 4000 interfaces, commands answered, 2 CPUs: "
          f"{findings} findings")
    print_others(results)
    cost = statistics.median(b["cpu"] - a["cpu"] for a, b in zip(*results.values())) / findings
    print_target("CPU a finding, its bytes included, us", 1e6 * cost, 1)
    leaky = bench.router("leaky", "--line-cards 2 --interfaces 100 --seed 1 --defect leaked:6000")
    results = bench.interleaved(leaks=lambda: bench.check(leaky))["leaks"]
    print_phases("2 cards with about 2,000 leaks a node, each asked for", results)
    print_target("verification : commands of the slowest node", to_slowest(results, "verification"),
                 1.05)


def section_multicast(bench):
    router = bench.router("multicast",
                          "--line-cards 16 --interfaces 100 --seed 1 --multicast 1000")
    results = bench.interleaved(
        answered=lambda: bench.check_answered(router, 2, mode=1, watched=True))["answered"]
    print_phases("Multicast, 1,000 routes x 16 cards, commands answered, 2 CPUs", results)
    print_phases("Multicast, 1,000 routes x 16 cards, one run", [bench.check(router, mode=1)])


def section_late(bench):
    router = bench.router("late", "--line-cards 46 --interfaces 100 --model 8 --seed 1",
                          damage="* ssh late 200\n")
    results = bench.interleaved(late=lambda: bench.check(router))["late"]
    print_phases("47 nodes whose ssh takes 200 ms, 46 of them cards of 100 interfaces", results)
    print_target("dump phase : commands of the slowest node", to_slowest(results, "dump"), 1.05)


def to_slowest(results, phase):
    return statistics.median(result["phases"][phase]["wall"] /
                             result["phases"][phase]["slowest_worker_in_commands"]
                             for result in results)


def medians_of_parts(bench, router, which, times):
    """The median of many turns of each part whose name `which` matches, or with a minus sign does
    not match."""
    report = bench.work / "parts.json"
    run([bench.lab, "run", router, "--", bench.program("parts"), f"--benchmark_filter={which}",
         "--benchmark_min_time=0.1", "--benchmark_enable_random_interleaving=true",
         f"--benchmark_repetitions={times}", "--benchmark_report_aggregates_only=true",
         f"--benchmark_out={report}", "--benchmark_out_format=json"],
        environment={"ZORBEC_BENCH_ROUTER": str(router)})
    return sorted((part for part in json.loads(report.read_text())["benchmarks"]
                   if part.get("aggregate_name") == "median"),
                  key=lambda part: (part["family_index"], part["run_name"]))


def section_parts(bench):
    print("\nParts", flush=True)
    router = bench.router("16x4000", "--line-cards 16 --interfaces 4000 --seed 1")
    # Short turns, and many of them: the machine's speed changes meanwhile. Starting a process moves
    # more than anything else, and a tenth of it matters.
    commands = "execute|spawn"
    medians = {}
    for part in (*medians_of_parts(bench, router, f"-{commands}", 3 * bench.rounds),
                 *medians_of_parts(bench, router, commands, 9 * bench.rounds)):
        medians[part["run_name"]] = part["real_time"]
        if part["run_name"] == "report_missing":
            finding = 1e6 / part["items_per_second"]
        rates = ", ".join(f"{part[rate] / 1e6:.1f} M{unit}/s" for rate, unit in
                          (("bytes_per_second", "B"), ("items_per_second", " items"))
                          if rate in part)
        print(f"  {part['run_name']:<54}{part['real_time']:14.1f} {part['time_unit']}  {rates}")
    print_target("us a finding", finding, 1)
    for name, time in medians.items():
        if name.startswith("execute/"):
            print_target(f"{name} : bare spawn", time / medians[name.replace("execute", "spawn")],
                         1.1)


SECTIONS = {name.removeprefix("section_"): function for name, function in list(globals().items())
            if name.startswith("section_")}


def print_machine():
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text("utf-8"))
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    print(f"{model.group(1) if model else platform.processor()}, {os.cpu_count()} CPUs, "
          f"{memory:.0f} GB, Linux {platform.release()}, "
          f"Python {platform.python_version()}, load {os.getloadavg()[0]:.2f}")


def keep_small_pages():
    """Keeps free memory with a virtual machine for as long as the result lives. The machine's
    kernel reports free blocks of 2 MB to its host, which takes them back, and whoever uses them
    next waits for the host: a small run finds what the one before has left, a large one does not.
    Here a page of each block is held, so that the rest, free for all, is not reported. Large pages
    are such blocks; the check, which alone asks for some, sees to them before its time begins."""
    area = mmap.mmap(-1, KEPT_BYTES, flags=mmap.MAP_PRIVATE | mmap.MAP_ANONYMOUS)
    # A large page of which a part is given back stays whole.
    area.madvise(mmap.MADV_NOHUGEPAGE)
    for page in range(0, KEPT_BYTES, mmap.PAGESIZE):
        area[page] = 0
    for block in range(0, KEPT_BYTES, KEPT_BLOCK):
        area.madvise(mmap.MADV_DONTNEED, block + mmap.PAGESIZE, KEPT_BLOCK - mmap.PAGESIZE)
    return area


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="folder of the programs")
    parser.add_argument("--work", type=pathlib.Path, required=True,
                        help="folder for generated routers, emptied first")
    parser.add_argument("--only", choices=SECTIONS, action="append", help="this section")
    parser.add_argument("--rounds", type=int, default=5, help="how often everything is measured")
    arguments = parser.parse_args()

    shutil.rmtree(arguments.work, ignore_errors=True)
    arguments.work.mkdir(parents=True)
    print_machine()
    bench = Bench(arguments.build.resolve(), arguments.work.resolve(), arguments.rounds)
    try:
        with keep_small_pages():
            for name in arguments.only or SECTIONS:
                SECTIONS[name](bench)
                sys.stdout.flush()
    finally:
        shutil.rmtree(arguments.work)


if __name__ == "__main__":
    main()
