"""Clicks the last of 3,000 buttons of a Chromium page by its id, and searches for it in other ways.

Four medians: /ax/click of the button after its tree was read; /ax/click of an id that no element has, which walks the
whole live hierarchy; /ax/click of the button by an agent that has read no tree; and the same button found by its name
through the usual Python bindings, their cache cleared, which is what the walks are compared with. That search reads of
every element its name and its children, in pre-order until it is found. The page counts its clicks in its title.
"""

import argparse
import os
import statistics
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools/lib"))
sys.path.append(str(ROOT / "bench"))
from agent import Agent, walk  # noqa: E402
from chromium import CHROMIUM  # noqa: E402
from private_desktop import PrivateDesktop, exit_on_signals, wait_for  # noqa: E402
from sway_desktop import SwayDesktop  # noqa: E402
from tree import MAX_CHILDREN, PythonWalk, many_buttons_page, wait_until_settled  # noqa: E402

LAST = "Button 2999"
UNKNOWN_ID = "0" * 16
COUNTER = """<script>
let clicks = 0;
document.getElementById("b2999").onclick = () => { document.title = "Clicked " + ++clicks; };
</script>
"""


class Page:
    """The page of buttons, in a browser that is in front."""

    def __init__(self, desktop):
        path = many_buttons_page(desktop.directory)
        with open(path, "a", encoding="utf-8") as file:
            file.write(COUNTER)
        profile = os.path.join(desktop.directory, "chromium")
        self.process = desktop.start([*CHROMIUM, f"--user-data-dir={profile}", f"file://{path}"])
        desktop.activate(desktop.wait_for_window(self.process, 60))
        self.pid, self.clicks = self.process.pid, 0

    def button_id(self, agent):
        """The id of the last button, from a tree read now."""
        answer = agent.tree(self.pid, timeout=60)
        found = [e for e in walk(answer.json()["tree"]) if e["role"] == "AXButton" and e.get("label") == LAST]
        if answer.status != 200 or len(found) != 1:
            raise SystemExit(f"{answer.status}: the last button is in the tree {len(found)} times")
        return found[0]["id"]

    def wait_for_click(self, python_walk):
        """Waits until the page has counted one click more, and only one."""
        self.clicks += 1
        expected = f"Clicked {self.clicks}"

        def counted():
            return any(expected in frame.name for frame in python_walk.application(self.pid) if frame)
        wait_for(counted, 20, f"the title {expected!r}")


def click(agent, element_id, status):
    answer = agent.request("POST", "/ax/click", {"elementId": element_id}, timeout=60)
    if answer.status != status:
        raise SystemExit(f"/ax/click answered {answer.status} {answer.body[:200]!r}, not {status}")
    if status == 200 and answer.json()["method"] != "ax_press":
        raise SystemExit(f"the button was clicked by {answer.json()['method']}")
    return answer.seconds


def search(accessible, name):
    """The first element of this name through the bindings, or None."""
    if accessible.name == name:
        return accessible
    for index in range(min(accessible.childCount, MAX_CHILDREN)):
        child = accessible.getChildAtIndex(index)
        found = search(child, name) if child else None
        if found:
            return found
    return None


def python_search(python_walk, pid):
    began = time.monotonic()
    application = python_walk.application(pid)
    application.clear_cache()
    if not search(application, LAST):
        raise SystemExit("the bindings do not find the button")
    return time.monotonic() - began


def measure(page, desktop, agent, python_walk, rounds):
    known = page.button_id(agent)
    seconds = {"after a tree": [], "unknown id": [], "no tree read": [], "bindings": []}
    for turn in range(rounds + 1):
        page.button_id(agent)
        took = {"after a tree": click(agent, known, 200)}
        page.wait_for_click(python_walk)
        took["unknown id"] = click(agent, UNKNOWN_ID, 404)
        fresh = Agent(desktop.start, desktop.directory)
        took["no tree read"] = click(fresh, known, 200)
        page.wait_for_click(python_walk)
        desktop.stop(fresh.process)
        took["bindings"] = python_search(python_walk, page.pid)
        if turn > 0:  # the first turn lets everybody warm up
            for name, value in took.items():
                seconds[name].append(value)
    return seconds


def report(seconds):
    medians = {name: statistics.median(values) for name, values in seconds.items()}
    for name, values in seconds.items():
        ratio = medians["bindings"] / medians[name]
        print(f"{name:<14} median {medians[name] * 1000:8.1f} ms  (from {min(values) * 1000:.1f} to "
              f"{max(values) * 1000:.1f})  bindings take {ratio:.1f} times as long")
    print("load while measuring: " + " ".join(f"{value:.1f}" for value in os.getloadavg())
          + f" on {os.cpu_count()} processors")


def main():
    parser = argparse.ArgumentParser(prog="tools/bench click", description=__doc__)
    parser.add_argument("--rounds", type=int, default=9)
    parser.add_argument("--wayland", action="store_true", help="on a desktop of sway's")
    options = parser.parse_args()
    exit_on_signals()
    with SwayDesktop() if options.wayland else PrivateDesktop() as desktop:
        os.environ.update(desktop.environment)  # for the bindings, which run in this process
        agent = Agent(desktop.start, desktop.directory)
        python_walk = PythonWalk()
        page = Page(desktop)
        wait_until_settled(python_walk, page.pid, 3000)
        report(measure(page, desktop, agent, python_walk, options.rounds))


if __name__ == "__main__":
    main()
