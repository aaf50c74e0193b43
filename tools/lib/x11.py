"""A small X11 client: enough to look at a desktop from a script without any tool being installed.

It speaks the core protocol over the display's socket. One Display belongs to one thread.
"""

import os
import socket
import struct
import zlib


class XError(Exception):
    """The display cannot be reached, refused a request, or has a pixel format that is not supported."""


def _pad(data):
    return data + b"\0" * (-len(data) % 4)


def _authority(display_number):
    """The cookie that opens the display, as (name, data), or two empty byte strings."""
    path = os.environ.get("XAUTHORITY") or os.path.join(os.path.expanduser("~"), ".Xauthority")
    return read_authority(path, display_number)


def read_authority(path, display_number):
    """Looks up MIT-MAGIC-COOKIE-1 for a local display in an authority file; empty when there is none."""
    try:
        with open(path, "rb") as file:
            data = file.read()
    except OSError:
        return b"", b""
    at = 0

    def counted():
        nonlocal at
        size = struct.unpack_from(">H", data, at)[0]
        at += 2 + size
        return data[at - size:at]

    try:
        while at < len(data):
            at += 2  # the address family: local displays are told apart by their number alone
            counted()
            number, name, cookie = counted(), counted(), counted()
            if number in (b"", str(display_number).encode()) and name == b"MIT-MAGIC-COOKIE-1":
                return name, cookie
    except struct.error:
        pass
    return b"", b""


def write_authority(path):
    """Writes an authority file with one fresh cookie that holds for whatever display it is used with."""
    any_family, name = 0xFFFF, b"MIT-MAGIC-COOKIE-1"
    entry = struct.pack(">H", any_family)
    for field in (b"", b"", name, os.urandom(16)):
        entry += struct.pack(">H", len(field)) + field
    with os.fdopen(os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600), "wb") as file:
        file.write(entry)


