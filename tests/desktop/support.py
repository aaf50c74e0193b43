"""What the real-desktop tests share: a desktop with an agent on it, and ways to look at trees."""

import hashlib
import json
import os
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools/lib"))
from agent import Agent, binary_path, walk  # noqa: E402
from overlay import DISCOVERY  # noqa: E402
from kwin_desktop import KWinDesktop  # noqa: E402
from mutter_desktop import MutterDesktop  # noqa: E402
from private_desktop import DesktopError, PrivateDesktop, exit_on_signals, wait_for  # noqa: E402
from reporting import ReportingApp  # noqa: E402
from sway_desktop import SwayDesktop  # noqa: E402

APPS = ROOT / "tests/desktop/apps"

# Which kind of desktop the tests run on: X11 without the variable.
DESKTOP = {"x11": PrivateDesktop, "sway": SwayDesktop, "mutter": MutterDesktop,
           "kwin": KWinDesktop}[os.environ.get("VARKEL_DESKTOP", "x11")]
ON_X11 = DESKTOP is PrivateDesktop
only_on_x11 = unittest.skipUnless(ON_X11, "about X11 alone")
needs_windows = unittest.skipUnless(DESKTOP.tells_windows, "this desktop tells nothing of its windows")
__all__ = ["APPS", "DESKTOP", "ON_X11", "ROOT", "DesktopError", "DesktopTest", "binary_path", "element_id", "find", "main",
           "needs_windows", "new_desktop", "only_on_x11", "paths", "wait_for", "walk"]


def new_desktop(display=None, has_person=False):
    return PrivateDesktop(display=display, has_person=has_person) if ON_X11 else DESKTOP()


def state_of(pid):
    """The letter for what a process does, "T" when it is stopped; "Z" when it has ended."""
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as file:
            return file.read().rpartition(")")[2].split()[0]
    except (FileNotFoundError, ProcessLookupError):
        return "Z"


def resident_kib(pid):
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("VmRSS"))


def add_desktop_entry(desktop, identifier, name, command, more=""):
    """Installs an application; `more`: further lines of its entry."""
    folder = os.path.join(desktop.environment["XDG_DATA_HOME"], "applications")
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, identifier + ".desktop"), "w", encoding="utf-8") as file:
        file.write(f"[Desktop Entry]\nType=Application\nName={name}\nExec={command}\n{more}\n")


def announce_overlay(desktop, port):
    """Lets an agent that starts from now on find an overlay service with the token "secret" at a port."""
    path = os.path.join(desktop.environment["HOME"], DISCOVERY)
    os.makedirs(os.path.dirname(path))
    with open(path, "w", encoding="utf-8") as file:
        json.dump({"port": port, "token": "secret"}, file)


def element_id(pid, element, path):
    """The id that an element of a process must have at an ordinal path."""
    parts = (str(pid), element["role"], element.get("identifier", ""), element.get("label", ""), path)
    return hashlib.sha256("|".join(parts).encode()).hexdigest()[:16]


def paths(tree):
    """Every element with its ordinal path."""
    waiting = [(tree, "0")]
    while waiting:
        element, path = waiting.pop()
        yield element, path
        waiting.extend((child, f"{path}/{i}") for i, child in enumerate(element.get("children", [])))


def find(tree, **attributes):
    """The first element with these fields, or None."""
    return next((element for element in walk(tree)
                 if all(element.get(name) == value for name, value in attributes.items())), None)


class DesktopTest(unittest.TestCase):
    """Each test has a desktop and an agent of its own, so that it may break them."""

    # Whether there is a person's mouse on the desktop.
    has_person = False

    def setUp(self):
        # Out of the reach of programs that take the lowest free number: none may get this one while the server is away.
        self.desktop = self.enterContext(new_desktop(f":{1000 + os.getpid()}", self.has_person))
        self.agent = Agent(self.desktop.start, self.desktop.directory)

    def post(self, path, seconds=30.0, **body):
        return self.agent.request("POST", path, body, seconds)

    def run_tool(self, *command):
        """What a program that has to succeed on the desktop prints."""
        return subprocess.run([*map(str, command)], env=self.desktop.environment, check=True, capture_output=True,
                              text=True, timeout=30).stdout

    def windows(self):
        with self.desktop.x() as display:
            return display.client_windows()

    def active_window(self):
        with self.desktop.x() as display:
            return display.active_window()

    def find_one(self, **query):
        def matches():
            answer = self.post("/ax/find", **query)
            return answer.status == 200 and answer.json()["matches"]
        return wait_for(matches, 15, f"an element with {query}")[0]

    def start_acts(self, title="Acts"):
        """Starts acts_app.py and brings it to the front."""
        app = ReportingApp(self.desktop, [str(APPS / "acts_app.py"), title])
        self.addCleanup(self.desktop.stop, app.process)
        self.desktop.activate(app.window)
        return app

    def start_known_widgets(self, title="Known widgets"):
        return ReportingApp(self.desktop, [str(APPS / "known_widgets.py"), title])

    def tree(self, pid=None, **options):
        answer = self.agent.tree(pid, **options)
        self.assertEqual(answer.status, 200, answer.body[:500])
        return answer.json()["tree"]

    def wait_for_tree(self, pid, condition, what, seconds=15):
        """Asks for a process's tree until it meets a condition, and gives it."""
        def good():
            answer = self.agent.tree(pid)
            tree = answer.json().get("tree") if answer.status == 200 else None
            return tree if tree and condition(tree) else None
        return wait_for(good, seconds, what)

    def known_tree(self, process):
        return self.wait_for_tree(process.pid, lambda tree: find(tree, identifier="save-button"),
                                  "the application's tree")

    def read_report(self, app):
        """The rectangle on the screen of each named widget of an application, as the window system has it."""
        places = {}
        for name, (x, y, width, height) in app.do("look")["places"].items():
            x, y = self.desktop.on_screen(app.window, x, y)
            places[name] = {"x": x, "y": y, "width": width, "height": height}
        return places


def main():
    exit_on_signals()
    unittest.main(verbosity=2)
