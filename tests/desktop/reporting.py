"""Applications of this folder that write what happens to them, as one JSON object a line, and obey commands."""

import json
import queue
import subprocess
import threading
import time


class ReportingApp:
    """A running one, with a window, and what it has told so far."""

    def __init__(self, desktop, command, **options):
        self.process = desktop.start(["/usr/bin/python3", *command], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     text=True, **options)
        self.pid, self.events, self._lines = self.process.pid, [], queue.Queue()
        threading.Thread(target=self._read, args=(self.process.stdout,), daemon=True).start()
        self.wait_for("ready", 30)
        self.window = desktop.wait_for_window(self.process, 60)

    def _read(self, stream):
        try:
            for line in stream:
                self._lines.put(json.loads(line))
        except ValueError:
            pass  # closed by the process's owner

    def wait_for(self, event, seconds=10.0, **fields):
        """The next event of a kind with these fields; those before it are kept in `events`."""
        deadline = time.monotonic() + seconds
        while True:
            try:
                got = self._lines.get(timeout=max(0.0, deadline - time.monotonic()))
            except queue.Empty:
                raise AssertionError(f"no {event} {fields} in {seconds} s; so far: {self.events[-20:]}") from None
            self.events.append(got)
            if got["event"] == event and all(got.get(name) == value for name, value in fields.items()):
                return got

    def do(self, command):
        """Has it obey a command, after it has handled everything that had reached it; gives its answer."""
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        return self.wait_for("done", command=command)

    def all(self, event):
        """Every event of a kind until now."""
        self.do("look")
        return [each for each in self.events if each["event"] == event]