class Display:
    """A connection to an X server. `authority` is the path of an authority file (default: the user's)."""

    def __init__(self, name=None, authority=None, timeout=10.0):
        name = name or os.environ.get("DISPLAY", "")
        host, _, rest = name.rpartition(":")
        number = rest.split(".")[0]
        if not number.isdigit():
            raise XError(f"not a display name: {name!r}")
        self._socket = self._connect(host, int(number), timeout)
        try:
            cookie = read_authority(authority, number) if authority else _authority(number)
            self._set_up(*cookie)
        except BaseException:
            self._socket.close()
            raise
        self._atoms = {}

    @staticmethod
    def _connect(host, number, timeout):
        if host not in ("", "unix"):
            try:
                return socket.create_connection((host, 6000 + number), timeout)
            except OSError as error:
                raise XError(f"cannot reach display {host}:{number}: {error}") from error
        path = f"/tmp/.X11-unix/X{number}"
        for address in (path, "\0" + path):
            client = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            client.settimeout(timeout)
            try:
                client.connect(address)
                return client
            except OSError:
                client.close()
        raise XError(f"cannot reach display :{number}")

    def _set_up(self, auth_name, auth_data):
        self._send(struct.pack("<BxHHHHxx", ord("l"), 11, 0, len(auth_name), len(auth_data))
                   + _pad(auth_name) + _pad(auth_data))
        head = self._receive(8)
        body = self._receive(4 * struct.unpack_from("<H", head, 6)[0])
        if head[0] != 1:
            raise XError("the display refused the connection: "
                         + body[:head[1]].decode("latin-1", "replace").strip())
        vendor_size, = struct.unpack_from("<H", body, 16)
        format_count, self._image_order = body[21], body[22]
        at = 32 + vendor_size + (-vendor_size % 4)
        self._bits_per_pixel = {body[i]: body[i + 1] for i in range(at, at + 8 * format_count, 8)}
        at += 8 * format_count
        self.root, = struct.unpack_from("<I", body, at)
        self.width, self.height = struct.unpack_from("<HH", body, at + 20)
        self._root_depth = body[at + 38]

    def close(self):
        self._socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def _send(self, data):
        try:
            self._socket.sendall(data)
        except OSError as error:
            raise XError(f"the display is gone: {error}") from error

    def _receive(self, size):
        data = bytearray()
        while len(data) < size:
            try:
                piece = self._socket.recv(min(size - len(data), 1 << 20))
            except OSError as error:
                raise XError(f"the display does not answer: {error}") from error
            if not piece:
                raise XError("the display is gone")
            data += piece
        return bytes(data)

    def _request(self, opcode, detail, payload):
        payload = _pad(payload)
        self._send(struct.pack("<BBH", opcode, detail, 1 + len(payload) // 4) + payload)

    def _reply(self, opcode, detail, payload):
        """Sends a request that has a reply and gives the reply; events that come before it are dropped."""
        self._request(opcode, detail, payload)
        while True:
            head = self._receive(32)
            if head[0] == 1:
                return head + self._receive(4 * struct.unpack_from("<I", head, 4)[0])
            if head[0] == 0:
                raise XError(f"request {opcode} failed with error {head[1]}")

    def atom(self, name):
        if name not in self._atoms:
            raw = name.encode()
            reply = self._reply(16, 0, struct.pack("<HH", len(raw), 0) + raw)
            self._atoms[name], = struct.unpack_from("<I", reply, 8)
        return self._atoms[name]

    def property_numbers(self, window, name):
        """A property's 32-bit values; empty when there is no such property."""
        reply = self._reply(20, 0, struct.pack("<IIIII", window, self.atom(name), 0, 0, 4096))
        if reply[1] != 32:
            return []
        count, = struct.unpack_from("<I", reply, 16)
        return list(struct.unpack_from(f"<{count}I", reply, 32))

    def has_window_manager(self):
        """Whether a window manager runs: its check window exists and points at itself."""
        try:
            check = self.property_numbers(self.root, "_NET_SUPPORTING_WM_CHECK")
            return bool(check) and self.property_numbers(check[0], "_NET_SUPPORTING_WM_CHECK") == check
        except XError:
            return False  # a stale property of a window manager that has gone

    def active_window(self):
        """The window that the window manager calls active, or None."""
        found = self.property_numbers(self.root, "_NET_ACTIVE_WINDOW")
        return found[0] if found and found[0] else None

    def window_pid(self, window):
        """The process that owns a window, as the window itself says, or None."""
        try:
            found = self.property_numbers(window, "_NET_WM_PID")
        except XError:
            return None
        return found[0] if found else None

    def active_pid(self):
        window = self.active_window()
        return self.window_pid(window) if window else None

    def client_windows(self):
        """The windows that the window manager manages, in the order in which they appeared."""
        return self.property_numbers(self.root, "_NET_CLIENT_LIST")

    def window_of(self, pid):
        """The first managed window of a process, or None."""
        return next((w for w in self.client_windows() if self.window_pid(w) == pid), None)

    def geometry(self, window):
        """A window's rectangle without its frame, as (x, y, width, height) on the screen."""
        size = struct.unpack_from("<HH", self._reply(14, 0, struct.pack("<I", window)), 16)
        origin = self._reply(40, 0, struct.pack("<IIhh", window, self.root, 0, 0))
        return struct.unpack_from("<hh", origin, 12) + size

    def move(self, window, x, y):
        """Moves a window; its frame's corner comes to be there."""
        only_x_and_y = 3
        self._request(12, 0, struct.pack("<IHxxii", window, only_x_and_y, x, y))
        self.active_window()  # a round trip: the server has the request now

    def activate(self, window):
        """Asks the window manager to make a window active, as a pager does."""
        source_is_pager = 2
        event = struct.pack("<BBHII5I", 33, 32, 0, window, self.atom("_NET_ACTIVE_WINDOW"),
                            source_is_pager, 0, 0, 0, 0)
        to_window_manager = 0x180000  # SubstructureNotify and SubstructureRedirect
        self._request(25, 0, struct.pack("<II", self.root, to_window_manager) + event)
        self.active_window()  # a round trip: the server has the event now

    def move_pointer(self, x, y):
        """Moves the pointer there."""
        self._fake([(6, 0)], x, y)

    def click(self, x=None, y=None):
        """Moves the pointer and presses the left button there, as a mouse does, or where the pointer is."""
        motion = [] if x is None else [(6, 0)]
        self._fake([*motion, (4, 1), (5, 1)], x or 0, y or 0)

    def _fake(self, events, x, y):
        """Has XTEST make events, each a kind and a button."""
        name = b"XTEST"
        reply = self._reply(98, 0, struct.pack("<Hxx", len(name)) + name)
        present, major = reply[8], reply[9]
        if not present:
            raise XError("the display takes no made-up input")
        for kind, detail in events:
            self._request(major, 2, struct.pack("<BBxxII8xhh8x", kind, detail, 0, self.root, x, y))
        self.active_window()  # a reply: by now the server has taken the input

    def screenshot(self):
        """The whole screen as the bytes of a PNG file."""
        if self._bits_per_pixel.get(self._root_depth) != 32 or self._root_depth not in (24, 32):
            raise XError(f"screens of depth {self._root_depth} are not supported")
        z_pixmap, every_plane = 2, 0xFFFFFFFF
        reply = self._reply(73, z_pixmap, struct.pack("<IhhHHI", self.root, 0, 0, self.width, self.height,
                                                      every_plane))
        pixels = reply[32:32 + 4 * self.width * self.height]
        red, green, blue = (2, 1, 0) if self._image_order == 0 else (1, 2, 3)
        rgb = bytearray(3 * self.width * self.height)
        rgb[0::3], rgb[1::3], rgb[2::3] = pixels[red::4], pixels[green::4], pixels[blue::4]
        return png(self.width, self.height, rgb)


def png(width, height, rgb):
    """The bytes of a PNG file made of 8-bit RGB rows."""
    stride = 3 * width
    no_filter = b"\0"
    rows = b"".join(no_filter + rgb[y * stride:(y + 1) * stride] for y in range(height))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows, 6))
            + chunk(b"IEND", b""))
