"""Starting the agent and talking to it, for scripts, tests and benchmarks."""

import http.client
import json
import os
import queue
import secrets
import socket
import subprocess
import tempfile
import threading
import time

DEFAULT_PORT = 47824
_READY, _FAILED = "Server listening on ", "Server failed: "


class AgentError(Exception):
    """The agent did not start or did not answer."""


class Answer:
    """A response: `status`, `headers` (an http.client message), `body` (bytes), `seconds` it took."""

    def __init__(self, status, headers, body, seconds):
        self.status, self.headers, self.body, self.seconds = status, headers, body, seconds

    def json(self):
        return json.loads(self.body)


def binary_path():
    """The agent to use: $VARKEL_AGENT when it is set, else the release build's."""
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    return os.environ.get("VARKEL_AGENT") or os.path.join(root, "build/release/VarkelAgent/varkel-agent")


def write_token(directory):
    """Writes a fresh token to a new file that only its owner can read, and gives the file's path."""
    path = os.path.join(tempfile.mkdtemp(prefix="agent-", dir=directory), "token")
    with os.fdopen(os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600), "w") as file:
        file.write(secrets.token_hex(32) + "\n")
    return path


def free_port(wanted=0):
    """`wanted` when nothing listens there, else any free port. Somebody may take it before the agent does."""
    for port in (wanted, 0):
        with socket.socket() as probe:
            probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            try:
                probe.bind(("127.0.0.1", port))
                return probe.getsockname()[1]
            except OSError:
                continue
    raise AgentError("no port is free")


class Agent:
    """A running agent. `start` is a function like PrivateDesktop.start: it takes a command and Popen options.

    `port`: None takes the default one when it is free and another one otherwise; a number is used as it is.
    `token_file`: None writes a fresh token."""

    def __init__(self, start, directory, port=None, binary=None, token_file=None):
        self.token_file = token_file or write_token(directory)
        with open(self.token_file, encoding="ascii") as file:
            self._token = file.read().strip()
        self.output = []
        attempts = 1 if port is not None else 5
        for attempt in range(attempts):
            self.port = port if port is not None else free_port(DEFAULT_PORT if attempt == 0 else 0)
            if self._launch(start, binary or binary_path()):
                return
        raise AgentError("the agent did not start:\n" + "".join(self.output[-20:]))

    def _launch(self, start, binary):
        environment = {"QUELLAN_VARKEL_SIDECAR_TOKEN_FILE": self.token_file}
        self.process = start([binary, "--port", str(self.port)], env=environment, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT)
        lines = queue.Queue()
        threading.Thread(target=self._drain, args=(self.process.stdout, lines), daemon=True).start()
        deadline = time.monotonic() + 20
        while True:
            try:
                line = lines.get(timeout=max(0.0, deadline - time.monotonic()))
            except queue.Empty:
                line = ""
            if line.startswith(_READY):
                return True
            if not line or line.startswith(_FAILED):
                self.process.kill()
                self.process.wait()
                return False

    def _drain(self, stream, lines):
        # Ends with the stream; an agent whose output nobody reads would stall.
        try:
            for line in iter(stream.readline, b""):
                text = line.decode("utf-8", "replace")
                self.output.append(text)
                lines.put(text)
        except ValueError:
            pass  # closed by the process's owner
        lines.put("")

    @property
    def url(self):
        return f"http://127.0.0.1:{self.port}"

    def header_file(self):
        """A file with the token as a header, for curl: so the token is on no command line."""
        path = self.token_file + ".header"
        with os.fdopen(os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600), "w") as header:
            header.write(f"x-varkel-token: {self._token}\n")
        return path

    def request(self, method, path, body=None, timeout=30.0, token=True, headers=()):
        """Sends one request on a connection of its own. `body`: bytes, or a value that is sent as JSON; `headers`:
        further ones, a dictionary."""
        headers = {**({"x-varkel-token": self._token} if token else {}), **dict(headers)}
        if body is not None and not isinstance(body, bytes):
            body = json.dumps(body).encode()
            headers["Content-Type"] = "application/json"
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=timeout)
        began = time.monotonic()
        try:
            connection.request(method, path, body, headers)
            response = connection.getresponse()
            content = response.read()
            return Answer(response.status, response.headers, content, time.monotonic() - began)
        except (OSError, http.client.HTTPException) as error:
            raise AgentError(f"{method} {path}: {error!r}") from error
        finally:
            connection.close()

    def tree(self, pid=None, timeout=30.0):
        """The answer to a tree request, of a process or of the frontmost application."""
        return self.request("POST", "/ax/tree", {} if pid is None else {"root_pid": pid}, timeout)


def walk(element):
    """Every element of a tree, parents first, without recursion: trees may be deep."""
    waiting = [element]
    while waiting:
        element = waiting.pop()
        yield element
        waiting.extend(reversed(element.get("children", [])))


def size_and_depth(tree):
    """How many elements a tree has, and how many levels."""
    count = depth = 0
    level = [tree]
    while level:
        count, depth = count + len(level), depth + 1
        level = [child for element in level for child in element.get("children", [])]
    return count, depth
