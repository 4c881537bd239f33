# SPDX-License-Identifier: MIT
"""Tray hosts, which tests start and end."""

import subprocess

import screen
from bus import session_bus
from process import end_with_parent, ended
from tray import has_embedding_tray, has_tray
from waiting import NotSeen, wait_until

COMMANDS = {
    "xfce4-panel": ["xfce4-panel", "--disable-wm-check"],
    # Supports only XEmbed icons.
    "trayer": ["trayer", "--edge", "top", "--align", "right", "--widthtype", "request",
               "--height", "32", "--monitor", "0"],
    "waybar": ["waybar"],
    "tint2": ["tint2"],
    "lxqt-panel": ["lxqt-panel"],
    "mate-panel": ["mate-panel"],
}


class Host:
    """A context manager. Inside it the host runs and accepts icons. `on_failure` is called at its
    end if an exception was raised."""

    def __init__(self, name, on_failure=lambda: None):
        self.name = name
        self._on_failure = on_failure
        self._process = None

    def __enter__(self):
        try:
            self._process = subprocess.Popen(COMMANDS[self.name], stdin=subprocess.DEVNULL,
                                             stdout=subprocess.DEVNULL, preexec_fn=end_with_parent)
        except FileNotFoundError:
            raise NotSeen(f"{self.name} is not installed; run scripts/bootstrap.") from None
        wait_until(self._accepts_icons, 30, f"{self.name} did not offer a tray.")
        return self

    def _accepts_icons(self):
        if self.name == "trayer":
            return screen.window_area("panel")
        if self.name == "tint2":
            return has_embedding_tray()
        return has_tray(session_bus())

    def __exit__(self, failure, *_):
        if failure:
            self._on_failure()
        self.end()

    def end(self):
        self._process.terminate()
        try:
            wait_until(lambda: ended(self._process), 5, "")
        except NotSeen:
            self._process.kill()
            self._process.wait()
