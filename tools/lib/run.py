"""Starts the agent on a desktop, shows what it does, and serves until it is interrupted."""

import argparse
import os
import shlex
import shutil
import subprocess
import sys
import tempfile

import x11
from agent import Agent, AgentError, size_and_depth
from private_desktop import DesktopError, PrivateDesktop, end_process, exit_on_signals


class StepFailed(Exception):
    """A step of the tour did not do what it should."""


class FoundDesktop:
    """The user's own desktop, named by DISPLAY. Only the agent is started on it."""

    def __init__(self):
        self._processes = []

    def __enter__(self):
        self.directory = tempfile.mkdtemp(prefix="varkel-run-", dir=os.environ.get("XDG_RUNTIME_DIR") or None)
        return self

    def __exit__(self, *_):
        for process in self._processes:
            end_process(process)
        shutil.rmtree(self.directory, ignore_errors=True)

    def start(self, command, env=None, **options):
        process = subprocess.Popen(command, env=dict(os.environ, **(env or {})), stdin=subprocess.DEVNULL,
                                   start_new_session=True, **options)
        self._processes.append(process)
        return process

    def screenshot(self, path):
        with x11.Display() as display, open(path, "wb") as file:
            file.write(display.screenshot())


class Tour:
    """What the steps share: the agent, the desktop, the application to look at (None: the frontmost one)."""

    def __init__(self, agent, desktop, application_pid, screenshot_path):
        self.agent, self.desktop = agent, desktop
        self.application_pid, self.screenshot_path = application_pid, screenshot_path


def expect(condition, message):
    if not condition:
        raise StepFailed(message)


def show_health(tour):
    answer = tour.agent.request("GET", "/health", token=False)
    expect(answer.status == 200 and answer.json().get("ok") is True, f"{answer.status} {answer.body[:200]!r}")
    return f"version {answer.json().get('version')}, {answer.seconds * 1000:.1f} ms"


def show_tree(tour):
    answer = tour.agent.tree(tour.application_pid)
    expect(answer.status == 200, f"{answer.status} {answer.body[:200]!r}")
    tree = answer.json()["tree"]
    count, depth = size_and_depth(tree)
    name = tree.get("label", "an application without a name")
    if tour.application_pid is not None:
        expect(tree["role"] == "AXApplication", f"the root's role is {tree['role']}")
        expect(count > 100, f"only {count} elements")
    return f"{name}: {count} elements, {depth} levels, {answer.seconds * 1000:.1f} ms"


def save_screenshot(tour):
    tour.desktop.screenshot(tour.screenshot_path)
    return tour.screenshot_path


# One line per step: its name, and a function that gives what to print or raises when it went wrong.
STEPS = [
    ("health", show_health),
    ("tree", show_tree),
    ("screenshot", save_screenshot),
]


def take_tour(tour):
    """Takes every step; says whether all went well."""
    all_well = True
    for name, step in STEPS:
        try:
            print(f"  {name:<12} {step(tour)}")
        except (StepFailed, AgentError, DesktopError, x11.XError, OSError, ValueError, KeyError) as error:
            all_well = False
            print(f"  {name:<12} FAILED: {error}")
    return all_well


def print_invitation(agent, application_pid):
    body = "{}" if application_pid is None else '{"root_pid": %d}' % application_pid
    # curl reads the header from a file, so that the token is on no command line.
    header_file = agent.token_file + ".header"
    with open(agent.token_file, encoding="ascii") as token, os.fdopen(
            os.open(header_file, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600), "w") as header:
        header.write("x-varkel-token: " + token.read())
    token = f"-H @{shlex.quote(header_file)}"
    print(f"""
The agent serves at {agent.url}
Its token is in    {agent.token_file}
and, as a header,  {header_file}

Try it:
  curl {agent.url}/health
  curl {token} -d '{body}' {agent.url}/ax/tree
  curl {token} -d '{{"batch_id": "mine"}}' {agent.url}/batch/begin
""")


def wait_for_end(agent):
    """Serves until a signal unwinds this, or the agent ends by itself, which is a failure."""
    print("Ctrl-C ends it.")
    status = agent.process.wait()
    print(f"The agent ended by itself with status {status}.")
    return 1


def run(options, desktop, application_pid):
    agent = Agent(desktop.start, desktop.directory, options.port)
    print_invitation(agent, application_pid)
    print("A short tour:")
    all_well = take_tour(Tour(agent, desktop, application_pid, options.screenshot))
    if options.once:
        return 0 if all_well else 1
    print()
    return wait_for_end(agent)


def run_on_private_desktop(options):
    with PrivateDesktop(1440, 900) as desktop:
        print(f"No DISPLAY is set: a private desktop is on display {desktop.display}.")
        application = desktop.start(["gtk3-widget-factory"])
        desktop.activate(desktop.wait_for_window(application))
        return run(options, desktop, application.pid)


def run_on_found_desktop(options):
    print(f"The desktop is display {os.environ['DISPLAY']}.")
    with FoundDesktop() as desktop:
        return run(options, desktop, None)


def main():
    parser = argparse.ArgumentParser(prog="tools/run", description=__doc__)
    parser.add_argument("--once", action="store_true", help="end after the tour; status 0 when all of it went well")
    parser.add_argument("--port", type=int, help="the port to serve on (default: 47824 if free, else another)")
    parser.add_argument("--private", action="store_true", help="use a private desktop even when DISPLAY is set")
    parser.add_argument("--screenshot", default="build/desktop.png", metavar="FILE",
                        help="where the tour puts its screenshot (default: %(default)s)")
    options = parser.parse_args()
    options.screenshot = os.path.abspath(options.screenshot)
    os.makedirs(os.path.dirname(options.screenshot), exist_ok=True)
    sys.stdout.reconfigure(line_buffering=True)
    exit_on_signals()
    try:
        found = os.environ.get("DISPLAY") and not options.private
        return run_on_found_desktop(options) if found else run_on_private_desktop(options)
    except (AgentError, DesktopError, x11.XError, OSError) as error:
        print(f"tools/run: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
