"""What varkel-mcp adds to the agent's own time, what it takes to start, and its memory.

A call over the pipes and the agent's own request, which the bridge makes for it, are asked in turn; both are measured
from the first byte that goes out to the last that comes back, without any work of Python's in between. The page has
6,340 elements in Chromium. A click is one that does not look at what changed (timeoutMs 0), since that look waits for
the application. A snapshot is compared with a tree that the agent answers from its cache. The start is compared with
that of /bin/true.
"""

import argparse
import json
import os
import socket
import statistics
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools/lib"))
sys.path.append(str(ROOT / "bench"))
from agent import Agent  # noqa: E402
from click import Page  # noqa: E402
from private_desktop import PrivateDesktop, exit_on_signals  # noqa: E402
from tree import PythonWalk, wait_until_settled  # noqa: E402

BINARY = os.environ.get("VARKEL_MCP") or str(ROOT / "build/release/VarkelAgent/varkel-mcp")
META = {"io.modelcontextprotocol/protocolVersion": "2026-07-28", "io.modelcontextprotocol/clientCapabilities": {}}


def request_line(method, **params):
    return json.dumps({"jsonrpc": "2.0", "id": 1, "method": method, "params": {"_meta": META, **params}}).encode() + b"\n"


class Bridge:
    def __init__(self, agent):
        self.process = subprocess.Popen([BINARY, "--port", str(agent.port), "--token-file", agent.token_file],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def exchange(self, line):
        """The answer as bytes, and the seconds that it took."""
        began = time.perf_counter()
        self.process.stdin.write(line)
        self.process.stdin.flush()
        answer = self.process.stdout.readline()
        return answer, time.perf_counter() - began

    def call(self, tool, **arguments):
        answer, seconds = self.exchange(request_line("tools/call", name=tool, arguments=arguments))
        result = json.loads(answer)["result"]
        if result.get("isError"):
            raise SystemExit(f"{tool}: {result['content'][0]['text']}")
        return result, seconds

    def resident_kib(self, field="VmRSS"):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return next(int(line.split()[1]) for line in file if line.startswith(field))

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


class Direct:
    """The agent's own routes, over a socket for each request as the bridge asks them."""

    def __init__(self, agent):
        with open(agent.token_file, encoding="ascii") as file:
            self._head = f"x-varkel-token: {file.read().strip()}\r\nHost: 127.0.0.1\r\nConnection: close\r\n"
        self._address = ("127.0.0.1", agent.port)

    def seconds(self, path, **body):
        content = json.dumps(body)
        message = f"POST {path} HTTP/1.1\r\n{self._head}Content-Length: {len(content)}\r\n\r\n{content}".encode()
        began = time.perf_counter()
        with socket.create_connection(self._address) as connection:
            connection.sendall(message)
            first = connection.recv(1 << 20)
            while connection.recv(1 << 20):
                pass
        took = time.perf_counter() - began
        if not first.startswith(b"HTTP/1.1 200"):
            raise SystemExit(f"{path}: {first[:200]!r}")
        return took


def start_seconds(agent):
    """From the start of the process to its first answer."""
    began = time.perf_counter()
    bridge = Bridge(agent)
    bridge.exchange(request_line("server/discover"))
    took = time.perf_counter() - began
    bridge.close()
    return took


def true_seconds():
    began = time.perf_counter()
    subprocess.run(["/bin/true"], check=True)
    return time.perf_counter() - began


def report(name, bridge, peer, peer_name):
    ours, theirs = statistics.median(bridge), statistics.median(peer)
    extra = statistics.median(a - b for a, b in zip(bridge, peer, strict=True))
    print(f"{name:<9} {ours * 1000:8.2f} ms  {peer_name} {theirs * 1000:8.2f} ms  beyond it {extra * 1000:7.2f} ms  "
          f"ratio {ours / theirs:.2f}")


def measure(page, agent, rounds):
    bridge, direct = Bridge(agent), Direct(agent)
    idle = bridge.exchange(request_line("tools/list")) and bridge.resident_kib()
    button = page.button_id(agent)
    pairs = {"find": [], "click": [], "snapshot": []}
    size = 0
    for turn in range(rounds + 1):
        find = {"role": "AXButton", "label": "Button 2999", "maxResults": 1}
        direct.seconds("/ax/tree")  # fills the cache
        took = {"find": (bridge.call("find", **find)[1], direct.seconds("/ax/find", **find))}
        direct.seconds("/ax/tree")
        result, seconds = bridge.call("snapshot")
        took["snapshot"] = (seconds, direct.seconds("/ax/tree"))
        size = len(result["content"][0]["text"])
        elements = result["structuredContent"]["elements"]
        clicks = {"bridge": lambda: bridge.call("click", elementId=button, timeoutMs=0)[1],
                  "agent": lambda: direct.seconds("/ax/click", elementId=button)}
        # The second click finds the page still busy with the first.
        order = ["bridge", "agent"] if turn % 2 else ["agent", "bridge"]
        click = {name: clicks[name]() for name in order}
        took["click"] = (click["bridge"], click["agent"])
        if turn > 0:
            for name, pair in took.items():
                pairs[name].append(pair)
    for name, values in pairs.items():
        report(name, [each[0] for each in values], [each[1] for each in values], "the agent")
    print(f"snapshot of {elements} elements: {size} characters")
    busy = bridge.resident_kib()
    time.sleep(1)  # what is free goes back soon after the last answer
    print(f"memory: {idle / 1024:.1f} MiB after the first answer, {busy / 1024:.1f} MiB right after all of this, "
          f"{bridge.resident_kib() / 1024:.1f} MiB a second later, {bridge.resident_kib('VmHWM') / 1024:.1f} MiB at the most")
    bridge.close()


def main():
    parser = argparse.ArgumentParser(prog="tools/bench mcp", description=__doc__)
    parser.add_argument("--rounds", type=int, default=15)
    options = parser.parse_args()
    exit_on_signals()
    with PrivateDesktop() as desktop:
        os.environ.update(desktop.environment)  # for the bindings, which run in this process
        agent = Agent(desktop.start, desktop.directory)
        starts = [(start_seconds(agent), true_seconds()) for _ in range(options.rounds + 1)][1:]
        report("start", [each[0] for each in starts], [each[1] for each in starts], "/bin/true")
        page = Page(desktop)
        wait_until_settled(PythonWalk(), page.pid, 3000)
        measure(page, agent, options.rounds)
        print("load while measuring: " + " ".join(f"{value:.1f}" for value in os.getloadavg())
              + f" on {os.cpu_count()} processors")


if __name__ == "__main__":
    main()
