# SPDX-License-Identifier: MIT
"""The command line of the desktop test programs: each run executes one test case by name."""

import argparse
import contextlib
import os
import subprocess
import sys

from hosts import Host
from program import QUIET_START, Program
from screen import take
from waiting import NotSeen


class Arguments(argparse.Namespace):
    """`application` is the path of the program."""

    has_failed = False

    def program(self, *words, **variables):
        """Start it with these arguments and environment variables; a context manager."""
        return Program(self.application, *words, on_failure=self.picture_of_failure, **variables)

    def program_at_login(self, *words, **variables):
        """Start it as the session does, so that its panel stays closed; a context manager."""
        return self.program(*words, **QUIET_START, **variables)

    def host(self, name):
        """Start a tray host; a context manager."""
        return Host(name, on_failure=self.picture_of_failure)

    def picture(self, name):
        """Save the screen."""
        os.makedirs(self.pictures, exist_ok=True)
        take(os.path.join(self.pictures, f"{self.case}-{name}.png"))

    def picture_of_failure(self):
        """Save the screen at the first failure, which shows the cause."""
        if not self.has_failed:
            self.has_failed = True
            # The screen may be gone already.
            with contextlib.suppress(NotSeen, OSError, subprocess.CalledProcessError):
                self.picture("here-it-failed")


def run(cases, description):
    by_name = {case.__name__.replace("_", "-"): case for case in cases}
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("case", choices=by_name)
    parser.add_argument("--application", required=True, help="the program")
    parser.add_argument("--pictures", required=True, help="the folder for screenshots")
    arguments = parser.parse_args(namespace=Arguments())
    try:
        by_name[arguments.case](arguments)
    except NotSeen as reason:
        sys.exit(f"{arguments.case}: {reason}")
