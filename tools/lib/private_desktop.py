"""A desktop of one's own: X server, window manager, session bus and accessibility bus, gone after use.

    with PrivateDesktop() as desktop:
        process = desktop.start(["gtk3-widget-factory"])

Nothing of the user's session is read or written: the home, the runtime directory, the settings, the buses and
the display are private. Everything that was started there, also what the buses activated, ends with it.
"""

import ctypes
import os
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import uuid

import x11

_MARKER = "VARKEL_PRIVATE_DESKTOP"
_SESSION_VARIABLES = ("DISPLAY", "WAYLAND_DISPLAY", "SWAYSOCK", "I3SOCK", "XAUTHORITY", "SESSION_MANAGER",
                      "AT_SPI_BUS_ADDRESS", "NO_AT_BRIDGE", "ACCESSIBILITY_ENABLED", "DESKTOP_SESSION", "WINDOWID", "LANGUAGE")
_SESSION_PREFIXES = ("XDG_", "DBUS_", "GTK_", "GDK_", "QT_", "LC_", "QUELLAN_VARKEL_", "AT_SPI_")
_PR_SET_PDEATHSIG = 1
_libc = ctypes.CDLL(None, use_errno=True)


class DesktopError(Exception):
    """A part of the desktop did not come up in time."""


def wait_for(condition, seconds, what):
    """Waits until condition() gives something true and returns it; raises DesktopError after the deadline."""
    deadline = time.monotonic() + seconds
    pause = 0.005
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() >= deadline:
            raise DesktopError(f"waited {seconds:g} s in vain for {what}")
        time.sleep(pause)
        pause = min(pause * 1.5, 0.1)


def exit_on_signals():
    """Lets SIGINT, SIGTERM and SIGHUP unwind the main thread, so that every `with` cleans up.

    A shell starts background jobs with SIGINT ignored; whoever sends one means it, so that is overruled."""
    def leave(number, _frame):
        for each in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(each, signal.SIG_IGN)  # a second one must not cut the clean-up short
        sys.exit(128 + number)

    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, leave)


def end_process(process, grace=5.0):
    """Ends a process and its process group, asking first; reaps it."""
    for number in (signal.SIGTERM, signal.SIGKILL):
        if process.poll() is not None:
            break
        try:
            os.killpg(process.pid, number)
            os.killpg(process.pid, signal.SIGCONT)  # a stopped process would not notice
        except (ProcessLookupError, PermissionError):
            pass
        try:
            process.wait(grace)
        except subprocess.TimeoutExpired:
            continue
    for stream in (process.stdin, process.stdout, process.stderr):
        if stream:
            stream.close()


def _status_fields(pid):
    """(parent, session, state) of a process, or None when it is gone."""
    try:
        with open(f"/proc/{pid}/stat", "rb") as file:
            fields = file.read().rpartition(b")")[2].split()
        return int(fields[1]), int(fields[3]), fields[0].decode()
    except (OSError, IndexError, ValueError):
        return None


def _is_over(pid):
    fields = _status_fields(pid)
    return fields is None or fields[2] in "ZX"


def _has_marker(pid, marker):
    try:
        with open(f"/proc/{pid}/environ", "rb") as file:
            return marker in file.read().split(b"\0")
    except OSError:
        return False


