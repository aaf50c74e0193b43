"""A GNOME-like Wayland desktop of one's own, without a screen: mutter with its session bus and accessibility bus.

    with MutterDesktop() as desktop:
        process = desktop.start(["gtk3-widget-factory"])

What holds of a PrivateDesktop holds of this one, but nothing tells where its windows are."""

import os

from private_desktop import DesktopError, PrivateDesktop, wait_for


class MutterDesktop(PrivateDesktop):
    """A private desktop; a context manager. Used from the main thread."""

    def _start_windows(self):
        del self.environment["XAUTHORITY"]
        self.environment.update({"GDK_BACKEND": "wayland", "QT_QPA_PLATFORM": "wayland", "XDG_SESSION_TYPE": "wayland",
                                 "XDG_CURRENT_DESKTOP": "GNOME"})
        self.start_session_bus()
        self.start_compositor()
        self.start_accessibility_bus()

    def start_compositor(self):
        width, height = self._size
        self.environment.pop("WAYLAND_DISPLAY", None)
        self.compositor = self.start(["mutter", "--wayland", "--headless", "--no-x11", "--virtual-monitor",
                                      f"{width}x{height}", "--wayland-display", "wayland-1"])
        self.environment["WAYLAND_DISPLAY"] = "wayland-1"
        wait_for(self._answers, 20, "mutter")

    def _answers(self):
        if self.compositor.poll() is not None:
            raise DesktopError(f"mutter did not start:\n{self.log()}")
        return self._call(["--session", "--dest=org.gnome.Mutter.RemoteDesktop"], "/org/gnome/Mutter/RemoteDesktop",
                          "org.freedesktop.DBus.Properties.Get", "string:org.gnome.Mutter.RemoteDesktop",
                          "string:Version")

    def wait_for_window(self, process, seconds=20.0):
        """Windows have no names that a test could use; the newest one is in front."""
        if process.poll() is not None:
            raise DesktopError(f"{process.args} ended before it showed a window:\n{self.log()}")
        return process.pid

    def activate(self, window, seconds=10.0):
        pass
