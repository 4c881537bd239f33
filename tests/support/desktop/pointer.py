# SPDX-License-Identifier: MIT
"""A virtual pointer for a Wayland compositor without a pointing device. It speaks the wire
protocol, because Debian has no program for it."""

import os
import socket
import struct

DISPLAY, REGISTRY, MANAGER, POINTER, CALLBACK = 1, 2, 3, 4, 5
LEFT_BUTTON = 0x110


class Pointer:
    """Exists as long as this object."""

    def __init__(self, width, height):
        self._extent = width, height
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.settimeout(10)
        self._socket.connect(os.path.join(os.environ["XDG_RUNTIME_DIR"],
                                          os.environ["WAYLAND_DISPLAY"]))
        self._send(DISPLAY, 1, "u", REGISTRY)  # get_registry
        name, version = self._global_named("zwlr_virtual_pointer_manager_v1")
        self._send(REGISTRY, 0, "usuu", name, "zwlr_virtual_pointer_manager_v1", version, MANAGER)
        self._send(MANAGER, 0, "uu", 0, POINTER)  # create_virtual_pointer, for the first seat
        self._settle(CALLBACK)

    def click(self, x, y):
        self._send(POINTER, 1, "uuuuu", 0, x, y, *self._extent)  # motion_absolute
        self._send(POINTER, 4, "")  # frame
        for pressed in (1, 0):
            self._send(POINTER, 2, "uuu", 0, LEFT_BUTTON, pressed)
            self._send(POINTER, 4, "")

    def _send(self, target, opcode, kinds, *values):
        body = b""
        for kind, value in zip(kinds, values, strict=True):
            if kind == "s":
                text = value.encode() + b"\0"
                body += struct.pack("=I", len(text)) + text + b"\0" * (-len(text) % 4)
            else:
                body += struct.pack("=I", value)
        self._socket.sendall(struct.pack("=II", target, (8 + len(body)) << 16 | opcode) + body)

    def _receive(self):
        """The next event: object, opcode and body."""
        target, size = struct.unpack("=II", self._socket.recv(8, socket.MSG_WAITALL))
        return target, size & 0xffff, self._socket.recv((size >> 16) - 8, socket.MSG_WAITALL)

    def _global_named(self, wanted):
        while True:
            target, opcode, body = self._receive()
            if (target, opcode) == (REGISTRY, 0):
                name, length = struct.unpack_from("=II", body)
                if body[8:8 + length - 1].decode() == wanted:
                    return name, struct.unpack_from("=I", body, len(body) - 4)[0]

    def _settle(self, callback):
        self._send(DISPLAY, 0, "u", callback)  # sync
        while self._receive()[:2] != (callback, 0):
            pass
