"""Whether `zorbec-lab run --openssh` can work here, and for which scenarios it cannot."""

import os
import sys

SKIPPED = 77  # the exit status by which ctest knows a test that was not run

# Cases whose expected files no real client can leave.
IMPOSSIBLE = {
    "mcast-node-address-empty": "without an address ssh takes the tool for the host and the tool's"
    " options for its own: it tells how it is used",
}


def why_not():
    """The reason, or nothing."""
    if os.geteuid() != 0:
        return "real ssh servers in the lab need root"
    if not os.access("/usr/sbin/sshd", os.X_OK):
        return "no /usr/sbin/sshd: scripts/packages openssh installs it"
    return ""


def run_tests(names):
    """Runs the calling program's tests of these names, all if there are none; its exit status."""
    if why_not():
        print(f"skipped: {why_not()}")
        return SKIPPED
    # Slower to load than most of the runs of those who import this file for its other parts.
    import unittest  # pylint: disable=import-outside-toplevel

    program = unittest.main(argv=[sys.argv[0], "-v", *names], exit=False)
    return not program.result.wasSuccessful()
