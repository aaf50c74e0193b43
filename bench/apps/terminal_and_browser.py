"""Applications to type into besides the tests' own one: xterm, foot and a Chromium text area.

Each is a context manager made with a PrivateDesktop; `clear()` empties it, `text()` reads it."""

import http.server
import json
import os
import sys
import threading
import time

_RAW_READER = """
import os, sys, termios, tty
tty.setraw(0)
out = open(sys.argv[1], "ab", buffering=0)
while True:
    data = os.read(0, 65536)
    if not data:
        break
    out.write(data)
"""


class XTermTarget:
    name = "xterm"
    _COMMAND = ("xterm", "-u8", "-e")

    def __init__(self, desktop):
        self._desktop = desktop

    def __enter__(self):
        self._path = os.path.join(self._desktop.directory, f"{self.name}-{time.monotonic_ns()}")
        open(self._path, "wb").close()
        self._start = 0
        self.process = self._desktop.start([*self._COMMAND, sys.executable, "-c", _RAW_READER, self._path])
        self.window = self._desktop.wait_for_window(self.process, 60)
        self._desktop.activate(self.window)
        time.sleep(0.5)  # the reader has no way to tell that the terminal is in raw mode
        return self

    def __exit__(self, *_):
        self._desktop.stop(self.process)

    def text(self):
        with open(self._path, "rb") as file:
            file.seek(self._start)
            return file.read().decode("utf-8", "replace")

    def clear(self):
        self._start = os.path.getsize(self._path)


class FootTarget(XTermTarget):
    name = "foot"
    _COMMAND = ("foot",)


_PAGE = """<!doctype html><meta charset=utf-8><title>typing</title>
<textarea id=t rows=20 cols=80 autofocus spellcheck=false></textarea><script>
const t = document.getElementById("t");
let round = 0;
async function loop() {
  for (;;) {
    try {
      const answer = await (await fetch("/exchange", {method: "POST",
        body: JSON.stringify({round, text: t.value, focused: document.hasFocus()})})).json();
      if (answer.round !== round) { t.value = ""; round = answer.round; }
      t.focus();
    } catch (e) {}
    await new Promise(done => setTimeout(done, 40));
  }
}
loop();
</script>"""


class ChromiumTarget:
    name = "chromium"

    def __init__(self, desktop):
        self._desktop = desktop
        self._round = 0
        self._latest = None
        self._changed = threading.Condition()

    def __enter__(self):
        target = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def _answer(self, kind, body):
                self.send_response(200)
                self.send_header("Content-Type", kind)
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                self.wfile.write(body)

            def do_GET(self):
                self._answer("text/html; charset=utf-8", _PAGE.encode())

            def do_POST(self):
                body = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
                with target._changed:
                    target._latest = body
                    target._changed.notify_all()
                    answer = {"round": target._round}
                self._answer("application/json", json.dumps(answer).encode())

            def log_message(self, *_):
                pass

        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self._server.daemon_threads = True
        threading.Thread(target=self._server.serve_forever, daemon=True).start()
        url = f"http://127.0.0.1:{self._server.server_address[1]}/"
        profile = os.path.join(self._desktop.directory, f"chromium-{time.monotonic_ns()}")
        self.process = self._desktop.start(
            ["chromium", "--no-sandbox", "--no-first-run", "--disable-gpu", "--disable-dev-shm-usage",
             "--password-store=basic", "--ozone-platform-hint=auto", f"--user-data-dir={profile}", f"--app={url}"])
        self.window = self._desktop.wait_for_window(self.process, 60)
        self._desktop.activate(self.window)
        self._wait(lambda state: state and state["focused"], 60)
        return self

    def __exit__(self, *_):
        self._desktop.stop(self.process)
        self._server.shutdown()
        self._server.server_close()

    def _wait(self, condition, seconds=20):
        deadline = time.monotonic() + seconds
        with self._changed:
            while not condition(self._latest):
                if not self._changed.wait(max(0.0, deadline - time.monotonic())):
                    raise AssertionError(f"the page did not answer: {self._latest}")
            return self._latest

    def text(self):
        with self._changed:
            self._latest = None
        return self._wait(lambda state: state)["text"]

    def clear(self):
        self._round += 1
        self._wait(lambda state: state and state["round"] == self._round and state["text"] == "")
