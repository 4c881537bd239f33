# SPDX-License-Identifier: MIT
"""Screenshots: numbered ones of the whole screen, and portraits of a window in dark and light."""

import glob
import os

import screen
from appearance import DARK, LIGHT
from application import say
from waiting import NotSeen


class Pictures:
    def __init__(self, folder):
        self.folder = folder
        self.number = 0
        for pattern in ("[0-9][0-9]-*.png", "panel*.png", "settings*.png"):
            for old in glob.glob(os.path.join(folder, pattern)):
                os.remove(old)

    def take(self, name):
        self.number += 1
        screen.settled_picture().save(os.path.join(self.folder, f"{self.number:02}-{name}.png"))

    def take_failure(self):
        """Save the screen at a failure, if it can still be captured."""
        try:
            screen.Picture().save(os.path.join(self.folder, "99-here-it-stopped.png"))
        except NotSeen:
            pass

    def take_window(self, title, name):
        area = screen.window_area(title)
        if not area:
            raise NotSeen(f"\"{title}\" was closed before its picture was taken.")
        screen.settled_picture().save(os.path.join(self.folder, f"{name}.png"), area)


class Portraits:
    """Pictures of a window in dark and in light. `suffix` is part of their file names."""

    def __init__(self, app, pictures, appearance, suffix=""):
        self._app, self._pictures, self._appearance = app, pictures, appearance
        self._suffix = suffix

    def take(self, title, name):
        for scheme, word in ((DARK, "dark"), (LIGHT, "light")):
            say(f"\"{title}\" in {word}")
            self._appearance.set(scheme)
            self._await(title, scheme == DARK)
            dark = "-dark" if scheme == DARK else ""
            self._pictures.take_window(title, f"{name}{dark}{self._suffix}")

    def _await(self, title, is_dark):
        def followed():
            area = screen.window_area(title)
            return area and screen.Picture().is_dark(area) == is_dark
        self._app.wait(followed, f"\"{title}\" did not follow the desktop's colour scheme.")
