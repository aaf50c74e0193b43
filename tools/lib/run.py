"""Starts the agent on a desktop, shows what it does, and serves until it is interrupted."""

import argparse
import json
import os
import shlex
import shutil
import subprocess
import sys
import tempfile

import x11
from agent import DEFAULT_PORT, Agent, AgentError, binary_path, free_port
from inspector import start_inspector
from overlay import Overlay
from private_desktop import DesktopError, PrivateDesktop, end_process, exit_on_signals
from sway_desktop import SwayDesktop
from tour import APPLICATION, SHORTCUT, Tour, take_tour


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


def print_invitation(agent, application_pid):
    body = "{}" if application_pid is None else '{"root_pid": %d}' % application_pid
    header_file = agent.header_file()
    token = f"-H @{shlex.quote(header_file)}"
    print(f"""
The agent serves at {agent.url}
Its token is in    {agent.token_file}
and, as a header,  {header_file}

Try it:
  curl {agent.url}/health
  curl {token} -d '{body}' {agent.url}/ax/tree
  curl {token} -d '{{"role": "AXButton", "maxResults": 3}}' {agent.url}/ax/find
  curl {token} -d '{{"batch_id": "mine"}}' {agent.url}/batch/begin
""")


def print_host_configuration(agent, desktop):
    """What a host's configuration needs, to start varkel-mcp for this agent on this desktop."""
    environment = getattr(desktop, "environment", None) or os.environ
    names = ["DISPLAY", "XAUTHORITY"]
    if environment.get("WAYLAND_DISPLAY"):
        names = ["WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", *names]
    server = {"command": os.path.join(os.path.dirname(binary_path()), "varkel-mcp"),
              "args": ["--port", str(agent.port), "--token-file", agent.token_file],
              "env": {name: environment[name] for name in names if environment.get(name)}}
    print("For the configuration of a host that speaks the Model Context Protocol:\n")
    print(json.dumps({"mcpServers": {"desktop": server}}, indent=2) + "\n")


def inspect(agent, desktop, options):
    """Starts the inspector. It opens a browser on the person's own desktop; a private one has no screen."""
    _, address = start_inspector(desktop.start, agent, *options)
    print("The inspector shows what the agent sees. Its address lets one browser in:\n")
    print(f"  {address}\n")


def wait_for_end(agent):
    """Serves until a signal unwinds this, or the agent ends by itself, which is a failure."""
    print("Ctrl-C ends it.")
    status = agent.process.wait()
    print(f"The agent ended by itself with status {status}.")
    return 1


def run(options, desktop, application_pid, home):
    # The agent looks for the service once, when it starts.
    overlay = Overlay(desktop, home, options.port or free_port(DEFAULT_PORT)) if options.consent else None
    agent = overlay.start_agent(desktop) if overlay else Agent(desktop.start, desktop.directory, options.port)
    if options.mcp:
        print_host_configuration(agent, desktop)
        return wait_for_end(agent)
    if options.inspector:
        inspect(agent, desktop, ["--no-browser"] if application_pid else [])
        return wait_for_end(agent)
    print_invitation(agent, application_pid)
    if overlay:
        print("Before the agent does anything, it asks on the screen.\n")
    print("A short tour:")
    all_well = take_tour(Tour(agent, desktop, application_pid, options.screenshot, overlay))
    if options.once:
        return 0 if all_well else 1
    print()
    return wait_for_end(agent)


def run_on_private_desktop(options):
    with SwayDesktop(1440, 900) if options.wayland else PrivateDesktop(1440, 900, has_person=options.consent) as desktop:
        if options.wayland:
            print("A private desktop of sway's, without a screen.")
        else:
            print(f"No DISPLAY is set: a private desktop is on display {desktop.display}.")
        desktop.add_shortcut(SHORTCUT, "tr a-z A-Z")
        application = desktop.start([APPLICATION])
        desktop.activate(desktop.wait_for_window(application))
        return run(options, desktop, application.pid, desktop.environment["HOME"])


def run_on_found_desktop(options):
    print(f"The desktop is display {os.environ['DISPLAY']}.")
    with FoundDesktop() as desktop:
        return run(options, desktop, None, os.path.expanduser("~"))


def main():
    parser = argparse.ArgumentParser(prog="tools/run", description=__doc__)
    parser.add_argument("--consent", action="store_true",
                        help="start varkel-overlay, which asks before anything is done")
    parser.add_argument("--inspector", action="store_true",
                        help="instead of the tour, start varkel-inspector, which shows in a browser what the agent sees")
    parser.add_argument("--mcp", action="store_true",
                        help="instead of the tour, print the configuration for an assistant's host")
    parser.add_argument("--once", action="store_true", help="end after the tour; status 0 when all of it went well")
    parser.add_argument("--port", type=int, help="the port to serve on (default: 47824 if free, else another)")
    parser.add_argument("--private", action="store_true", help="use a private desktop even when DISPLAY is set")
    parser.add_argument("--wayland", action="store_true", help="use a private desktop of sway's, on Wayland")
    parser.add_argument("--screenshot", default="build/desktop.png", metavar="FILE",
                        help="where the tour puts its screenshot (default: %(default)s)")
    options = parser.parse_args()
    if options.consent and options.wayland:
        parser.error("--consent needs X11: in a Wayland session it cannot be told which clicks are a person's")
    options.screenshot = os.path.abspath(options.screenshot)
    os.makedirs(os.path.dirname(options.screenshot), exist_ok=True)
    sys.stdout.reconfigure(line_buffering=True)
    exit_on_signals()
    try:
        found = os.environ.get("DISPLAY") and not options.private and not options.wayland
        return run_on_found_desktop(options) if found else run_on_private_desktop(options)
    except (AgentError, DesktopError, x11.XError, OSError) as error:
        print(f"tools/run: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
