# SPDX-License-Identifier: MIT
"""Programs that show the tray, for tests to start and to end."""

import subprocess

import screen
from bus import session_bus
from process import end_with_parent, ended
from tray import has_tray
from waiting import NotSeen, wait_until

COMMANDS = {
    "xfce4-panel": ["xfce4-panel", "--disable-wm-check"],
    # Knows nothing but icons embedded as windows of X11.
    "trayer": ["trayer", "--edge", "top", "--align", "right", "--widthtype", "request",
               "--height", "32", "--monitor", "0"],
    "waybar": ["waybar"],
}


class Host:
    """A context manager: the host runs, and takes icons, inside it."""

    def __init__(self, name):
        self.name = name
        self._process = None

    def __enter__(self):
        try:
            self._process = subprocess.Popen(COMMANDS[self.name], stdin=subprocess.DEVNULL,
                                             stdout=subprocess.DEVNULL, preexec_fn=end_with_parent)
        except FileNotFoundError:
            raise NotSeen(f"{self.name} is not installed; run scripts/bootstrap.") from None
        wait_until(self._takes_icons, 30, f"{self.name} did not offer a tray.")
        return self

    def _takes_icons(self):
        if self.name == "trayer":
            return screen.window_area("panel")
        return has_tray(session_bus())

    def __exit__(self, *_):
        self.end()

    def end(self):
        self._process.terminate()
        wait_until(lambda: ended(self._process), 10, f"{self.name} does not end.")
