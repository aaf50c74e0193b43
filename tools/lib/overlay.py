"""varkel-overlay on a desktop, and a person who answers it with a mouse."""

import os

from agent import Agent, binary_path, free_port, walk, write_token
from private_desktop import DesktopError, wait_for

DISCOVERY = "Library/Application Support/Quellan/Varkel/overlay.sock"


class Overlay:
    """The running service, and where it looks for the agent, which has to be started after it."""

    def __init__(self, desktop, home, port=None):
        """Starts it and waits until an agent would find it. `port`: the agent's (default: a free one)."""
        self.port, self.token_file = port or free_port(), write_token(desktop.directory)
        program = os.path.join(os.path.dirname(binary_path()), "varkel-overlay")
        self.process = desktop.start([program, "--port", str(self.port), "--token-file", self.token_file])
        self.pid = self.process.pid
        path = os.path.join(home, DISCOVERY)
        wait_for(lambda: os.path.exists(path) or self.process.poll() is not None, 20, "the overlay service")
        if self.process.poll() is not None:
            raise OSError(f"the overlay service ended with status {self.process.returncode}")

    def start_agent(self, desktop):
        """Starts the agent that asks this service."""
        return Agent(desktop.start, desktop.directory, self.port, token_file=self.token_file)


def elements(agent, overlay):
    """What the prompt consists of, as far as it is on the screen."""
    answer = agent.tree(overlay.pid)
    return [e for e in walk(answer.json()["tree"]) if "frame" in e] if answer.status == 200 else []


def texts(agent, overlay):
    """What can be read in the prompt."""
    return [e["label"] for e in elements(agent, overlay) if e["role"] == "AXStaticText" and e.get("label")]


def _button(agent, overlay, label):
    return next((e for e in elements(agent, overlay) if e["role"] == "AXButton" and e.get("label") == label), None)


def wait_for_button(agent, overlay, label):
    """Waits until the prompt shows a button and gives the button's element."""
    return wait_for(lambda: _button(agent, overlay, label), 15, f"a prompt with the button {label}")


def middle_of(element):
    frame = element["frame"]
    return round(frame["x"] + frame["width"] / 2), round(frame["y"] + frame["height"] / 2)


def press(desktop, agent, overlay, label):
    """Presses a button of the prompt with the person's mouse: again when it has not been there for long enough."""
    wait_for_button(agent, overlay, label)
    before = texts(agent, overlay)[:1]

    def pressed():
        with desktop.person() as mouse:
            mouse.click(*middle_of(wait_for_button(agent, overlay, label)))
        try:
            return wait_for(lambda: texts(agent, overlay)[:1] != before or not _button(agent, overlay, label), 1,
                            "the prompt to go")
        except DesktopError:
            return False
    wait_for(pressed, 15, f"the prompt to take the button {label}")
