"""A Plasma-like Wayland desktop of one's own, without a screen: kwin_wayland with its session bus and accessibility bus.

    with KWinDesktop() as desktop:
        process = desktop.start(["gtk3-widget-factory"])

What holds of a PrivateDesktop holds of this one."""

import json
import os
import shutil
import subprocess
import uuid

import wayland_devices
from private_desktop import wait_for
from wayland_desktop import WaylandDesktop

_KWIN = ["--session", "--dest=org.kde.KWin"]
_SCRIPT = """var windows = workspace.clientList(); windows.forEach(function (c) { %s });
console.info("%s" + JSON.stringify(windows.map(function (c) { var b = c.bufferGeometry; return {
    id: String(c.internalId), pid: c.pid, active: c.active, area: [b.x, b.y, b.width, b.height]}; })));
"""


class KWinDesktop(WaylandDesktop):
    """A private desktop; a context manager. Used from the main thread."""

    NAME = "KDE"
    pastes = True

    def start_compositor(self):
        self.unplug_devices()
        # The installed program has a file capability, with which it does not start where that may not be had. A copy has
        # none.
        program = os.path.join(self.directory, "kwin_wayland")
        if not os.path.exists(program):
            shutil.copy("/usr/bin/kwin_wayland", program)
        width, height = self._size
        self.environment.pop("WAYLAND_DISPLAY", None)
        self._told = os.path.join(self.directory, "compositor.log")
        with open(self._told, "ab") as log:
            self.compositor = self.start(
                [program, "--virtual", "--width", str(width), "--height", str(height), "--no-lockscreen",
                 "--no-global-shortcuts", "--socket", "wayland-1"], stderr=log,
                env={"KWIN_COMPOSE": "Q", "KWIN_WAYLAND_NO_PERMISSION_CHECKS": "1", "QT_QPA_PLATFORM": ""})
        self.environment["WAYLAND_DISPLAY"] = "wayland-1"
        wait_for(self._answers, 20, "kwin_wayland")
        self._devices = wayland_devices.KWinDevices(self._socket())

    def _answers(self):
        self._check_compositor()
        return self._call(_KWIN, "/Scripting", "org.freedesktop.DBus.Introspectable.Introspect")

    # -- what a user of the desktop does

    def views(self, before=""):
        """The windows of applications, as the compositor describes them to scripts, once it has done what stands in
        `before` with each window `c`."""
        name = uuid.uuid4().hex
        path = os.path.join(self.directory, name + ".js")
        with open(path, "w", encoding="utf-8") as file:
            file.write(_SCRIPT % (before, name))
        number = self._call(_KWIN, "/Scripting", "org.kde.kwin.Scripting.loadScript", f"string:{path}", f"string:{name}")
        self._call(_KWIN, "/" + number.split()[-1], "org.kde.kwin.Script.run")

        def told():
            with open(self._told, encoding="utf-8", errors="replace") as file:
                return next((line.partition(name)[2] for line in file if name in line and line.endswith("]\n")), None)
        try:
            return json.loads(wait_for(told, 10, "the compositor's windows"))
        finally:
            self._call(_KWIN, "/Scripting", "org.kde.kwin.Scripting.unloadScript", f"string:{name}")
            os.unlink(path)

    def view(self, window):
        return next((view for view in self.views() if view["id"] == window), None)

    def wait_for_window(self, process, seconds=20.0):
        def window():
            self._check_lives(process)
            return next((view["id"] for view in self.views() if view["pid"] == process.pid), None)
        return wait_for(window, seconds, f"a window of {process.args}")

    def activate(self, window, seconds=10.0):
        self.views(f"if (String(c.internalId) == '{window}') workspace.activeClient = c;")
        wait_for(lambda: self.view(window)["active"], seconds, "the window to become active")

    def geometry(self, window):
        return tuple(self.view(window)["area"])

    def move(self, window, x, y):
        self.views(f"if (String(c.internalId) == '{window}') c.frameGeometry = "
                   f"{{x: {x}, y: {y}, width: c.width, height: c.height}};")

    def click(self, x, y):
        self._devices.click(x, y)

    def set_layout(self, layout):
        with open(os.path.join(self.environment["XDG_CONFIG_HOME"], "kxkbrc"), "w", encoding="ascii") as file:
            file.write(f"[Layout]\nLayoutList={layout}\nUse=true\n")
        subprocess.run(["dbus-send", "--session", "/Layouts", "org.kde.keyboard.reloadConfig"], env=self.environment,
                       check=True, timeout=20)
        return True
