"""Reads the same trees through the agent and through the usual Python bindings, in turns, and compares.

Both read of every element: role, name, accessible id, the text where it bears one (else nothing), the states
enabled and focused, the extents on the screen, and the children, at most 1000 of one element. The agent answers
POST /ax/tree with nothing cached; the bindings walk with their cache cleared.
"""

import argparse
import os
import statistics
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools/lib"))
from agent import Agent, size_and_depth  # noqa: E402
from chromium import CHROMIUM  # noqa: E402
from private_desktop import PrivateDesktop, exit_on_signals, wait_for  # noqa: E402
from sway_desktop import SwayDesktop  # noqa: E402

MAX_CHILDREN = 1000
CACHE_SECONDS = 1.0


class PythonWalk:
    """The walk through python3-pyatspi, as a script that needs these fields would do it."""

    def __init__(self):
        # Only here: importing them connects to the bus that the environment names.
        import pyatspi
        from gi.repository import Atspi
        Atspi.set_timeout(15000, 15000)  # a busy browser takes longer than the usual 800 ms
        self._api = pyatspi
        self._text_roles = {getattr(pyatspi, "ROLE_" + name) for name in
                            ("TEXT", "ENTRY", "LABEL", "STATIC", "PARAGRAPH", "TERMINAL", "HEADING", "STATUS_BAR",
                             "CAPTION", "EDITBAR", "DATE_EDITOR", "ACCELERATOR_LABEL", "AUTOCOMPLETE")}

    def application(self, pid):
        for application in self._api.Registry.getDesktop(0):
            if application and application.get_process_id() == pid:
                return application
        return None

    def read(self, accessible):
        """Reads one element and everything below it; gives the number of elements."""
        api = self._api
        role = accessible.getRole()
        record = {"role": role, "name": accessible.name, "id": accessible.get_accessible_id()}
        states = accessible.getState()
        record["enabled"], record["focused"] = states.contains(api.STATE_ENABLED), states.contains(api.STATE_FOCUSED)
        if role in self._text_roles:
            try:
                record["value"] = accessible.queryText().getText(0, -1)
            except NotImplementedError:
                pass
        try:
            record["frame"] = accessible.queryComponent().getExtents(api.DESKTOP_COORDS)
        except NotImplementedError:
            pass
        count = 1
        for index in range(min(accessible.childCount, MAX_CHILDREN)):
            child = accessible.getChildAtIndex(index)
            if child:
                count += self.read(child)
        return count

    def walk(self, pid):
        """One cold walk over a process's application: (number of elements, seconds)."""
        began = time.monotonic()
        application = self.application(pid)
        application.clear_cache()
        count = self.read(application)
        return count, time.monotonic() - began


def agent_walk(agent, pid):
    """One cold tree request: (number of elements, seconds)."""
    answer = agent.tree(pid, timeout=60)
    if answer.status != 200:
        raise SystemExit(f"the agent answered {answer.status} {answer.body[:200]!r}")
    if answer.headers["X-Varkel-Cache"] != "MISS":
        raise SystemExit("the agent answered from its cache: the round would not count")
    count, _ = size_and_depth(answer.json()["tree"])
    return count, answer.seconds


def measure(name, pid, agent, python_walk, rounds):
    walks = {"agent": lambda: agent_walk(agent, pid), "python": lambda: python_walk.walk(pid)}
    if agent is None:
        del walks["agent"]
    seconds = {who: [] for who in walks}
    counts = {}
    for turn in range(rounds + 1):
        order = list(walks) if turn % 2 else list(reversed(walks))
        for who in order:
            if who == "agent":
                time.sleep(CACHE_SECONDS + 0.1)  # until the tree of the round before has expired
            counts[who], took = walks[who]()
            if turn > 0:  # the first turn lets the application make its accessibility objects
                seconds[who].append(took)
    medians = {who: statistics.median(values) for who, values in seconds.items()}
    line = f"{name:<22}"
    for who in ("agent", "python"):
        if who in medians:
            line += f"  {who} {medians[who] * 1000:8.1f} ms ({counts[who]} elements)"
    if "agent" in medians:
        line += f"  ratio {medians['python'] / medians['agent']:.1f}"
    print(line, flush=True)


def many_buttons_page(directory):
    path = os.path.join(directory, "page.html")
    with open(path, "w", encoding="utf-8") as file:
        file.write("<!doctype html><title>Many buttons</title><body>")
        for group in range(0, 3000, 30):
            buttons = (f"<p><button id=b{number}>Button {number}</button></p>"
                       for number in range(group, group + 30))
            file.write("<div role=group>" + "\n".join(buttons) + "</div>\n")
    return path


def wait_until_settled(python_walk, pid, at_least):
    """Waits until the application has at least so many elements and their number no longer changes."""
    counts = [0]

    def settled():
        application = python_walk.application(pid)
        if application is None:
            return False
        for window in application:
            window.getAttributes()  # Chromium builds its tree for those who ask for these
        counts.append(python_walk.walk(pid)[0])
        return counts[-1] >= at_least and counts[-1] == counts[-2]
    wait_for(settled, 120, f"{at_least} elements")


def applications(desktop):
    """Each application to measure: its name, how to start it, and the least number of elements it must have."""
    page = many_buttons_page(desktop.directory)
    profile = os.path.join(desktop.directory, "chromium")
    yield "gtk3-widget-factory", ["gtk3-widget-factory"], {}, 200
    yield "GTK, 1,650 widgets", ["/usr/bin/python3", str(ROOT / "bench/apps/many_widgets.py")], {}, 1600
    # Drawn by software, it animates without a pause, and gets to nothing else.
    yield "gtk4-widget-factory", ["gtk4-widget-factory"], {"GSK_RENDERER": "cairo"}, 800
    yield "Qt 5, 3,000 items", ["/usr/bin/python3", str(ROOT / "bench/apps/qt_widgets.py")], {}, 3000
    yield "Chromium, 3,000 buttons", [*CHROMIUM, f"--user-data-dir={profile}", f"file://{page}"], {}, 3000


def main():
    parser = argparse.ArgumentParser(prog="tools/bench tree", description=__doc__)
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--only", default="", help="measure only applications whose name holds this")
    parser.add_argument("--without-agent", action="store_true", help="measure the Python bindings alone")
    parser.add_argument("--wayland", action="store_true", help="on a desktop of sway's")
    options = parser.parse_args()
    exit_on_signals()
    with SwayDesktop() if options.wayland else PrivateDesktop() as desktop:
        os.environ.update(desktop.environment)  # for the bindings, which run in this process
        agent = None if options.without_agent else Agent(desktop.start, desktop.directory)
        python_walk = PythonWalk()
        for name, command, environment, at_least in applications(desktop):
            if options.only.lower() not in name.lower():
                continue
            process = desktop.start(command, env=environment)
            wait_until_settled(python_walk, process.pid, at_least)
            measure(name, process.pid, agent, python_walk, options.rounds)
            desktop.stop(process)


if __name__ == "__main__":
    main()
