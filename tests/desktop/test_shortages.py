"""Descriptors and disks that are used up, and a clock that is set."""

import http.client
import json
import os
import resource
import socket
import struct
import sys
import time

import support
from agent import AgentError
from breakdown import Breakdown
from support import announce_overlay, wait_for

sys.path.insert(0, str(support.ROOT / "tests/mcp"))
from pipes import ScriptedAgent  # noqa: E402

CLOCK_SHIM = os.environ.get("VARKEL_CLOCK_SHIM") or os.path.join(
    support.ROOT, "build/release/tests/desktop/libclock_shim.so")


class Descriptors(Breakdown):
    LIMIT = 1024

    def ask(self, connection, method, path, body=None):
        """A request on a connection that is open already."""
        with open(self.agent.token_file, encoding="ascii") as file:
            token = file.read().strip()
        connection.request(method, path, body and json.dumps(body), {"x-varkel-token": token})
        answer = connection.getresponse()
        return answer.status, answer.read()

    def test_1024_of_them_used_up(self):
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (min(hard, 4 * self.LIMIT), hard))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, (soft, hard))
        pid = self.agent.process.pid
        resource.prlimit(pid, resource.RLIMIT_NOFILE, (self.LIMIT, self.LIMIT))
        app = self.start_known_widgets()
        self.known_tree(app)

        def fault():
            connection = http.client.HTTPConnection("127.0.0.1", self.agent.port, timeout=30)
            self.addCleanup(connection.close)
            self.assertEqual(self.ask(connection, "GET", "/health")[0], 200)
            crowd = []
            try:
                for _ in range(self.LIMIT + 20):
                    crowd.append(socket.create_connection(("127.0.0.1", self.agent.port), 10))
                wait_for(lambda: len(os.listdir(f"/proc/{pid}/fd")) == self.LIMIT, 20, "all descriptors to be in use")
                self.assertEqual(self.ask(connection, "GET", "/health")[0], 200)
                for path, body, statuses in (("/ax/tree", {"root_pid": app.pid}, (200, 403)),
                                             ("/ax/find", {"label": "Save"}, (200, 403, 500)),
                                             ("/keystrokes", {"keys": ["esc"]}, (200,)),
                                             ("/shortcut", {"name": "any"}, (500,)),
                                             ("/applescript/run", {"script": "1"}, (500,))):
                    began = time.monotonic()
                    status, content = self.ask(connection, "POST", path, body)
                    self.assertIn(status, statuses, (path, content[:200]))
                    self.assertLess(time.monotonic() - began, 15)
                waiting = self.requests.submit(self.agent.request, "GET", "/health")
            finally:
                for each in crowd:
                    each.close()
            # Who had to stand in line is served, and then everybody is.
            self.assert_within(20, waiting, 200)
            connection.close()
            self.assert_serves()
        self.repeat(fault, 3)


class Disk(Breakdown):
    def test_an_agent_whose_output_and_folders_take_nothing_serves(self):
        nowhere = {name: os.path.join(self.desktop.directory, "gone")
                   for name in ("HOME", "TMPDIR", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_CACHE_HOME")}
        # The shell says in the agent's place that it listens: what that says itself is lost.
        full = 'ulimit -f 0; echo "Server listening on $3"; exec "$@" > /dev/full'

        def start(command, **options):
            options["env"] = {**options.get("env", {}), **nowhere}
            return self.desktop.start(["/bin/sh", "-c", full, "sh", *command], **options)

        def listens():
            try:
                return self.agent.request("GET", "/health", timeout=5).status == 200
            except AgentError:
                return False
        self.restart_agent(start=start)
        wait_for(listens, 20, "the agent to listen")
        self.assert_serves()


class Clock(Breakdown):
    HOUR = 3600

    def setUp(self):
        super().setUp()
        self.clock = os.path.join(self.desktop.directory, "clock")
        self.set_clock(0)
        # A service whose person never decides.
        self.overlay = self.enterContext(ScriptedAgent())
        announce_overlay(self.desktop, self.overlay.port)

        def start(command, **options):
            options["env"] = {**options.get("env", {}), "LD_PRELOAD": CLOCK_SHIM, "VARKEL_CLOCK_FILE": self.clock,
                              "ASAN_OPTIONS": "verify_asan_link_order=0"}
            return self.desktop.start(command, **options)
        self.restart_agent(start=start)

    def set_clock(self, offset):
        with open(self.clock, "r+b" if os.path.exists(self.clock) else "wb") as file:
            file.write(struct.pack("=q", offset))

    def granted(self, path, **body):
        """A request whose caller has asked the person itself."""
        consent = {"x-varkel-mcp-consent": "granted", "x-overlay-token": "secret"}
        return self.agent.request("POST", path, body, headers=consent)

    def test_a_clock_set_back_and_forth_shortens_and_lengthens_no_time_limit(self):
        note = os.path.join(self.desktop.directory, "runs")
        self.desktop.add_shortcut("Sleep", f"echo >> '{note}'; exec sleep 100")
        app = self.start_known_widgets()
        self.known_tree(app)

        for first, then in ((0, 24 * self.HOUR), (24 * self.HOUR, -24 * self.HOUR), (-24 * self.HOUR, 0)):
            self.set_clock(first)
            self.overlay.requests.clear()
            shortcut = self.requests.submit(self.granted, "/shortcut", name="Sleep", timeoutMs=1000)
            prompt = self.send("/shortcut", name="Sleep", timeoutMs=1000)
            wait_for(lambda: len(self.overlay.requests) > 1 and os.path.exists(note), 20, "both to be waited for")
            os.remove(note)
            self.set_clock(then)
            self.assertGreaterEqual(self.assert_within(6, shortcut, 504).seconds, 1)
            self.assertGreater(self.assert_within(8, prompt, 403).seconds, 1.5)
            self.assert_healthy()
            self.assertEqual(self.granted("/keystrokes", keys=["esc"]).status, 200)


if __name__ == "__main__":
    support.main()
