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
_DISPLAY, _LEFT_BUTTON = 1, 0x110
_ALT, _ALT_BIT = 56, 8


def _text(value):
    raw = value.encode() + b"\0"
    return struct.pack("=I", len(raw)) + raw + b"\0" * (-len(raw) % 4)


class _Client:
    """A connection to a compositor at `path`; what it offers is known then."""

    def __init__(self, path, timeout=10.0):
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._socket.settimeout(timeout)
        self._last, self._globals = _DISPLAY, {}
        try:
            self._socket.connect(path)
            self._registry = self._make(_DISPLAY, 1)
            self._synchronise()
            self._plug_in()
            self._synchronise()
        except BaseException:
            self._socket.close()
            raise

    def _plug_in(self):
        raise NotImplementedError

    def close(self):
        self._socket.close()

    def _make(self, maker, opcode, body=b"", after=b""):
        """Has an object make another one, whose number is given."""
        self._last += 1
        self._send(maker, opcode, body + struct.pack("=I", self._last) + after)
        return self._last

    def _bind(self, interface, version=1):
        return self._make(self._registry, 0, struct.pack("=I", self._globals[interface]) + _text(interface)
                          + struct.pack("=I", version))

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
        callback = self._make(_DISPLAY, 0)
        while True:
            number, head = struct.unpack("=II", self._receive(8))
            body = self._receive((head >> 16) - 8)
            if number == _DISPLAY and head & 0xFFFF == 0:
                raise OSError(f"the compositor refused a request: {body!r}")
            if number == self._registry and head & 0xFFFF == 0:
                name, size = struct.unpack_from("=II", body)
                self._globals.setdefault(body[8:8 + size - 1].decode(), name)
            if number == callback:
                return


class Devices(_Client):
    """Those that compositors lend which are built on sway's library. They are unplugged with close()."""

    def _plug_in(self):
        # Some compositors have no seat before the first device.
        self._mouse = self._make(self._bind("zwlr_virtual_pointer_manager_v1"), 0, struct.pack("=I", 0))
        self._synchronise()
        seat = struct.pack("=I", self._bind("wl_seat"))
        self._keyboard = self._make(self._bind("zwp_virtual_keyboard_manager_v1"), 0, seat)
        self._send_keymap()

    def click(self, x, y, width, height):
        """Presses the left button in the middle of a pixel of a screen of this size."""
        self._send(self._mouse, 1, struct.pack("=5I", _now(), 2 * int(x) + 1, 2 * int(y) + 1, 2 * width, 2 * height))
        self._send(self._mouse, 4)
        for pressed in (1, 0):
            self._send(self._mouse, 2, struct.pack("=3I", _now(), _LEFT_BUTTON, pressed))
            self._send(self._mouse, 4)
        self._synchronise()

    def press_with_alt(self, key):
        """Presses a key, by its number in the kernel, while Alt is held."""
        self._send(self._keyboard, 1, struct.pack("=3I", _now(), _ALT, 1))
        self._send(self._keyboard, 2, struct.pack("=4I", _ALT_BIT, 0, 0, 0))
        for pressed in (1, 0):
            self._send(self._keyboard, 1, struct.pack("=3I", _now(), key, pressed))
        self._send(self._keyboard, 1, struct.pack("=3I", _now(), _ALT, 0))
        self._send(self._keyboard, 2, struct.pack("=4I", 0, 0, 0, 0))
        self._synchronise()

    def _send_keymap(self):
        file = os.memfd_create("keymap")
        try:
            os.write(file, _KEYMAP)
            body = struct.pack("=II", 1, len(_KEYMAP))
            head = struct.pack("=II", self._keyboard, (8 + len(body)) << 16)
            socket.send_fds(self._socket, [head + body], [file])
        finally:
            os.close(file)


class KWinDevices(_Client):
    """Those that Plasma's compositor lends. They are unplugged with close()."""

    def _plug_in(self):
        self._input = self._bind("org_kde_kwin_fake_input", 4)
        self._send(self._input, 0, _text("person") + _text("a person's mouse and keyboard"))

    def click(self, x, y):
        """Presses the left button in the middle of a pixel."""
        self._send(self._input, 9, struct.pack("=2i", 256 * int(x) + 128, 256 * int(y) + 128))
        for pressed in (1, 0):
            self._send(self._input, 2, struct.pack("=2I", _LEFT_BUTTON, pressed))
        self._synchronise()


def _now():
    return time.monotonic_ns() // 1_000_000 & 0xFFFFFFFF
