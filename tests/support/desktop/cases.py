# SPDX-License-Identifier: MIT
"""What the programs that test on a desktop share: one case of several, by name, on the command
line."""

import argparse
import contextlib
import os
import subprocess
import sys

from hosts import Host
from program import Program
from screen import take
from waiting import NotSeen


class Arguments(argparse.Namespace):
    """`application` is the path of the program."""

    has_failed = False

    def program(self, *words, **variables):
        """A run of it, with these arguments and environment variables; a context manager."""
        return Program(self.application, *words, on_failure=self._picture_of_failure, **variables)

    def host(self, name):
        """A tray; a context manager."""
        return Host(name, on_failure=self._picture_of_failure)

    def picture(self, name):
        """Save what is to be seen now."""
        os.makedirs(self.pictures, exist_ok=True)
        take(os.path.join(self.pictures, f"{self.case}-{name}.png"))

    def _picture_of_failure(self):
        """The first is the one that shows all."""
        if not self.has_failed:
            self.has_failed = True
            # There may be no screen any more.
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
