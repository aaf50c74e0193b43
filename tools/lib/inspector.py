"""Starting varkel-inspector beside an agent, for scripts and tests."""

import os
import queue
import subprocess
import threading

from agent import AgentError, binary_path

PREFIX = "The inspector, for one browser: "


def inspector_path():
    """The program to use: $VARKEL_INSPECTOR when it is set, else the one beside the agent."""
    return os.environ.get("VARKEL_INSPECTOR") or os.path.join(os.path.dirname(binary_path()), "varkel-inspector")


def start_inspector(start, agent, *options):
    """Starts it with a function like PrivateDesktop.start. Gives the process and the address that lets a browser in."""
    process = start([inspector_path(), "--agent-port", str(agent.port), "--token-file", agent.token_file, *options],
                    stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    lines = queue.Queue()

    def drain():
        try:
            for line in iter(process.stdout.readline, b""):
                lines.put(line.decode("utf-8", "replace").strip())
        except ValueError:
            pass  # closed by the process's owner
        lines.put("")

    threading.Thread(target=drain, daemon=True).start()
    try:
        line = lines.get(timeout=20)
    except queue.Empty:
        line = ""
    if not line.startswith(PREFIX):
        raise AgentError(f"varkel-inspector did not start: {line}")
    process.lines = lines
    return process, line.removeprefix(PREFIX)
