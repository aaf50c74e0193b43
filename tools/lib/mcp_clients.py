"""Lets the protocol's official clients work a real desktop through varkel-mcp: each the tour of tests/mcp/clients."""

import os
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "tests/desktop"))
from agent import Agent, AgentError  # noqa: E402
from private_desktop import DesktopError, PrivateDesktop, exit_on_signals, wait_for  # noqa: E402
from reporting import ReportingApp  # noqa: E402

BINARY = os.path.join(ROOT, "build/release/VarkelAgent/varkel-mcp")
CLIENTS = (("sdk", "legacy"), ("client", "legacy"), ("client", "auto"), ("client", "2026-07-28"))


def take_tour(desktop, agent, folder, name, mode):
    """The exit status of one client, after the application has told of what the tour did in it."""
    app = ReportingApp(desktop, [os.path.join(ROOT, "tests/desktop/apps/acts_app.py")])
    try:
        desktop.activate(app.window)
        wait_for(lambda: b"Count me" in agent.tree().body, 15, "the application's tree")
        command = ["node", "tour.mjs", name, mode, BINARY, "--port", str(agent.port), "--token-file", agent.token_file]
        status = subprocess.run(command, cwd=folder, env=desktop.environment, timeout=120, check=False).returncode
        if status == 0:
            app.wait_for("changed", widget="entry", text=f"from {name}")
            app.wait_for("clicked", widget="button")
            app.wait_for("scrolled")
        return status
    finally:
        desktop.stop(app.process)


def main():
    exit_on_signals()
    folder = sys.argv[1]
    shutil.copy(os.path.join(ROOT, "tests/mcp/clients/tour.mjs"), folder)
    with PrivateDesktop() as desktop:
        desktop.add_shortcut("Shout", "tr a-z A-Z")
        agent = Agent(desktop.start, desktop.directory)
        failed = [f"{name} {mode}" for name, mode in CLIENTS if take_tour(desktop, agent, folder, name, mode) != 0]
    if failed:
        print("tools/mcp-clients: something went wrong with " + ", ".join(failed), file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (AgentError, AssertionError, DesktopError, OSError, subprocess.TimeoutExpired) as error:
        sys.exit(f"tools/mcp-clients: {error}")
