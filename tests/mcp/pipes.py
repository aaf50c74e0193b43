"""A varkel-mcp at the other end of two pipes, and an agent of which the test says what it answers."""

import json
import os
import queue
import subprocess
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BINARY = os.environ.get("VARKEL_MCP") or str(ROOT / "build/release/VarkelAgent/varkel-mcp")
MODERN = "2026-07-28"
META = {"io.modelcontextprotocol/protocolVersion": MODERN, "io.modelcontextprotocol/clientCapabilities": {}}


class Bridge:
    """A context manager. `seconds`: how long an expected message may take."""

    def __init__(self, port=1, token="secret", seconds=20, env=None, arguments=None):
        given = ["--port", str(port), "--token", token] if arguments is None else arguments
        self.process = subprocess.Popen([BINARY, *given], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, env=dict(os.environ, **env) if env else None)
        self._seconds, self._next = seconds, 0
        self._lines = queue.Queue()
        threading.Thread(target=self._drain, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()

    def _drain(self):
        with self.process.stdout as stream:
            for line in iter(stream.readline, b""):
                self._lines.put(line)
        self._lines.put(None)

    def write(self, data):
        self.process.stdin.write(data)
        self.process.stdin.flush()

    def send(self, **message):
        self.write(json.dumps({"jsonrpc": "2.0", **message}).encode() + b"\n")

    def read(self, seconds=None):
        """The next message, or None at the end of the output."""
        line = self._lines.get(timeout=seconds or self._seconds)
        return None if line is None else json.loads(line)

    def ask(self, method, meta=META, **params):
        """Sends a request and gives what comes next."""
        self._next += 1
        self.send(id=self._next, method=method, params={**params, **({"_meta": meta} if meta else {})})
        answer = self.read()
        assert answer["id"] == self._next, answer
        return answer

    def call(self, tool, **arguments):
        """The result of a tool call."""
        return self.ask("tools/call", name=tool, arguments=arguments)["result"]

    def finish(self):
        """Ends the input; gives the messages that still came and the exit status."""
        self.process.stdin.close()
        messages = list(iter(self.read, None))
        return messages, self.process.wait(self._seconds)


def text_of(result):
    return next(each["text"] for each in result["content"] if each["type"] == "text")


class ScriptedAgent:
    """Answers each path with what `answers` has for it: (status, body), a function from the body to that, or
    bytes that are sent as they are. A context manager."""

    def __init__(self, **answers):
        self.answers = answers
        self.requests = []
        agent = self

        class Handler(BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_POST(self):
                length = int(self.headers.get("Content-Length", 0))
                body = json.loads(self.rfile.read(length)) if length else None
                agent.requests.append((self.path, body, dict(self.headers)))
                answer = agent.answers.get(self.path, (404, {"error": "not_found"}))
                answer = answer(body) if callable(answer) else answer
                if isinstance(answer, bytes):
                    self.wfile.write(answer)
                    self.close_connection = True
                    return
                content = answer[1] if isinstance(answer[1], bytes) else json.dumps(answer[1]).encode()
                self.send_response(answer[0])
                self.send_header("Content-Length", str(len(content)))
                self.end_headers()
                self.wfile.write(content)

            do_GET = do_POST

            def log_message(self, *_):
                pass

        class Server(ThreadingHTTPServer):
            daemon_threads = True
            request_queue_size = 128

        self._server = Server(("127.0.0.1", 0), Handler)
        self._server.handle_error = lambda *_: None  # a bridge that hangs up in the middle
        self.port = self._server.server_address[1]
        self._thread = threading.Thread(target=self._server.serve_forever, args=(0.02,), daemon=True)
        self._thread.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._server.shutdown()
        self._server.server_close()

    def asked(self, path):
        """The bodies of the requests to a path."""
        return [body for each, body, _ in self.requests if each == path]


def wait_for(condition, what, seconds=20):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"waited in vain for {what}")
        time.sleep(0.005)


def element(role, label=None, value=None, *children, **more):
    """An element as the agent describes it; its id tells its role and its label."""
    identifier = more.pop("id", None) or f"{abs(hash((role, label))) % 16**16:016x}"
    fields = {"id": identifier, "role": role, "label": label, "value": value, "children": list(children) or None}
    return {name: value for name, value in {**fields, **more}.items() if value is not None}
