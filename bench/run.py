#!/usr/bin/python3
"""What a check costs on generated routers, beside a program that only reads and writes the same
bytes and the script that an engineer would write. docs/performance.md tells how to read it."""

import argparse
import json
import os
import pathlib
import platform
import re
import shutil
import statistics
import subprocess
import sys
import time

BENCH = pathlib.Path(__file__).resolve().parent
WORKER_LINES = re.compile(
    rb"\n(Verify Thread : |Waiting for pid |pid )<[^>]*>( on node: \w+| to join \n| joined)")
DUMPS = ("pidb_physical", "pidb_physical_subif", "pidb_bundle", "pidb_bundle_subif",
         "pidb_bvi_intf", "pidb_gre_intf", "pmdb")
# Every run of a round has the same two processors, or the first of them.
CPUS = {1: "0", 2: "0,1"}
SCALE = "--line-cards 16 --interfaces 4000 --seed 1"


class Bench:
    def __init__(self, build, work, rounds):
        self.build = build
        self.work = work
        self.rounds = rounds
        self.lab = build / "zorbec-lab"

    def program(self, name):
        return str(self.build / f"zorbec-bench-{name}")

    def router(self, name, options, damage=""):
        """Generates a router, or takes the one that an earlier section generated."""
        folder = self.work / name
        if not folder.exists():
            run([self.lab, "generate", folder, *options.split()])
            if damage:
                (folder / "damage.txt").write_text(damage)
        return folder

    def with_dumps_in_place(self, router):
        """A router of which there is only /tmp, with all dumps under the names of their copies."""
        folder = router.with_name(router.name + "-in-place")
        if not folder.exists():
            (folder / "tmp").mkdir(parents=True)
            for node, address in nodes_of(router):
                for dump in DUMPS:
                    place = folder / "tmp" / f"{dump}_{node}.dat"
                    original = router / "nodes" / address / "dumps" / f"{dump}.dat"
                    if original.exists():
                        os.link(original, place)
                    else:
                        place.touch()  # what is left of a copy that failed
        return folder

    # Measurements. Each returns a dictionary with at least wall, cpu and peak_bytes.

    def check(self, router, mode=0):
        """A check as it is: the library runs the simulated router's tools."""
        return self.run_check(router, 2, [mode, "watched"])

    def answered(self, router, cpus=2, mode=0):
        """A check whose commands are all answered at once."""
        return self.run_check(self.with_dumps_in_place(router), cpus, [mode, "answered", router])

    def run_check(self, folder, cpus, options):
        report, findings, sizes = (self.work / name for name in ("report", "findings", "sizes"))
        script = '"${@:3}" >"$1" && stat -c "%n %s" /tmp/*debug_logs*.txt >"$2"'
        run([self.lab, "run", folder, "--", "taskset", "-c", CPUS[cpus],
             "bash", "-c", script, "bash", findings, sizes,
             self.program("check"), report, *options])
        phases = json.loads(report.read_text())
        result = {name: sum(phase[name] for phase in phases.values())
                  for name in ("wall", "cpu", "commands_cpu", "commands")}
        result["peak_bytes"] = max(phase["peak_bytes"] for phase in phases.values())
        result["phases"] = phases
        result["findings"] = findings.read_text().count("PMDB")
        result["logs"] = {name: int(size) for name, size in
                          (line.split() for line in sizes.read_text().splitlines())}
        return result

    def io_floor(self, router, logs):
        """Reading the dumps and writing logs of these sizes, nothing else."""
        folder = self.with_dumps_in_place(router)
        lines = [f"read /tmp/{dump.name}\n" for dump in (folder / "tmp").iterdir()]
        lines += [f"write {name} {size}\n" for name, size in logs.items()]
        files = self.work / "files"
        files.write_text("".join(lines))
        return self.outside(folder, [self.program("io-floor"), files])

    def script(self, router):
        return self.outside(self.with_dumps_in_place(router), script_command(router))

    def outside(self, folder, command):
        """Runs another program than the check on one CPU; it says itself what it took."""
        output = run([self.lab, "run", folder, "--", "taskset", "-c", CPUS[1], *command])
        wall, cpu, peak = re.search(r"wall ([\d.]+) s, CPU ([\d.]+) s, peak ([\d.]+) MB",
                                    output).groups()
        return {"wall": float(wall), "cpu": float(cpu), "peak_bytes": float(peak) * 1e6}

    def interleaved(self, **measurements):
        """Takes every measurement once a round; returns a list of results for each. A round before
        them is not counted: in a virtual machine, who first touches memory waits for its host."""
        for measure in measurements.values():
            measure()
        results = {name: [] for name in measurements}
        for _ in range(self.rounds):
            for name, measure in measurements.items():
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