class PrivateDesktop:
    """A private desktop; a context manager. Used from the main thread. It takes a free display number, or the given one.
    With `has_person` its screen is a window on a screen behind it, so that there is a mouse that is moved from
    outside of it: person().

    `display` (such as ":7"), `environment` (for children), `directory` (private, removed at the end)."""

    # What a desktop can do. Whether it tells programs which windows there are, where they are and which is in front:
    tells_windows = True
    # Whether its keyboard may get another layout while applications run:
    changes_layout = True
    # Whether what the layout has no key for is pasted:
    pastes = False

    def __init__(self, width=1280, height=900, display=None, has_person=False):
        self._size = (width, height)
        self._has_person, self._screen_behind = has_person, None
        self._processes = []
        self._sessions = set()
        self._marker = uuid.uuid4().hex
        self.directory = None
        self.display = display
        self.environment = None

    def __enter__(self):
        try:
            self._make_directories()
            self._start_windows()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    def _start_windows(self):
        self.start_x_server()
        self.start_session_bus()
        self.start_window_manager()
        self.start_accessibility_bus()

    # -- what a user of the desktop does

    def start(self, command, **options):
        """Starts a process on the desktop, in a session of its own. Options are those of Popen; by default its
        output goes to a log in the private directory and `env` adds to the desktop's environment."""
        environment = dict(self.environment, **options.pop("env", {}))
        main_thread = threading.current_thread() is threading.main_thread()

        def die_with_us():
            # Only a last resort, for when this process is killed outright; it is tied to the calling thread.
            if main_thread:
                _libc.prctl(_PR_SET_PDEATHSIG, signal.SIGTERM)

        with open(os.path.join(self.directory, "log"), "ab") as log:
            options.setdefault("stdin", subprocess.DEVNULL)
            options.setdefault("stdout", log)
            options.setdefault("stderr", log)
            process = subprocess.Popen(command, env=environment, start_new_session=True,
                                       preexec_fn=die_with_us, **options)
        self._processes.append(process)
        self._sessions.add(process.pid)
        return process

    def stop(self, process):
        """Ends a process that start() gave."""
        end_process(process)
        if process in self._processes:
            self._processes.remove(process)

    def x(self):
        """A fresh connection to the display."""
        return x11.Display(self.display, self.environment["XAUTHORITY"])

    def person(self):
        """A connection to the screen behind: its clicks reach the desktop as those of a mouse, and not as events that a
        program of the desktop makes up."""
        return x11.Display(self._screen_behind, self.environment["XAUTHORITY"])

    def wait_for_window(self, process, seconds=20.0):
        """Waits until a process shows a window, and gives the window."""
        with self.x() as display:
            def window():
                if process.poll() is not None:
                    raise DesktopError(f"{process.args} ended before it showed a window:\n{self.log()}")
                return display.window_of(process.pid)
            return wait_for(window, seconds, f"a window of {process.args}")

    def activate(self, window, seconds=10.0):
        """Makes a window active and waits until it is."""
        with self.x() as display:
            display.activate(window)
            wait_for(lambda: display.active_window() == window, seconds, "the window to become active")

    def active_window(self):
        with self.x() as display:
            return display.active_window()

    def windows(self):
        """The windows of applications."""
        with self.x() as display:
            return display.client_windows()

    def window_of(self, pid):
        """The first window of a process, or None."""
        with self.x() as display:
            return display.window_of(pid)

    def window_pid(self, window):
        with self.x() as display:
            return display.window_pid(window)

    def geometry(self, window):
        """A window's rectangle without its frame, as (x, y, width, height) on the screen."""
        with self.x() as display:
            return display.geometry(window)

    def on_screen(self, _window, x, y):
        """Where on the screen a place is that a window's own application calls so."""
        return x, y

    def move(self, window, x, y):
        with self.x() as display:
            display.move(window, x, y)

    def click(self, x, y):
        """Clicks as a mouse does."""
        with self.x() as display:
            display.click(x, y)

    def set_layout(self, layout):
        """Gives the person's keyboard another layout. False where the desktop had to begin anew for that, and its windows
        are gone."""
        subprocess.run(["setxkbmap", "-option", "", "-layout", layout], env=self.environment, check=True, timeout=20)
        return True

    def add_shortcut(self, name, script):
        """Gives the desktop's person a Shortcut, a shell script."""
        folder = os.path.join(self.environment["XDG_CONFIG_HOME"], "varkel/shortcuts")
        os.makedirs(folder, exist_ok=True)
        path = os.path.join(folder, name + ".sh")
        with os.fdopen(os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o755), "w") as file:
            file.write("#!/bin/sh\n" + script + "\n")

    def screenshot(self, path):
        with self.x() as display, open(path, "wb") as file:
            file.write(display.screenshot())

    def log(self):
        """What the processes of the desktop have written, for a failure's report."""
        try:
            with open(os.path.join(self.directory, "log"), encoding="utf-8", errors="replace") as file:
                return file.read()[-4000:]
        except (OSError, TypeError):
            return ""

    # -- the parts, each of which a test may stop and start again

    def _make_directories(self):
        self.directory = tempfile.mkdtemp(prefix="varkel-desktop-")
        environment = {name: value for name, value in os.environ.items()
                       if name not in _SESSION_VARIABLES and not name.startswith(_SESSION_PREFIXES)}
        for name, folder in (("HOME", "home"), ("XDG_RUNTIME_DIR", "run"), ("XDG_CONFIG_HOME", "config"),
                             ("XDG_CACHE_HOME", "cache"), ("XDG_DATA_HOME", "data"), ("TMPDIR", "tmp")):
            environment[name] = os.path.join(self.directory, folder)
            os.mkdir(environment[name], 0o700)
        authority = os.path.join(self.directory, "authority")
        x11.write_authority(authority)
        environment.update({
            _MARKER: self._marker, "XAUTHORITY": authority, "LANG": "C.UTF-8",
            "GDK_BACKEND": "x11", "GSETTINGS_BACKEND": "memory", "GIO_USE_VFS": "local",
            "GTK_THEME": "Adwaita", "LIBGL_ALWAYS_SOFTWARE": "1", "NO_COLOR": "1",
        })
        self.environment = environment

    def _start_with_report(self, command, what, **options):
        """Starts a program that writes one line to a descriptor when it is ready; `{fd}` in the command stands
        for that descriptor. Gives the process and the line."""
        reader, writer = os.pipe()
        try:
            process = self.start([part.format(fd=writer) for part in command], pass_fds=(writer,), **options)
        except BaseException:
            os.close(reader)
            raise
        finally:
            os.close(writer)
        with os.fdopen(reader, "rb", buffering=0) as pipe:
            line = b""
            deadline = time.monotonic() + 20
            while not line.endswith(b"\n"):
                remaining = max(0.0, deadline - time.monotonic())
                if not select.select([pipe], [], [], remaining)[0]:
                    raise DesktopError(f"{what} did not come up in time:\n{self.log()}")
                piece = pipe.read(256)
                if not piece:
                    raise DesktopError(f"{what} did not start:\n{self.log()}")
                line += piece
        return process, line.decode().strip()

    def start_x_server(self):
        """Starts the X server, the first time on a free display number unless one was given, later on the same."""
        width, height = self._size
        number = [self.display] if self.display else ["-displayfd", "{fd}"]
        options = ["-nolisten", "tcp", "-noreset", "-auth", self.environment["XAUTHORITY"]]
        virtual = ["-screen", "0", f"{width}x{height}x24"]
        environment = {}
        if self._has_person and not self._screen_behind:
            _, line = self._start_with_report(["Xvfb", "-displayfd", "{fd}", *virtual, *options], "Xvfb")
            self._screen_behind = ":" + line
        if self._has_person:
            environment = {"DISPLAY": self._screen_behind}
        server = ["Xephyr", "-screen", f"{width}x{height}"] if self._has_person else ["Xvfb", *virtual]
        command = [server[0], *number, *server[1:], *options]
        if self.display:
            self.x_server = self.start(command, env=environment)
        else:
            self.x_server, line = self._start_with_report(command, server[0], env=environment)
            self.display = ":" + line
        self.environment["DISPLAY"] = self.display
        wait_for(self._display_answers, 20, "the X server")

    def _display_answers(self):
        try:
            self.x().close()
            return True
        except x11.XError:
            return False

    def start_session_bus(self):
        socket_path = os.path.join(self.environment["XDG_RUNTIME_DIR"], "bus")
        self.session_bus, address = self._start_with_report(
            ["dbus-daemon", "--session", "--nofork", "--nopidfile", "--nosyslog",
             f"--address=unix:path={socket_path}", "--print-address={fd}"], "the session bus")
        # Without the bus's own id, as login sessions have it: with it, a bus started anew would be turned down.
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address.partition(",guid=")[0]

    def start_window_manager(self):
        self.window_manager = self.start(["openbox", "--sm-disable"])
        with self.x() as display:
            wait_for(display.has_window_manager, 20, "the window manager")

    def start_accessibility_bus(self):
        """Starts the accessibility bus and its registry, and waits until both answer."""
        self.start([_bus_launcher(), "--launch-immediately"])
        wait_for(self._registry_answers, 20, "the accessibility bus")

    def accessibility_bus_processes(self):
        """The processes of the accessibility bus, whoever started it: the session bus does, too, when it is asked."""
        reply = self._call(["--session", "--dest=org.freedesktop.DBus"], "/org/freedesktop/DBus",
                           "org.freedesktop.DBus.GetConnectionUnixProcessID", "string:org.a11y.Bus")
        if not reply:
            return []
        launcher = int(reply.split()[-1])
        return [launcher] + [int(name) for name in os.listdir("/proc")
                             if name.isdigit() and (_status_fields(name) or (0,))[0] == launcher]

    def kill_accessibility_bus(self):
        processes = self.accessibility_bus_processes()
        for pid in processes:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        wait_for(lambda: all(_is_over(pid) for pid in processes), 10, "the accessibility bus to end")

    def accessibility_bus_address(self):
        """The address of the accessibility bus, or None when there is none."""
        reply = self._call(["--session", "--dest=org.a11y.Bus"], "/org/a11y/bus", "org.a11y.Bus.GetAddress")
        return reply.split('"')[1] if reply and reply.count('"') >= 2 else None

    def _registry_answers(self):
        address = self.accessibility_bus_address()
        return address and self._call(
            [f"--bus={address}", "--dest=org.a11y.atspi.Registry"], "/org/a11y/atspi/accessible/root",
            "org.freedesktop.DBus.Properties.Get", "string:org.a11y.atspi.Accessible", "string:ChildCount")

    def _call(self, target, path, method, *arguments):
        command = ["dbus-send", *target, "--print-reply", "--reply-timeout=5000", path, method, *arguments]
        done = subprocess.run(command, env=self.environment, capture_output=True, text=True, timeout=20,
                              stdin=subprocess.DEVNULL, check=False)
        return done.stdout if done.returncode == 0 else None

    # -- the end

    def close(self):
        """Ends everything on the desktop and removes its directory. May be called again."""
        for process in reversed(self._processes):
            if process not in (getattr(self, "x_server", None), getattr(self, "session_bus", None)):
                end_process(process)
        for process in reversed(self._processes):
            end_process(process)
        self._processes.clear()
        self._end_leftovers()
        if self.directory:
            shutil.rmtree(self.directory, ignore_errors=True)
            self.directory = None

    def _leftovers(self):
        """Processes of the desktop that still run: by their session, their environment or their parent."""
        marker = f"{_MARKER}={self._marker}".encode()
        everyone = {int(name): _status_fields(name) for name in os.listdir("/proc") if name.isdigit()}
        found = set()
        for pid, fields in everyone.items():
            if fields and pid != os.getpid() and fields[2] not in "ZX" and (
                    fields[1] in self._sessions or _has_marker(pid, marker)):
                found.add(pid)
        grew = True
        while grew:
            children = {pid for pid, fields in everyone.items()
                        if fields and fields[0] in found and fields[2] not in "ZX"}
            grew = not children <= found
            found |= children
        return found

    def _end_leftovers(self):
        # What a bus activated ends by itself when the bus is gone; only what does not is made to.
        deadline = time.monotonic() + 2
        while self._leftovers() and time.monotonic() < deadline:
            time.sleep(0.01)
        deadline = time.monotonic() + 10
        while True:
            remaining = self._leftovers()
            if not remaining or time.monotonic() > deadline:
                return
            for pid in remaining:
                try:
                    os.kill(pid, signal.SIGKILL)
                except (ProcessLookupError, PermissionError):
                    pass
            time.sleep(0.01)


def _bus_launcher():
    for path in ("/usr/libexec/at-spi-bus-launcher", "/usr/lib/at-spi2-core/at-spi-bus-launcher"):
        if os.path.exists(path):
            return path
    raise DesktopError("at-spi-bus-launcher is not installed")
