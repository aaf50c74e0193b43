"""The example overlay service on a desktop, and a person who answers it."""

import os

from agent import walk
from private_desktop import DesktopError, wait_for

SERVICE = os.path.join(os.path.dirname(__file__), "../../examples/overlay/overlay.py")
DISCOVERY = "Library/Application Support/Quellan/Varkel/overlay.sock"


def start_overlay(desktop, home):
    """Starts the service on a desktop and waits until an agent would find it; gives its process."""
    process = desktop.start(["/usr/bin/python3", SERVICE])
    path = os.path.join(home, DISCOVERY)
    wait_for(lambda: os.path.exists(path) or process.poll() is not None, 20, "the overlay service")
    if process.poll() is not None:
        raise OSError(f"the overlay service ended with status {process.returncode}")
    return process


def _button(agent, process, label):
    answer = agent.tree(process.pid)
    elements = walk(answer.json()["tree"]) if answer.status == 200 else ()
    return next((e for e in elements if e["role"] == "AXButton" and e.get("label") == label and "frame" in e), None)


def wait_for_button(agent, process, label):
    """Waits until the prompt shows a button and gives the button's element."""
    return wait_for(lambda: _button(agent, process, label), 15, f"a prompt with the button {label}")


def press(desktop, agent, process, label):
    """Presses a button of the prompt with the mouse, as a person does: again when the window was still on its way
    to its place."""
    def is_gone():
        return not _button(agent, process, label)

    def pressed():
        frame = wait_for_button(agent, process, label)["frame"]
        desktop.click(round(frame["x"] + frame["width"] / 2), round(frame["y"] + frame["height"] / 2))
        try:
            return wait_for(is_gone, 3, "the prompt to go")
        except DesktopError:
            return False
    wait_for(pressed, 15, f"the prompt to take the button {label}")
