"""A GNOME-like Wayland desktop of one's own, without a screen: mutter with its session bus and accessibility bus.

    with MutterDesktop() as desktop:
        process = desktop.start(["gtk3-widget-factory"])

What holds of a PrivateDesktop holds of this one, but nothing tells where its windows are."""

import os
import select
import subprocess

from private_desktop import DesktopError, wait_for
from wayland_desktop import WaylandDesktop

_PERSON = os.path.join(os.path.dirname(os.path.abspath(__file__)), "mutter_person.py")


class _Devices:
    """The program that plays the person."""

    def __init__(self, desktop, layout):
        self._desktop = desktop
        self._process = desktop.start(["/usr/bin/python3", _PERSON, layout], stdin=subprocess.PIPE,
                                      stdout=subprocess.PIPE, text=True)
        self._expect("ready")

    def do(self, command):
        self._process.stdin.write(command + "\n")
        self._process.stdin.flush()
        self._expect("done")

    def close(self):
        self._desktop.stop(self._process)

    def _expect(self, word):
        output = self._process.stdout
        if not select.select([output], [], [], 20)[0] or output.readline() != word + "\n":
            raise DesktopError(f"the devices did not work:\n{self._desktop.log()}")


class MutterDesktop(WaylandDesktop):
    """A private desktop; a context manager. Used from the main thread."""

    NAME = "GNOME"
    tells_windows = changes_layout = False
    pastes = True

    def __init__(self, width=1280, height=900, layout="us"):
        super().__init__(width, height)
        self._layout = layout

    def start_compositor(self):
        self.unplug_devices()
        self._devices = _Devices(self, self._layout)
        width, height = self._size
        self.environment.pop("WAYLAND_DISPLAY", None)
        # The layout is asked for on the system's bus.
        self.compositor = self.start(["mutter", "--wayland", "--headless", "--no-x11", "--virtual-monitor",
                                      f"{width}x{height}", "--wayland-display", "wayland-1"],
                                     env={"DBUS_SYSTEM_BUS_ADDRESS": self.environment["DBUS_SESSION_BUS_ADDRESS"]})
        self.environment["WAYLAND_DISPLAY"] = "wayland-1"
        wait_for(self._answers, 20, "mutter")
        self._devices.do("plug in")
        # From the last one in front to the first.
        self._order = []

    def _answers(self):
        self._check_compositor()
        return self._call(["--session", "--dest=org.gnome.Mutter.RemoteDesktop"], "/org/gnome/Mutter/RemoteDesktop",
                          "org.freedesktop.DBus.Properties.Get", "string:org.gnome.Mutter.RemoteDesktop",
                          "string:Version")

    def wait_for_window(self, process, seconds=20.0):
        """Windows have no names that a test could use; the newest one is in front."""
        self._check_lives(process)
        self._order.insert(0, process.pid)
        return process.pid

    def activate(self, window, seconds=10.0):
        """Goes back to a window, where each process has one; once it is on the screen."""
        self._order = [pid for pid in self._order if os.path.exists(f"/proc/{pid}")]
        at = self._order.index(window)
        if at > 0:
            self._devices.do(f"switch {at}")
            self._order.insert(0, self._order.pop(at))

    def set_layout(self, layout):
        """A compositor that runs takes no other layout from a program."""
        if layout == self._layout:
            return True
        self._layout = layout
        self.stop(self.compositor)
        self.start_compositor()
        return False
