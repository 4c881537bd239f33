# SPDX-License-Identifier: MIT
"""The X11 screen: positions of windows, the pointer, and pictures."""

import os
import re
import subprocess

from waiting import NotSeen, wait_until


def area_in(title, top, node):
    """The area of a part of the window `top` in pixels, or None. The toolkit's units may differ."""
    outside, inside, part = window_area(title), top.area(), node.area()
    if not (outside and inside and part):
        return None
    scale = outside[2] / inside[2]
    return (round(outside[0] + (part[0] - inside[0]) * scale),
            round(outside[1] + (part[1] - inside[1]) * scale),
            round(part[2] * scale), round(part[3] * scale))


def click(place, at=0.5):
    """`at` is the position between the left and the right edge, from 0 to 1. Two clicks at
    different positions are no double click."""
    x, y, width, height = place
    xdotool("mousemove", str(x + int(width * at)), str(y + height // 2), "click", "1")


def wheel(place, down):
    """Turn the wheel by one step."""
    x, y, width, height = place
    xdotool("mousemove", str(x + width // 2), str(y + height - 12), "click", "5" if down else "4")


def park_pointer():
    """Move the pointer to where it hides nothing in the pictures."""
    xdotool("mousemove", "2", "400")


def active_window_title():
    """The title of the window that is active and receives the keys; empty while the window manager
    has done only one of both."""
    active, focused = (xdotool(command, "getwindowname", check=False).strip()
                       for command in ("getactivewindow", "getwindowfocus"))
    return active if active == focused else ""


def window_id(title):
    """The id of the visible window of that title; None without one, or with several."""
    found = xdotool("search", "--onlyvisible", "--name", f"^{re.escape(title)}$",
                    check=False).split()
    return found[0] if len(found) == 1 else None


def window_area(title):
    """(x, y, width, height) of that window without its frame, or None."""
    identity = window_id(title)
    return area_of(identity) if identity else None


def area_of(identity):
    """The area of the window with that id without its frame, or None."""
    answer = read("xwininfo", "-id", identity)
    values = [re.search(rf"{name}: +(-?\d+)", answer) for name in (
        "Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")]
    return tuple(int(value[1]) for value in values) if all(values) else None


def embedded_icon_area(name):
    """The area of the program's icon in a tray for embedded windows, or None."""
    for identity in xdotool("search", "--onlyvisible", "--class", f"^{name}$",
                            check=False).split():
        place = area_of(identity)
        if place and place[2] < 64:
            return place
    return None


def tray_area():
    """The area of the tray, a separate window inside the desktop's panel, if it shows an icon; else
    None."""
    return drawn_area("wrapper-2.0")


def drawn_area(title):
    """The area of that window if it shows more than its background; else None."""
    place = window_area(title)
    return place if place and len(Picture().colours(place)) > 2 else None


def frame_of(title):
    """The widths of the window's frame: left, right, top and bottom; or None."""
    identity = window_id(title)
    answer = read("xprop", "-id", identity, "_NET_FRAME_EXTENTS") if identity else ""
    extents = re.search(r"= (\d+), (\d+), (\d+), (\d+)", answer)
    return tuple(int(width) for width in extents.groups()) if extents else None


def frame_area(title):
    """The area of that window with its frame, or None."""
    place, frame = window_area(title), frame_of(title)
    if not (place and frame):
        return None
    left, right, top, bottom = frame
    return (place[0] - left, place[1] - top, place[2] + left + right, place[3] + top + bottom)


def close_button_area(title):
    """The area of the close button, at the right end of the title bar; or None."""
    place, frame = window_area(title), frame_of(title)
    if not (place and frame):
        return None
    _, right, top, _ = frame
    return place[0] + place[2] + right - top, place[1] - top, top, top


def work_area():
    """The part of the screen that the desktop's panel leaves to windows, or None."""
    answer = re.search(r"= (\d+), (\d+), (\d+), (\d+)", read("xprop", "-root", "_NET_WORKAREA"))
    return tuple(int(part) for part in answer.groups()) if answer else None


def resize(width, height):
    """Give the screen this size, which is at most the size that it had at first."""
    name = f"{width}x{height}"
    for words in (["--newmode", name, "40", *(str(width + i) for i in (0, 8, 16, 32)),
                   *(str(height + i) for i in (0, 3, 6, 12))],
                  ["--addmode", "screen", name], ["--output", "screen", "--mode", name]):
        # The first two fail when the mode is known already.
        subprocess.run(["xrandr", *words], check=words[0] == "--output",
                       stderr=subprocess.DEVNULL)


def read(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout


def xdotool(*arguments, check=True):
    done = subprocess.run(["xdotool", *arguments], capture_output=True, text=True, check=False)
    if check and done.returncode != 0:
        raise NotSeen(f"xdotool {arguments[0]} did not work: {done.stderr.strip()}")
    return done.stdout


class Picture:
    """A capture of the whole screen."""

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

    def part(self, place):
        """The pixels of the area, by rows."""
        left, top, width, height = place
        return [self.pixels[(row * self.width + left) * 3:(row * self.width + left + width) * 3]
                for row in range(top, top + height)]

    def brightness(self, place):
        """The mean brightness of the area, from 0 to 255."""
        left, top, width, height = place
        total = 0
        for row in range(top, top + height):
            start = (row * self.width + left) * 3
            total += sum(self.pixels[start:start + width * 3])
        return total / (width * height * 3)

    def is_dark(self, place):
        return self.brightness(place) < 128

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
    """Save the screen once it has settled."""
    if "WAYLAND_DISPLAY" in os.environ:
        subprocess.run(["grim", path], check=True)
    else:
        settled_picture().save(path)


def settled_picture():
    """Capture the screen until two captures in a row are equal, so that all drawing is done."""
    last = Picture()

    def same():
        nonlocal last
        before, last = last, Picture()
        return before.pixels == last.pixels

    try:
        wait_until(same, 5, "")
    except NotSeen:
        pass  # Something moves continuously; then any capture will do.
    return last
