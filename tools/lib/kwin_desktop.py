"""A Plasma-like Wayland desktop of one's own, without a screen: kwin_wayland with its session bus and accessibility bus.

    with KWinDesktop() as desktop:
        process = desktop.start(["gtk3-widget-factory"])

What holds of a PrivateDesktop holds of this one."""

import os
import shutil

from private_desktop import DesktopError, PrivateDesktop, wait_for


class KWinDesktop(PrivateDesktop):
    """A private desktop; a context manager. Used from the main thread."""

    def _start_windows(self):
        del self.environment["XAUTHORITY"]
        self.environment.update({"GDK_BACKEND": "wayland", "QT_QPA_PLATFORM": "wayland", "XDG_SESSION_TYPE": "wayland",
                                 "XDG_CURRENT_DESKTOP": "KDE"})
        self.start_session_bus()
        self.start_compositor()
        self.start_accessibility_bus()

    def start_compositor(self):
        # The installed program has a file capability, with which it does not start where that may not be had. A copy has
        # none.
        program = os.path.join(self.directory, "kwin_wayland")
        if not os.path.exists(program):
            shutil.copy("/usr/bin/kwin_wayland", program)
        width, height = self._size
        self.environment.pop("WAYLAND_DISPLAY", None)
        self.compositor = self.start(
            [program, "--virtual", "--width", str(width), "--height", str(height), "--no-lockscreen",
             "--no-global-shortcuts", "--socket", "wayland-1"],
            env={"KWIN_COMPOSE": "Q", "KWIN_WAYLAND_NO_PERMISSION_CHECKS": "1", "QT_QPA_PLATFORM": ""})
        self.environment["WAYLAND_DISPLAY"] = "wayland-1"
        wait_for(self._answers, 20, "kwin_wayland")

    def _answers(self):
        if self.compositor.poll() is not None:
            raise DesktopError(f"kwin_wayland did not start:\n{self.log()}")
        return self._call(["--session", "--dest=org.kde.KWin"], "/Scripting", "org.freedesktop.DBus.Introspectable.Introspect")

    def wait_for_window(self, process, seconds=20.0):
        """Windows have no names that a test could use; the newest one is in front."""
        if process.poll() is not None:
            raise DesktopError(f"{process.args} ended before it showed a window:\n{self.log()}")
        return process.pid

    def activate(self, window, seconds=10.0):
        pass
