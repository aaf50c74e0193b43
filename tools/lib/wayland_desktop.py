"""What private desktops on Wayland have in common, whatever compositor shows them."""

import os

from private_desktop import DesktopError, PrivateDesktop


class WaylandDesktop(PrivateDesktop):
    """A private desktop whose windows a compositor shows, with a keyboard and a mouse plugged in, as every person's
    computer has them. A class of its own for each compositor says how that is started and asked; a test may stop
    it and start it again."""

    # What XDG_CURRENT_DESKTOP says.
    NAME = ""

    _devices = None

    def _start_windows(self):
        del self.environment["XAUTHORITY"]
        self.environment.update({"GDK_BACKEND": "wayland", "QT_QPA_PLATFORM": "wayland", "XDG_SESSION_TYPE": "wayland",
                                 "XDG_CURRENT_DESKTOP": self.NAME})
        self.start_session_bus()
        self.start_compositor()
        self.start_accessibility_bus()

    def start_compositor(self):
        raise NotImplementedError

    def close(self):
        self.unplug_devices()
        super().close()

    def unplug_devices(self):
        """Leaves the desktop without a mouse and a keyboard."""
        if self._devices:
            self._devices.close()
            self._devices = None

    def on_screen(self, window, x, y):
        """Where on the screen a place is that a window's own application calls so."""
        left, top = self.geometry(window)[:2]
        return left + x, top + y

    def _socket(self):
        return os.path.join(self.environment["XDG_RUNTIME_DIR"], self.environment["WAYLAND_DISPLAY"])

    def _check_compositor(self):
        if self.compositor.poll() is not None:
            raise DesktopError(f"{self.compositor.args} did not start:\n{self.log()}")

    def _check_lives(self, process):
        if process.poll() is not None:
            raise DesktopError(f"{process.args} ended before it showed a window:\n{self.log()}")