def script_command(router):
    plan = json.loads((router / "planted.json").read_text())["router"]
    return [sys.executable, BENCH / "peer.py", "/tmp", "/tmp",
            "--model", plan["model"], "--bundle-scale", plan["bundle_scale"]]


def nodes_of(router):
    for line in (router / "nodemap.txt").read_text().splitlines():
        words = line.split()
        if words and words[0].startswith("0/"):
            yield words[0].split("/")[1], words[-1]


def dump_bytes(router):
    return sum(dump.stat().st_size for dump in router.glob("nodes/*/dumps/*.dat"))


def log_bytes(results):
    return sum(results[0]["logs"].values())


def median(results, name):
    return statistics.median(result[name] for result in results)


def ratio(results, other, name):
    """Median of the ratios of the rounds."""
    return statistics.median(a[name] / b[name] for a, b in zip(results, other))


# Printing

def print_head(title):
    print(f"\n{title}\n  {'':<40}{'wall s':>9}{'CPU s':>9}{'peak MB':>9}")


def print_row(name, results):
    print(f"  {name:<40}{median(results, 'wall'):9.2f}{median(results, 'cpu'):9.2f}"
          f"{median(results, 'peak_bytes') / 1e6:9.0f}")


def print_phases(results):
    """The phases of a check that ran commands, and what the commands used."""
    for phase in ("dump", "verification"):  # before them two commands are run
        rows = [result["phases"][phase] for result in results]
        print_row(f"check, {phase} phase", rows)
        if median(rows, "commands") > 0:
            print(f"    {median(rows, 'commands'):.0f} commands, "
                  f"{median(rows, 'commands_cpu'):.2f} s of CPU; the slowest node waited "
                  f"{median(rows, 'slowest_worker_in_commands'):.2f} s for its own")


def print_figure(what, value, unit=""):
    print(f"  {what:<49}{value:9.2f} {unit}".rstrip())


def print_sizes(router, results):
    print_figure("dumps", dump_bytes(router) / 1e6, "MB")
    print_figure("logs", log_bytes(results) / 1e6, "MB")


# Sections

def section_scale(bench):
    compare_logs(bench)
    router = bench.router("16x4000", SCALE)
    logs = bench.answered(router)["logs"]
    results = bench.interleaved(
        check=lambda: bench.check(router),
        two=lambda: bench.answered(router),
        one=lambda: bench.answered(router, cpus=1),
        io_floor=lambda: bench.io_floor(router, logs))
    script = [bench.script(router)]

    print_head("16 cards x 4,000 interfaces")
    print_phases(results["check"])
    print_row("check, commands answered, 2 CPUs", results["two"])
    print_row("check, commands answered, 1 CPU", results["one"])
    print_row("only reading and writing, 1 CPU", results["io_floor"])
    print_row("script, 1 CPU, one round", script)
    print_sizes(router, results["check"])
    print_figure("CPU, check : only reading and writing, 1 CPU",
                 ratio(results["one"], results["io_floor"], "cpu"))
    for name, what in (("cpu", "CPU"), ("wall", "wall")):
        print_figure(f"{what}, script : check, 1 CPU",
                     script[0][name] / median(results["one"], name))


def compare_logs(bench):
    """The script writes what the check writes, but for the lines about its workers."""
    router = bench.router("small", "--line-cards 3 --interfaces 700 --seed 2")
    logs = []
    for folder, command in (
            (router, [bench.program("check"), bench.work / "report", 0]),
            (bench.with_dumps_in_place(router), script_command(router))):
        tmp = bench.work / "tmp"
        run([bench.lab, "run", folder, "--tmp", tmp, "--", *command])
        logs.append({log.name: WORKER_LINES.sub(b"", log.read_bytes())
                     for log in tmp.glob("debug_logs_*.txt")})
        shutil.rmtree(tmp)
    if logs[0] != logs[1] or not logs[0]:
        sys.exit("the script does not write the logs of the check")


def section_growth(bench):
    routers = {
        "16 x 4,000": bench.router("16x4000", SCALE),
        "16 x 16,000": bench.router("16x16000", "--line-cards 16 --interfaces 16000 --seed 1 "
                                                "--bundle-scale 512"),
        "32 x 4,000": bench.router("32x4000", "--line-cards 32 --interfaces 4000 --seed 1 "
                                              "--model 8"),
    }
    results = bench.interleaved(**{name: lambda router=router: bench.answered(router)
                                   for name, router in routers.items()})
    for name, router in routers.items():
        print_head(f"{name} interfaces, commands answered, 2 CPUs")
        print_row("check", results[name])
        print_sizes(router, results[name])
        print_figure("CPU, times that of 16 x 4,000",
                     ratio(results[name], results["16 x 4,000"], "cpu"))


