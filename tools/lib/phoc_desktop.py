"""A Wayland desktop of one's own, without a screen: phoc, a compositor on the library that sway is built on, which tells of
its windows only what task bars ask for.

    with PhocDesktop() as desktop:
        process = desktop.start(["gtk3-widget-factory"])

What holds of a PrivateDesktop holds of this one, but nothing tells where its windows are."""

import os

import wayland_devices
from private_desktop import DesktopError, PrivateDesktop, wait_for

_ESCAPE = 1


class PhocDesktop(PrivateDesktop):
    """A private desktop; a context manager. Used from the main thread."""

    def __init__(self, width=1280, height=900):
        super().__init__(width, height)
        self._devices = None

    def _start_windows(self):
        del self.environment["XAUTHORITY"]
        self.environment.update({"GDK_BACKEND": "wayland", "QT_QPA_PLATFORM": "wayland", "XDG_SESSION_TYPE": "wayland"})
        self.start_session_bus()
        self.start_compositor()
        self.start_accessibility_bus()

    def close(self):
        self.unplug_devices()
        super().close()

    def start_compositor(self):
        configuration = os.path.join(self.directory, "phoc.ini")
        width, height = self._size
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(f"[core]\nxwayland=false\n[output:HEADLESS-1]\nmode={width}x{height}\nscale=1\n")
        path = os.path.join(self.environment["XDG_RUNTIME_DIR"], "wayland-0")
        if os.path.exists(path):
            os.unlink(path)
        self.environment.pop("WAYLAND_DISPLAY", None)
        self.compositor = self.start(["phoc", "-C", configuration], env={
            "WLR_BACKENDS": "headless", "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1"})
        self.environment["WAYLAND_DISPLAY"] = "wayland-0"

        self.unplug_devices()

        def plug_devices():
            if self.compositor.poll() is not None:
                raise DesktopError(f"phoc did not start:\n{self.log()}")
            try:
                return wayland_devices.Devices(path)
            except (FileNotFoundError, ConnectionRefusedError):
                return None
        self._devices = wait_for(plug_devices, 20, "phoc")

    def unplug_devices(self):
        """Leaves the desktop without a mouse and a keyboard."""
        if self._devices:
            self._devices.close()
            self._devices = None

    # -- what a user of the desktop does

    def wait_for_window(self, process, seconds=20.0):
        """Windows have no names that a test could use; the newest one is in front."""
        if process.poll() is not None:
            raise DesktopError(f"{process.args} ended before it showed a window:\n{self.log()}")
        return process.pid

    def activate(self, window, seconds=10.0):
        pass

    def switch_window(self):
        """As a person does, with the keyboard: the window comes to the front that has been behind the longest."""
        self._devices.press_with_alt(_ESCAPE)
