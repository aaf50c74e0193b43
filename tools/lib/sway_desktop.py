"""A Wayland desktop of one's own, without a screen: sway with its session bus and accessibility bus, gone after use.

    with SwayDesktop() as desktop:
        process = desktop.start(["gtk3-widget-factory"])

What holds of a PrivateDesktop holds of this one, too."""

import glob
import json
import os
import socket
import struct
import subprocess

import wayland_devices
from private_desktop import DesktopError, wait_for
from wayland_desktop import WaylandDesktop

_RUN_COMMAND, _GET_OUTPUTS, _GET_TREE = 0, 3, 4


class SwayDesktop(WaylandDesktop):
    """A private desktop; a context manager. Used from the main thread. Windows float where they come up, as they do on
    other desktops. `xwayland`: whether programs for X11 can run on it."""

    NAME = "sway"

    def __init__(self, width=1280, height=900, layout="us", xwayland=False):
        super().__init__(width, height)
        self._layout, self._xwayland = layout, xwayland

    # -- what a user of the desktop does

    def ask(self, kind, payload=""):
        """One request to sway over its socket, and its answer."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as client:
            client.settimeout(10)
            client.connect(self.environment["SWAYSOCK"])
            body = payload.encode()
            client.sendall(b"i3-ipc" + struct.pack("=II", len(body), kind) + body)
            size, _ = struct.unpack("=II", _receive(client, 14)[6:])
            return json.loads(_receive(client, size))

    def command(self, text):
        """Has sway carry out a command."""
        if not all(result["success"] for result in self.ask(_RUN_COMMAND, text)):
            raise DesktopError(f"sway refused: {text}")

    def views(self):
        """The windows of applications, as sway describes them."""
        waiting, found = [self.ask(_GET_TREE)], []
        while waiting:
            node = waiting.pop()
            waiting += node["nodes"] + node["floating_nodes"]
            if node.get("pid") and node["type"] in ("con", "floating_con") and not node["nodes"]:
                found.append(node)
        return found

    def view(self, window):
        return next((view for view in self.views() if view["id"] == window), None)

    def window_of(self, pid):
        return next((view["id"] for view in self.views() if view["pid"] == pid), None)

    def wait_for_window(self, process, seconds=20.0):
        def window():
            self._check_lives(process)
            return self.window_of(process.pid)
        return wait_for(window, seconds, f"a window of {process.args}")

    def activate(self, window, seconds=10.0):
        self.command(f"[con_id={window}] focus")
        wait_for(lambda: self.view(window)["focused"], seconds, "the window to become active")

    def active_window(self):
        return next((view["id"] for view in self.views() if view["focused"]), None)

    def windows(self):
        return [view["id"] for view in self.views()]

    def window_pid(self, window):
        return self.view(window)["pid"]

    def geometry(self, window):
        view = self.view(window)
        outside, inside = view["rect"], view["window_rect"]
        return outside["x"] + inside["x"], outside["y"] + inside["y"], inside["width"], inside["height"]

    def move(self, window, x, y):
        self.command(f"[con_id={window}] move absolute position {x} {y}")

    def layout(self):
        """The rectangle that holds all outputs, as (x, y, width, height)."""
        areas = [output["rect"] for output in self.ask(_GET_OUTPUTS)]
        left, top = min(area["x"] for area in areas), min(area["y"] for area in areas)
        return (left, top, max(area["x"] + area["width"] for area in areas) - left,
                max(area["y"] + area["height"] for area in areas) - top)

    def click(self, x, y):
        left, top, width, height = self.layout()
        self._devices.click(x - left, y - top, width, height)

    def set_layout(self, layout):
        self.command(f"input * xkb_layout \"{layout}\"")
        return True

    def screenshot(self, path):
        subprocess.run(["grim", path], env=self.environment, check=True, timeout=30, stdin=subprocess.DEVNULL)

    # -- the compositor, which a test may stop and start again

    def start_compositor(self):
        configuration = os.path.join(self.directory, "sway.conf")
        width, height = self._size
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(f"output HEADLESS-1 mode {width}x{height}\n"
                       f"xwayland {'enable' if self._xwayland else 'disable'}\n"
                       f"input * xkb_layout \"{self._layout}\"\ndefault_border none\ndefault_floating_border none\n"
                       'for_window [title=".*"] floating enable\n')
        # sway refuses to run as root. In a user namespace it does not see that it is.
        disguise = ["unshare", "--user", "--map-user=1000", "--map-group=1000"] if os.getuid() == 0 else []
        folder = self.environment["XDG_RUNTIME_DIR"]
        # What one that was killed has left: it would take other names.
        for left in glob.glob(os.path.join(folder, "wayland-*")) + glob.glob(os.path.join(folder, "sway*.sock")):
            os.unlink(left)
        self.compositor = self.start([*disguise, "sway", "-c", configuration], env={
            "WLR_BACKENDS": "headless", "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1",
            "SWAYSOCK": os.path.join(folder, "sway.sock")})
        self.environment["SWAYSOCK"] = os.path.join(folder, "sway.sock")
        self.environment["WAYLAND_DISPLAY"] = "wayland-1"
        wait_for(self._answers, 20, "sway")
        self.unplug_devices()
        self._devices = wayland_devices.Devices(self._socket())
        if self._xwayland:
            self._learn_display()

    def _learn_display(self):
        """sway chooses the number of its X server, and tells what it starts."""
        path = os.path.join(self.directory, "display")
        self.command(f"exec echo $DISPLAY > {path}.new && mv {path}.new {path}")
        wait_for(lambda: os.path.exists(path), 10, "the display's number")
        with open(path, encoding="ascii") as file:
            self.display = self.environment["DISPLAY"] = file.read().strip()

    def _answers(self):
        self._check_compositor()
        try:
            self.ask(_GET_TREE)
        except (OSError, ValueError):
            return False
        return os.path.exists(os.path.join(self.environment["XDG_RUNTIME_DIR"], "wayland-1"))


def _receive(client, size):
    data = b""
    while len(data) < size:
        piece = client.recv(size - len(data))
        if not piece:
            raise DesktopError("sway is gone")
        data += piece
    return data