def section_unhealthy(bench):
    healthy = bench.router("16x4000", SCALE)
    missing = bench.router("missing", SCALE + " --defect missing-physical-subif:127000")
    leaked = bench.router("leaked", SCALE + " --defect leaked:34000")
    results = bench.interleaved(healthy=lambda: bench.answered(healthy),
                                missing=lambda: bench.answered(missing),
                                leaked=lambda: bench.answered(leaked))
    print_head("16 x 4,000 with findings, commands answered, 2 CPUs")
    for name, rows in results.items():
        print_row(f"{name}, {rows[0]['findings']:,} findings", rows)
    for name in ("missing", "leaked"):
        more = statistics.median(sick["cpu"] - well["cpu"]
                                 for sick, well in zip(results[name], results["healthy"]))
        print_figure(f"CPU, {name} beyond healthy", more, "s")
    leaky = bench.router("leaky", "--line-cards 2 --interfaces 100 --seed 1 --defect leaked:3000")
    print_head("2 cards with 3,000 leaks, each asked for, one round")
    print_phases([bench.check(leaky)])


def section_multicast(bench):
    router = bench.router("multicast",
                          "--line-cards 16 --interfaces 100 --seed 1 --multicast 500")
    results = bench.interleaved(answered=lambda: bench.answered(router, mode=1))
    print_head("Multicast, 500 routes x 16 cards")
    print_row("commands answered, 2 CPUs", results["answered"])
    print("  with its commands, one round:")
    print_phases([bench.check(router, mode=1)])


def section_late(bench):
    router = bench.router("late", "--line-cards 46 --interfaces 100 --model 8 --seed 1",
                          damage="* ssh late 200\n")
    print_head("47 nodes whose ssh takes 200 ms")
    print_phases(bench.interleaved(late=lambda: bench.check(router))["late"])


def section_parts(bench):
    # Short turns, and several of them: the machine's speed changes meanwhile.
    router = bench.router("8x4000", "--line-cards 8 --interfaces 4000 --seed 1")
    report = bench.work / "parts"
    run([bench.lab, "run", router, "--", bench.program("parts"),
         "--benchmark_min_time=0.1", f"--benchmark_repetitions={3 * bench.rounds}",
         "--benchmark_enable_random_interleaving=true",
         f"--benchmark_out={report}", "--benchmark_out_format=json"],
        environment={"ZORBEC_BENCH_ROUTER": str(router)})
    print("\nParts, on the dumps of one of 8 cards x 4,000 interfaces")
    parts = [part for part in json.loads(report.read_text())["benchmarks"]
             if part.get("aggregate_name") == "median"]
    for part in sorted(parts, key=lambda part: (part["family_index"], part["run_name"])):
        rates = [f"{part[rate] / 1e6:9.1f} M{unit}/s" for rate, unit in
                 (("bytes_per_second", "B"), ("items_per_second", " items")) if rate in part]
        # CPU time, but wall time where what takes the time is another process.
        which = "real_time" if part["run_name"].startswith("run_command/") else "cpu_time"
        name = part["run_name"].replace("/real_time", "")
        print(f"  {name:<30}{part[which]:9.1f} {part['time_unit']}{''.join(rates)}")


SECTIONS = {"scale": section_scale, "growth": section_growth, "unhealthy": section_unhealthy,
            "multicast": section_multicast, "late": section_late, "parts": section_parts}


def print_machine():
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text("utf-8"))
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    print(f"{model.group(1) if model else platform.processor()}, {os.cpu_count()} CPUs, "
          f"{memory:.0f} GB, Linux {platform.release()}, "
          f"Python {platform.python_version()}, load {os.getloadavg()[0]:.2f}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="folder of the programs")
    parser.add_argument("--work", type=pathlib.Path, required=True,
                        help="folder for generated routers, emptied first")
    parser.add_argument("--only", choices=SECTIONS, action="append", help="this section")
    parser.add_argument("--rounds", type=int, default=3, help="how often everything is measured")
    arguments = parser.parse_args()

    shutil.rmtree(arguments.work, ignore_errors=True)
    arguments.work.mkdir(parents=True)
    print_machine()
    bench = Bench(arguments.build.resolve(), arguments.work.resolve(), arguments.rounds)
    begin = time.monotonic()
    try:
        for name in arguments.only or SECTIONS:
            SECTIONS[name](bench)
            sys.stdout.flush()
    finally:
        shutil.rmtree(arguments.work)
    print(f"\n{time.monotonic() - begin:.0f} s, load {os.getloadavg()[0]:.2f}")


if __name__ == "__main__":
    main()
