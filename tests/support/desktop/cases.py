# SPDX-License-Identifier: MIT
"""What the programs that test on a desktop share: one case of several, by name, on the command
line."""

import argparse
import os
import sys

from program import Program
from screen import take
from waiting import NotSeen


class Arguments(argparse.Namespace):
    """`application` is the path of the program."""

    def program(self, *words, **variables):
        """A run of it, with these arguments and environment variables; a context manager."""
        return Program(self.application, *words, on_failure=self._picture_of_failure, **variables)

    def picture(self, name):
        """Save what is to be seen now."""
        os.makedirs(self.pictures, exist_ok=True)
        take(os.path.join(self.pictures, f"{self.case}-{name}.png"))

    def _picture_of_failure(self):
        try:
            self.picture("here-it-failed")
        except (NotSeen, OSError):
            pass  # There may be no screen any more.


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
