"""An application to type into, which tells what it holds."""

import os
import subprocess
import time

from private_desktop import wait_for
from reporting import ReportingApp

_HERE = os.path.dirname(os.path.abspath(__file__))


def wait_for_text(target, expected, quiet=2.0):
    """Waits until the target holds the expected text, or nothing has changed for `quiet` seconds; gives what it
    holds then."""
    last, since = None, time.monotonic()
    while True:
        text = target.text()
        if text == expected:
            return text
        now = time.monotonic()
        if text != last:
            last, since = text, now
        elif now - since > quiet:
            return text
        time.sleep(0.05)


class GtkTarget:
    """The GTK application of keyboard_app.py, made with a PrivateDesktop; `clear()` empties it, `text()` reads it."""

    name = "gtk"

    def __init__(self, desktop, **environment):
        self._desktop, self._environment = desktop, environment

    def __enter__(self):
        # Where nothing else tells of windows, the accessibility bus does.
        bridge = {} if not self._desktop.tells_windows else {"NO_AT_BRIDGE": "1"}
        self.app = ReportingApp(self._desktop, [os.path.join(_HERE, "apps/keyboard_app.py")],
                                env={**bridge, **self._environment})
        self.process, self.window, self.wait_for = self.app.process, self.app.window, self.app.wait_for
        self._desktop.activate(self.window)
        return self

    def __exit__(self, *_):
        self._desktop.stop(self.process)

    def restart(self):
        self.__exit__()
        self.__enter__()

    def text(self):
        return self.app.do("look")["text"]

    def clear(self):
        self.app.do("clear")
        self.app.events.clear()


class FormTarget:
    """The text area of text_form.py in a toolkit."""

    def __init__(self, desktop, toolkit):
        self._desktop, self._toolkit = desktop, toolkit
        self._file = FileTarget(os.path.join(desktop.directory, f"{toolkit}-{time.monotonic_ns()}"))

    def __enter__(self):
        self.process = self._desktop.start(["/usr/bin/python3", os.path.join(_HERE, "apps/text_form.py"), self._toolkit,
                                            self._file.path], env={"GSK_RENDERER": "cairo"}, stdin=subprocess.PIPE, text=True)
        self.window = self._desktop.wait_for_window(self.process, 60)
        self._desktop.activate(self.window)
        wait_for(self._file.is_there, 30, "the window to come to the front")
        return self

    def __exit__(self, *_):
        self._desktop.stop(self.process)

    def text(self):
        return self._file.text()

    def clear(self):
        self.process.stdin.write("clear\n")
        self.process.stdin.flush()
        wait_for_text(self, "")


class FileTarget:
    """What text_form.py has written into its file."""

    def __init__(self, path):
        self.path = path

    def is_there(self):
        return os.path.exists(self.path)

    def text(self):
        try:
            with open(self.path, encoding="utf-8") as file:
                return file.read()
        except FileNotFoundError:
            return ""
