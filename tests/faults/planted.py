#!/usr/bin/python3
"""Plants things of another user under names in /tmp, runs a command and tells what came of it.

    planted.py KIND NAME... -- COMMAND...

To be run in the lab, as root. Prints one JSON object: exit status, output and errors of the
command, and complaints: what was written outside, and names that still are what was planted.
"""

import json
import os
import socket
import stat
import subprocess
import sys
from pathlib import Path

STRANGER = 65534
PATIENCE = 60  # seconds
TMP = Path("/tmp")
OUTSIDE = TMP / "outside"
PRECIOUS = b"precious\n"


def make_socket(name):
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(TMP / name))


def make_file(name):
    (TMP / name).write_bytes(b"")
    (TMP / name).chmod(0o666)


def make_victim(name):
    """A file of root's that nobody but the victim may change."""
    victim = OUTSIDE / name
    victim.write_bytes(PRECIOUS)
    os.utime(victim, (1, 1))
    return victim


KINDS = {
    "link": lambda name: (TMP / name).symlink_to(make_victim(name)),
    "dangling": lambda name: (TMP / name).symlink_to(OUTSIDE / name),
    "hard_link": lambda name: os.link(make_victim(name), TMP / name),
    "fifo": lambda name: os.mkfifo(TMP / name, 0o666),
    "folder": lambda name: (TMP / name).mkdir(),
    "socket": make_socket,
    "file": make_file,
}


def plant(kind, name):
    KINDS[kind](name)
    if kind != "hard_link":  # its owner is the victim
        os.chown(TMP / name, STRANGER, STRANGER, follow_symlinks=False)


def complaints(kind, names):
    for name in names:
        victim = OUTSIDE / name
        if kind == "dangling":
            if victim.exists():
                yield f"{victim} was made"
        elif victim.exists():
            status = victim.stat()
            if victim.read_bytes() != PRECIOUS or status.st_mtime != 1 or status.st_size != 9:
                yield f"{victim} was written to"
        status = os.stat(TMP / name, follow_symlinks=False) if os.path.lexists(TMP / name) else None
        if status is None or name.startswith("pidb_gre_intf.dat"):
            continue
        if not stat.S_ISREG(status.st_mode) or status.st_uid != os.getuid() or status.st_nlink != 1:
            yield f"{name} is still what was planted"


def main():
    kind = sys.argv[1]
    end = sys.argv.index("--")
    names = sys.argv[2:end]
    OUTSIDE.mkdir()
    for name in names:
        plant(kind, name)
    result = subprocess.run(
        sys.argv[end + 1 :], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
        stderr=subprocess.PIPE, text=True, timeout=PATIENCE, check=False,
    )  # fmt: skip
    json.dump(
        {
            "exit": result.returncode,
            "output": result.stdout,
            "errors": result.stderr,
            "complaints": list(complaints(kind, names)),
        },
        sys.stdout,
    )


if __name__ == "__main__":
    main()
