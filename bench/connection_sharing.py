#!/usr/bin/python3
"""What a multicast check over the real ssh costs with a connection for each command, and with
connections that commands share. docs/connection-sharing.md tells how to read it. Needs root."""

import argparse
import os
import pathlib
import shutil
import statistics
import subprocess
import sys

# In the lab's own /tmp, so that nothing of the machine is changed; a router has a safer place.
FOLDER = "/tmp/sharing"
SHARING = f"ControlMaster auto\nControlPath {FOLDER}/%C\nControlPersist 60\n"
MEASURE = f"mkdir -m 700 {FOLDER}; "
MEASURE += 'TIMEFORMAT="%R %U %S"; time "$0" check multicast --quiet >/dev/null'


def measure(lab, zorbec, router, config):
    """Seconds of one check: wall time, and the CPU time of the checker and the client programs."""
    options = ["--ssh-config", config] if config else []
    result = subprocess.run(
        [lab, "run", "--openssh", *options, router, "--", "bash", "-c", MEASURE, zorbec],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
        check=False,
    )
    if result.returncode != 0:
        sys.exit(f"the check ended with status {result.returncode}\n{result.stderr}")
    wall, user, system = map(float, result.stderr.split()[-3:])
    return wall, user + system


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True,
                        help="folder of a release build")
    parser.add_argument("--work", type=pathlib.Path, required=True,
                        help="folder for routers, removed")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("rifs", type=int, nargs="*", metavar="RIFS", help="default: 1 100 1000")
    options = parser.parse_args()
    lab, zorbec = options.build.resolve() / "zorbec-lab", options.build.resolve() / "zorbec"
    work = options.work.resolve()
    work.mkdir(parents=True)
    config = work / "ssh_config"
    config.write_text(SHARING)
    print(f"{os.cpu_count()} cores, load {os.getloadavg()[0]:.1f}; a route processor and a line"
          f" card; medians of {options.rounds}, in seconds")
    print(" RIFs  sharing    wall  client CPU")
    for rifs in options.rifs or (1, 100, 1000):
        router = work / str(rifs)
        command = [lab, "generate", router, "--line-cards", "1", "--interfaces", "1",
                   "--multicast", str(rifs)]
        subprocess.run(command, check=True)
        times = {"off": [], "on": []}
        for _ in range(options.rounds):
            times["off"].append(measure(lab, zorbec, router, None))
            times["on"].append(measure(lab, zorbec, router, config))
        for sharing, rounds in times.items():
            wall, cpu = (statistics.median(column) for column in zip(*rounds))
            print(f"{rifs:5}  {sharing:7} {wall:7.2f} {cpu:11.2f}", flush=True)
    shutil.rmtree(work)


if __name__ == "__main__":
    main()
