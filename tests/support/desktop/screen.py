# SPDX-License-Identifier: MIT
"""The screen by the X server: places of windows, the pointer, and pictures."""

import os
import re
import subprocess

from waiting import NotSeen, wait_until


def area_in(title, top, node):
    """Where a part of the window `top` is, whose toolkit may count in units of its own; or None."""
    outside, inside, part = window_area(title), top.area(), node.area()
    if not (outside and inside and part):
        return None
    scale = outside[2] / inside[2]
    return (round(outside[0] + (part[0] - inside[0]) * scale),
            round(outside[1] + (part[1] - inside[1]) * scale),
            round(part[2] * scale), round(part[3] * scale))


def click(place, at=0.5):
    """`at` tells how far from the left edge; two clicks far from each other are no double click."""
    x, y, width, height = place
    xdotool("mousemove", str(x + int(width * at)), str(y + height // 2), "click", "1")


def wheel(place, down):
    """One step."""
    x, y, width, height = place
    xdotool("mousemove", str(x + width // 2), str(y + height - 12), "click", "5" if down else "4")


def park_pointer():
    """Out of the way of the pictures."""
    xdotool("mousemove", "2", "400")


def active_window_title():
    return xdotool("getactivewindow", "getwindowname", check=False).strip()


def window_id(title):
    """Of the one visible window of that title by the X server, or None."""
    found = xdotool("search", "--onlyvisible", "--name", f"^{re.escape(title)}$", check=False).split()
    return found[0] if len(found) == 1 else None


def window_area(title):
    """(x, y, width, height) of that window's inside, or None."""
    identity = window_id(title)
    answer = read("xwininfo", "-id", identity) if identity else ""
    values = [re.search(rf"{name}: +(-?\d+)", answer) for name in (
        "Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")]
    return tuple(int(value[1]) for value in values) if all(values) else None


def tray_area():
    """Of the tray, which is a window of its own within the desktop's panel, when it shows more than
    a plain ground; else None."""
    return drawn_area("wrapper-2.0")


def drawn_area(title):
    """Of that window when it shows more than a plain ground; else None."""
    place = window_area(title)
    return place if place and len(Picture().colours(place)) > 2 else None


def close(title):
    click(wait_until(lambda: close_button_area(title), 10,
                     f"\"{title}\" has no title bar to close it by."))


def close_button_area(title):
    """Where the window manager shows it: at the right end of the title bar; or None."""
    place = window_area(title)
    frame = read("xprop", "-id", window_id(title), "_NET_FRAME_EXTENTS") if place else ""
    extents = re.search(r"= \d+, (\d+), (\d+), \d+", frame)
    if not extents:
        return None
    right, top = int(extents[1]), int(extents[2])
    return place[0] + place[2] + right - top, place[1] - top, top, top


def read(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout


def xdotool(*arguments, check=True):
    done = subprocess.run(["xdotool", *arguments], capture_output=True, text=True, check=False)
    if check and done.returncode != 0:
        raise NotSeen(f"xdotool {arguments[0]} did not work: {done.stderr.strip()}")
    return done.stdout


class Picture:
    """The whole screen at one moment."""

    def __init__(self):
        geometry = xdotool("getdisplaygeometry").split()
        self.width, self.height = int(geometry[0]), int(geometry[1])
        done = subprocess.run(["import", "-silent", "-window", "root", "-depth", "8", "rgb:-"],
                              capture_output=True, check=False)
        if len(done.stdout) != self.width * self.height * 3:
            raise NotSeen("The screen could not be captured.")
        self.pixels = done.stdout

    def colours(self, place):
        """The different colours within the area."""
        left, top, width, height = place
        found = set()
        for row in range(max(top, 0), min(top + height, self.height)):
            start = (row * self.width + left) * 3
            line = self.pixels[start:start + width * 3]
            found.update(line[i:i + 3] for i in range(0, len(line), 3))
        return found

    def brightness(self, place):
        """Of the area, from 0 to 255."""
        left, top, width, height = place
        total = 0
        for row in range(top, top + height):
            start = (row * self.width + left) * 3
            total += sum(self.pixels[start:start + width * 3])
        return total / (width * height * 3)

    def save(self, path, place=None):
        command = ["convert", "-size", f"{self.width}x{self.height}", "-depth", "8", "rgb:-"]
        if place:
            x, y, width, height = place
            command += ["-crop", f"{width}x{height}+{x}+{y}", "+repage"]
        done = subprocess.run([*command, path], input=self.pixels, capture_output=True,
                              check=False)
        if done.returncode != 0:
            raise NotSeen(f"{path} could not be written: {done.stderr.decode().strip()}")


def take(path):
    """Save what the screen shows once it has settled."""
    if "WAYLAND_DISPLAY" in os.environ:
        subprocess.run(["grim", path], check=True)
    else:
        settled_picture().save(path)


def settled_picture():
    """The screen once two pictures in a row are the same: all that was to be drawn is drawn."""
    last = Picture()

    def same():
        nonlocal last
        before, last = last, Picture()
        return before.pixels == last.pixels

    try:
        wait_until(same, 5, "")
    except NotSeen:
        pass  # Something moves all the time; then any moment is as good.
    return last
