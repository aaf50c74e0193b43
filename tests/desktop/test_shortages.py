"""Child tools that misbehave, descriptors and disks that are used up, and a clock that somebody sets."""

import http.client
import json
import os
import resource
import shutil
import signal
import socket
import struct
import subprocess
import threading
import time

import support
from agent import AgentError, binary_path
from breakdown import Breakdown
from overlay import DISCOVERY
from support import find, wait_for

CLOCK_SHIM = os.environ.get("VARKEL_CLOCK_SHIM") or os.path.join(
    support.ROOT, "build/release/tests/desktop/libclock_shim.so")


class Tools(Breakdown):
    """Tools next to the agent that do what the request says, as a shell: the name of a Shortcut is a command, and so
    is a script."""

    def setUp(self):
        super().setUp()
        folder = os.path.join(self.desktop.directory, "tools")
        os.mkdir(folder)
        self.pids = os.path.join(folder, "pids")
        binary = shutil.copy(binary_path(), folder)
        for name, command in (("shortcuts", 'exec /bin/sh -c "$2"'), ("osascript", "exec /bin/sh -s")):
            path = os.path.join(folder, name)
            with open(path, "w", encoding="ascii") as file:
                file.write(f"#!/bin/sh\n{command}\n")
            os.chmod(path, 0o700)
        self.restart_agent(binary=binary)
        self.addCleanup(self.kill_noted)

    def noted(self):
        """The processes that a tool has noted."""
        try:
            with open(self.pids, encoding="ascii") as file:
                return [int(line) for line in file]
        except FileNotFoundError:
            return []

    def kill_noted(self):
        for pid in self.noted():
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        if self.noted():
            os.remove(self.pids)

    def shortcut(self, command, limit=1000, **fields):
        return self.post("/shortcut", name=command, timeoutMs=limit, **fields)

    @staticmethod
    def has_ended(pid):
        try:
            with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as file:
                return ") Z " in file.read()
        except (FileNotFoundError, ProcessLookupError):
            return True

    def assert_gone(self):
        def gone():
            return all(self.has_ended(pid) for pid in self.noted())
        wait_for(gone, 10, "all that the tool had started to end")

    def test_a_tool_that_writes_without_end_is_stopped(self):
        def fault():
            for answer, error in ((self.shortcut("exec yes", 60_000), "shortcut_failed"),
                                  (self.shortcut("exec yes >&2", 60_000), "shortcut_failed"),
                                  (self.post("/applescript/run", script="exec yes"), "applescript_failed")):
                self.assert_within(20, answer, 500)
                self.assertEqual(answer.json()["error"], error)
                self.assertIn("larger than", answer.json()["message"])
            self.assert_healthy()
        self.repeat(fault, 3, warm_up=1)

    def test_a_tool_that_ignores_signals_ends_at_its_limit_with_all_of_its_group(self):
        note = f"echo $$ >> {self.pids}"
        deaf = f"trap '' TERM INT HUP; {note}; while :; do sleep 1; done"
        commands = (deaf, f'sh -c "{deaf.replace("$$", chr(92) + "$$")}" & {note}; wait', f"{note}; kill -STOP $$",
                    f"{note}; exec 0<&- 1>&- 2>&-; sleep 1000")

        def fault():
            answers = [self.requests.submit(self.shortcut, command, input="x" * 1_000_000) for command in commands]
            for each in answers:
                answer = self.assert_within(10, each, 504)
                self.assertGreater(answer.seconds, 1)
            self.assertGreaterEqual(len(self.noted()), len(commands))
            self.assert_gone()
            self.assert_healthy()
        self.repeat(fault, 3, warm_up=1)

    def test_input_that_nobody_reads_and_grandchildren_that_stay_hold_nothing_up(self):
        leave = f"(setsid sleep 1000 & echo $! >> {self.pids}); sleep 1000 & echo $! >> {self.pids}; echo left"

        def fault():
            for command, output in (("exec 0<&-; echo closed", "closed\n"), ("echo unread", "unread\n"),
                                    (leave, "left\n")):
                answer = self.assert_within(10, self.shortcut(command, 15_000, input="x" * 1_000_000), 200)
                self.assertEqual(answer.json()["output"], output)
            answer = self.assert_within(10, self.post("/applescript/run", script=leave), 200)
            self.assertEqual(answer.json()["output"], "left")
            self.assertEqual(len(self.noted()), 4)
            self.kill_noted()
        self.repeat(fault, 5)

    def test_scripts_without_end_keep_nobody_waiting(self):
        note = f"echo $$ >> {self.pids}; exec sleep 1000"

        def fault():
            asked = [self.send("/applescript/run", script=note) for _ in range(40)]
            wait_for(lambda: len(self.noted()) == len(asked), 20, "all scripts to run")
            self.assertIsNotNone(self.known_tree(app))
            self.assert_within(10, self.shortcut("echo other"), 200)
            self.kill_noted()
            for each in asked:
                self.assert_within(60, each, 500)
        app = self.start_known_widgets()
        self.repeat(fault, 3)


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
    def test_a_disk_without_room_leaves_the_old_file_and_says_so(self):
        def install(*room):
            """Installs with at most this many bytes a file; the end of a disk is an error of the write as well."""
            limit = (lambda: resource.setrlimit(resource.RLIMIT_FSIZE, room + room)) if room else None
            # Without restoring the signals' defaults, the one that a limited write raises stays ignored.
            return subprocess.run([binary_path(), "install", "--token", "secret", "--port", str(self.agent.port)],
                                  env=self.desktop.environment, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                  timeout=60, check=False, preexec_fn=limit, restore_signals=False)

        folder = os.path.join(self.desktop.environment["HOME"], "Library/LaunchAgents")
        install()
        before = {name: os.stat(os.path.join(folder, name)).st_ino for name in os.listdir(folder)}
        self.assertEqual(len(before), 1)
        done = install(16)
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("cannot write", done.stdout + done.stderr)
        self.assertEqual({name: os.stat(os.path.join(folder, name)).st_ino for name in os.listdir(folder)}, before)

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
        self.polls = 0
        self.start_undecided_overlay()

        def start(command, **options):
            options["env"] = {**options.get("env", {}), "LD_PRELOAD": CLOCK_SHIM, "VARKEL_CLOCK_FILE": self.clock,
                              "ASAN_OPTIONS": "verify_asan_link_order=0"}
            return self.desktop.start(command, **options)
        self.restart_agent(start=start)

    def set_clock(self, offset):
        with open(self.clock, "r+b" if os.path.exists(self.clock) else "wb") as file:
            file.write(struct.pack("=q", offset))

    def start_undecided_overlay(self):
        """A service whose person never decides."""
        service = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(service.close)
        path = os.path.join(self.desktop.environment["HOME"], DISCOVERY)
        os.makedirs(os.path.dirname(path))
        with open(path, "w", encoding="utf-8") as file:
            json.dump({"port": service.getsockname()[1], "token": "secret"}, file)

        def serve():
            while True:
                try:
                    peer, _ = service.accept()
                except OSError:
                    return
                with peer:
                    self.polls += peer.recv(65536).startswith(b"GET ")
                    peer.sendall(b"HTTP/1.1 202 Accepted\r\nContent-Length: 0\r\n\r\n")
        threading.Thread(target=serve, daemon=True).start()

    def granted(self, path, **body):
        """A request whose caller has asked the person itself."""
        connection = http.client.HTTPConnection("127.0.0.1", self.agent.port, timeout=30)
        with open(self.agent.token_file, encoding="ascii") as file:
            token = file.read().strip()
        began = time.monotonic()
        connection.request("POST", path, json.dumps(body), {
            "x-varkel-token": token, "x-varkel-mcp-consent": "granted", "x-overlay-token": "secret"})
        answer = connection.getresponse()
        content = answer.read()
        connection.close()
        return answer.status, content, time.monotonic() - began

    def test_a_clock_set_back_and_forth_shortens_and_lengthens_no_time_limit(self):
        folder = os.path.join(self.desktop.environment["XDG_CONFIG_HOME"], "varkel/shortcuts")
        os.makedirs(folder)
        path, note = os.path.join(folder, "Sleep"), os.path.join(folder, "runs")
        with open(path, "w", encoding="ascii") as file:
            file.write(f"#!/bin/sh\necho >> '{note}'\nexec sleep 100\n")
        os.chmod(path, 0o700)
        app = self.start_known_widgets()
        self.known_tree(app)

        for first, then in ((0, 24 * self.HOUR), (24 * self.HOUR, -24 * self.HOUR), (-24 * self.HOUR, 0)):
            self.set_clock(first)
            self.polls = 0
            shortcut = self.requests.submit(self.granted, "/shortcut", name="Sleep", timeoutMs=1000)
            prompt = self.send("/shortcut", name="Sleep", timeoutMs=1000)
            wait_for(lambda: self.polls and os.path.exists(note), 20, "both to be waited for")
            os.remove(note)
            self.set_clock(then)
            status, body, seconds = shortcut.result()
            self.assertEqual(status, 504, body)
            self.assertTrue(1 <= seconds < 6, seconds)
            answer = self.assert_within(8, prompt, 403)
            self.assertGreater(answer.seconds, 1.5)
            self.assert_healthy()
            self.assertEqual(self.granted("/keystrokes", keys=["esc"])[0], 200)

    def test_a_tree_from_before_the_clock_was_set_is_not_answered_after_an_action(self):
        app = self.start_acts()
        self.desktop.activate(app.window)
        check = self.find_one(identifier="check")
        for offset in (self.HOUR, -self.HOUR, 0):
            self.agent.tree()
            self.set_clock(offset)
            app.do("rename")
            self.assertEqual(self.granted("/ax/click", elementId=check["id"])[0], 200)
            answer = self.agent.tree()
            self.assertEqual(answer.headers["X-Varkel-Cache"], "MISS")
            self.assertIsNotNone(find(answer.json()["tree"], label="Count me no more"))


if __name__ == "__main__":
    support.main()
