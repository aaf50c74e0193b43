"""How long the inspector's page takes to show the tree of a page with 3,000 buttons, and how smoothly it scrolls.

A Chromium with that page is on one private desktop with the agent and the inspector; another one, driven by chromedriver,
shows the inspector's page without a window. Of each reading: what the agent takes alone for such a request, what the page's
request takes, and from its answer to the frame in which the rows stand. Then all is unfolded and scrolled through.
"""

import argparse
import http.client
import json
import os
import statistics
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools/lib"))
sys.path.append(str(ROOT / "bench"))
from agent import Agent, size_and_depth  # noqa: E402
from chromium import CHROMIUM  # noqa: E402
from inspector import start_inspector  # noqa: E402
from private_desktop import PrivateDesktop, exit_on_signals, wait_for  # noqa: E402
from tree import CACHE_SECONDS, many_buttons_page  # noqa: E402

ELEMENTS = 6000
HALF_A_SECOND = 500

# Presses Refresh and tells when the answer was there and when the frame with the rows was done, in milliseconds.
READ = """
const done = arguments[0];
performance.clearResourceTimings();
const status = document.getElementById("status");
const began = performance.now();
new MutationObserver((changes, observer) => {
  if (!status.textContent.includes("elements, read in")) return;
  observer.disconnect();
  requestAnimationFrame(() => setTimeout(() => {
    const drawn = performance.now();
    const [tree] = performance.getEntriesByType("resource").filter((each) => each.name.endsWith("/ax/tree"));
    done({request: tree.responseEnd - began, shown: drawn - tree.responseEnd, status: status.textContent,
      rows: document.querySelectorAll(".row").length});
  }));
}).observe(status, {childList: true});
document.getElementById("refresh").click();
"""

# Unfolds everything, then scrolls through it by 15 rows a frame and tells how long the frames took.
SCROLL = """
const done = arguments[0];
const tree = document.getElementById("tree");
const began = performance.now();
for (let folded; (folded = [...document.querySelectorAll(".row[aria-expanded=false] .fold")]).length > 0 ||
    tree.scrollTop + tree.clientHeight < tree.scrollHeight - 1;) {
  for (const fold of folded) fold.click();
  if (folded.length === 0) tree.scrollTop += tree.clientHeight;
  tree.dispatchEvent(new Event("scroll"));
  await new Promise(requestAnimationFrame);
}
const unfolded = performance.now() - began;
tree.scrollTop = 0;
await new Promise(requestAnimationFrame);
const frames = [];
let rows = 0;
for (let last = performance.now(); tree.scrollTop + tree.clientHeight < tree.scrollHeight - 1;) {
  tree.scrollTop += 330;
  const now = await new Promise(requestAnimationFrame);
  frames.push(now - last);
  last = now;
  rows = Math.max(rows, document.querySelectorAll(".row").length);
}
done({frames: frames.slice(1), rows, height: tree.scrollHeight / 22, unfolded});
"""


class Driver:
    """A browser without a window, by the WebDriver protocol."""

    def __init__(self, port):
        self.port = port
        options = {"args": ["--headless=new", *CHROMIUM[1:], "--window-size=1280,900"]}
        answer = self._send("POST", "/session", {"capabilities": {"alwaysMatch": {"goog:chromeOptions": options}}})
        self.session = "/session/" + answer["sessionId"]
        self._send("POST", self.session + "/timeouts", {"script": 120_000})

    def _send(self, method, path, body=None):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=180)
        connection.request(method, path, json.dumps(body or {}) if method == "POST" else None)
        value = json.loads(connection.getresponse().read())["value"]
        connection.close()
        if isinstance(value, dict) and "error" in value:
            raise SystemExit(f"chromedriver: {value['message']}")
        return value

    def open(self, address):
        self._send("POST", self.session + "/url", {"url": address})

    def run(self, script):
        """What a script gives to its last argument."""
        wrapped = f"const given = arguments; (async function () {{ {script} }})(...given);"
        return self._send("POST", self.session + "/execute/async", {"script": wrapped, "args": []})

    def close(self):
        self._send("DELETE", self.session)


def rounded(values):
    return f"median {statistics.median(values):.0f} ms, most {max(values):.0f} ms"


def measure(agent, driver, rounds):
    alone, requests, shown = [], [], []
    for _ in range(rounds):
        time.sleep(CACHE_SECONDS + 0.1)
        alone.append(agent.tree(timeout=60).seconds * 1000)
        time.sleep(CACHE_SECONDS + 0.1)
        reading = driver.run(READ)
        requests.append(reading["request"])
        shown.append(reading["shown"])
    print(f"{reading['status'].split()[0]} elements, {reading['rows']} rows drawn")
    print(f"  the agent alone            {rounded(alone)}")
    print(f"  the page's request         {rounded(requests)}")
    print(f"  from its answer to a frame {rounded(shown)}")
    scrolled = driver.run(SCROLL)
    print(f"  scrolled through {scrolled['height']:.0f} rows, at the most {scrolled['rows']} drawn: a frame takes "
          f"{rounded(scrolled['frames'])}, of {len(scrolled['frames'])}")
    return statistics.median(shown)


def main():
    parser = argparse.ArgumentParser(prog="tools/bench inspector", description=__doc__)
    parser.add_argument("--rounds", type=int, default=7)
    options = parser.parse_args()
    exit_on_signals()
    with PrivateDesktop() as desktop:
        agent = Agent(desktop.start, desktop.directory)
        page = many_buttons_page(desktop.directory)
        browser = desktop.start([*CHROMIUM, f"--user-data-dir={desktop.directory}/shown", f"file://{page}"])
        desktop.activate(desktop.wait_for_window(browser, 60))
        wait_for(lambda: size_and_depth(agent.tree(timeout=60).json()["tree"])[0] > ELEMENTS, 120, "the whole page")
        _, address = start_inspector(desktop.start, agent, "--no-browser")
        output = os.path.join(desktop.directory, "chromedriver")
        with open(output, "wb") as log:
            desktop.start(["chromedriver", "--port=0"], stdout=log)
        with open(output, encoding="utf-8") as lines:
            port = wait_for(lambda: next((line for line in lines if "successfully on port" in line), ""), 20, "chromedriver")
        driver = Driver(int(port.split()[-1].rstrip(".")))
        try:
            driver.open(address)
            wait_for(lambda: driver.run("arguments[0](document.getElementById('status') !== null)"), 20, "the page")
            return 0 if measure(agent, driver, options.rounds) < HALF_A_SECOND else 1
        finally:
            driver.close()


if __name__ == "__main__":
    sys.exit(main())
