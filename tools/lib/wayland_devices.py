"""A mouse and a keyboard that are plugged in to a Wayland compositor without any, as every person's computer has them.

It speaks the protocol over the compositor's socket. One object belongs to one thread."""

import os
import socket
import struct
import time

# Compositors and applications fill in what is included.
_KEYMAP = b"""xkb_keymap {
xkb_keycodes { include "evdev+aliases(qwerty)" }; xkb_types { include "complete" }; xkb_compat { include "complete" };
xkb_symbols { include "pc+us+inet(evdev)" }; };\0"""
# Objects are numbered in the order in which they are made.
_DISPLAY, _REGISTRY, _FIRST_CALLBACK, _SEAT, _MICE, _KEYBOARDS, _MOUSE, _KEYBOARD, _FIRST_FREE = range(1, 10)
_LEFT_BUTTON = 0x110


def _text(value):
    raw = value.encode() + b"\0"
    return struct.pack("=I", len(raw)) + raw + b"\0" * (-len(raw) % 4)


class Devices:
    """`path`: the compositor's socket. They are unplugged with close()."""

    def __init__(self, path, timeout=10.0):
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._socket.settimeout(timeout)
        self._callback = _FIRST_CALLBACK
        self._globals = {}
        try:
            self._socket.connect(path)
            self._send(_DISPLAY, 1, struct.pack("=I", _REGISTRY))
            self._synchronise()
            for number, interface in ((_SEAT, "wl_seat"), (_MICE, "zwlr_virtual_pointer_manager_v1"),
                                      (_KEYBOARDS, "zwp_virtual_keyboard_manager_v1")):
                self._send(_REGISTRY, 0, struct.pack("=I", self._globals[interface]) + _text(interface)
                           + struct.pack("=II", 1, number))
            self._send(_MICE, 0, struct.pack("=II", _SEAT, _MOUSE))
            self._send(_KEYBOARDS, 0, struct.pack("=II", _SEAT, _KEYBOARD))
            self._send_keymap()
            self._synchronise()
        except BaseException:
            self._socket.close()
            raise

    def close(self):
        self._socket.close()

    def click(self, x, y, width, height):
        """Presses the left button in the middle of a pixel of a screen of this size."""
        self._send(_MOUSE, 1, struct.pack("=5I", _now(), 2 * int(x) + 1, 2 * int(y) + 1, 2 * width, 2 * height))
        self._send(_MOUSE, 4)
        for pressed in (1, 0):
            self._send(_MOUSE, 2, struct.pack("=3I", _now(), _LEFT_BUTTON, pressed))
            self._send(_MOUSE, 4)
        self._synchronise()

    def _send_keymap(self):
        file = os.memfd_create("keymap")
        try:
            os.write(file, _KEYMAP)
            body = struct.pack("=II", 1, len(_KEYMAP))
            head = struct.pack("=II", _KEYBOARD, (8 + len(body)) << 16)
            socket.send_fds(self._socket, [head + body], [file])
        finally:
            os.close(file)

    def _send(self, number, opcode, body=b""):
        self._socket.sendall(struct.pack("=II", number, (8 + len(body)) << 16 | opcode) + body)

    def _receive(self, size):
        data = b""
        while len(data) < size:
            piece = self._socket.recv(size - len(data))
            if not piece:
                raise OSError("the compositor is gone")
            data += piece
        return data

    def _synchronise(self):
        """Waits until the compositor has taken in all that was sent, and takes note of what it offers."""
        callback = self._callback
        self._callback = _FIRST_FREE if callback == _FIRST_CALLBACK else callback + 1
        self._send(_DISPLAY, 0, struct.pack("=I", callback))
        while True:
            number, head = struct.unpack("=II", self._receive(8))
            body = self._receive((head >> 16) - 8)
            if number == _DISPLAY and head & 0xFFFF == 0:
                raise OSError(f"the compositor refused a request: {body!r}")
            if number == _REGISTRY and head & 0xFFFF == 0:
                name, size = struct.unpack_from("=II", body)
                self._globals.setdefault(body[8:8 + size - 1].decode(), name)
            if number == callback:
                return


def _now():
    return time.monotonic_ns() // 1_000_000 & 0xFFFFFFFF
