"""What callers without the token can do to the agent, and what they learn.

Another program on the machine can reach the port. Each attack below is tried while an honest caller asks for the
health check and, with the token, begins and ends a batch; printed are the slowest health check and the agent's peak
memory. Then two wrong tokens, one with a right beginning and one without, are tried in turns, to see whether the time
of the answer tells them apart.
"""

import argparse
import contextlib
import http.client
import multiprocessing
import random
import re
import resource
import socket
import statistics
import sys
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools/lib"))
from agent import Agent  # noqa: E402
from private_desktop import PrivateDesktop, exit_on_signals  # noqa: E402

MIB = 1 << 20


def status_kib(agent, name):
    with open(f"/proc/{agent.process.pid}/status", encoding="ascii") as status:
        return int(re.search(name + r":\s+(\d+)", status.read())[1])


def connect(agent):
    return socket.create_connection(("127.0.0.1", agent.port), 30)


class Honest:
    """Asks for the health check over and over, and now and then works with the token. Keeps the times."""

    def __init__(self, agent):
        self.agent, self.health, self.faults = agent, [], []
        self._end = threading.Event()
        self._thread = threading.Thread(target=self._run)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._end.set()
        self._thread.join()

    def _run(self):
        turn = 0
        while not self._end.is_set():
            try:
                answer = self.agent.request("GET", "/health", token=False)
                self.health.append(answer.seconds)
                if answer.status != 200:
                    self.faults.append(answer.status)
                turn += 1
                if turn % 10 == 0:
                    answer = self.agent.request("POST", "/batch/end", {})
                    if answer.status != 200:
                        self.faults.append(answer.status)
            except Exception as error:  # noqa: BLE001 - whatever it is, it is what the attack did
                self.faults.append(repr(error))
            time.sleep(0.01)


def nothing(_agent, _stack, seconds):
    """No attack: what the others are compared with."""
    time.sleep(seconds)


def half_open(agent, stack, seconds):
    """10,000 requests that stop in the middle of the head."""
    for _ in range(10_000):
        client = stack.enter_context(connect(agent))
        with contextlib.suppress(OSError):  # it may have had to make room already
            client.sendall(b"POST /ax/tree HTTP/1.1\r\nx-varkel-tok")
    time.sleep(seconds)


def slow_heads(agent, stack, seconds):
    """1,000 heads that come a byte at a time and never end."""
    clients = [stack.enter_context(connect(agent)) for _ in range(1000)]
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        for client in clients:
            with contextlib.suppress(OSError):
                client.send(b"x")
        time.sleep(0.1)


def large_heads(agent, stack, seconds):
    """1,000 heads of nearly a mebibyte that do not end."""
    piece = (b"a:" + b"b" * 60 + b"\r\n") * 1023
    for _ in range(1000):
        client = stack.enter_context(connect(agent))
        client.settimeout(1)
        with contextlib.suppress(OSError):
            client.sendall(b"GET /x HTTP/1.1\r\n")
            for _ in range(15):
                client.sendall(piece)
    time.sleep(seconds)


def many_headers(agent, stack, seconds):
    """1,000 heads of 100,000 headers, each with a body that never comes."""
    head = b"POST /ocr HTTP/1.1\r\n" + b"".join(b"%x:\r\n" % i for i in range(100_000))
    head += b"Content-Length: 1000\r\n\r\n"
    for _ in range(1000):
        client = stack.enter_context(connect(agent))
        client.settimeout(1)
        with contextlib.suppress(OSError):
            client.sendall(head)
    time.sleep(seconds)


def huge_bodies(agent, stack, seconds):
    """1,000 bodies announced as 2^62 bytes."""
    for _ in range(1000):
        client = stack.enter_context(connect(agent))
        client.sendall(b"POST /ocr HTTP/1.1\r\nContent-Length: 4611686018427387904\r\n\r\n" + b"x" * 1000)
    time.sleep(seconds)


def floods(agent, stack, _seconds):
    """200 connections that each send 100 MB of body."""
    clients = [stack.enter_context(connect(agent)) for _ in range(200)]
    for client in clients:
        client.sendall(b"POST /ocr HTTP/1.1\r\nContent-Length: 100000000\r\n\r\n")
        client.setblocking(False)
    left = {client: 100_000_000 for client in clients}
    piece = b"x" * MIB
    while left:
        for client, missing in list(left.items()):
            with contextlib.suppress(BlockingIOError):
                left[client] -= client.send(piece[:missing])
            if left[client] == 0:
                del left[client]
        time.sleep(0.001)
    for client in clients:
        client.setblocking(True)
        answer = client.recv(1000)
        if not answer.startswith(b"HTTP/1.1 401 "):
            raise SystemExit(f"a flood was answered {answer!r}")


def unread_answers(agent, stack, seconds):
    """200 connections that ask for the health check without end and read no answer."""
    clients = [stack.enter_context(connect(agent)) for _ in range(200)]
    for client in clients:
        client.setblocking(False)
    end = time.monotonic() + seconds
    requests = b"GET /health HTTP/1.1\r\n\r\n" * 1000
    while time.monotonic() < end:
        for client in clients:
            with contextlib.suppress(OSError):
                client.send(requests)
        time.sleep(0.001)


def connecting(agent, _stack, seconds):
    """Connections that are opened and left at once, as fast as they can be."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        connect(agent).close()


ATTACKS = [nothing, half_open, slow_heads, large_heads, many_headers, huge_bodies, floods, unread_answers, connecting]


def carry_out(kind, agent, seconds):
    with contextlib.ExitStack() as stack:
        kind(agent, stack, seconds)


def attack(kind, desktop, seconds):
    agent = Agent(desktop.start, desktop.directory)
    began = time.monotonic()
    # In a process of its own: what is measured is not to wait for the attacker's interpreter.
    attacker = multiprocessing.get_context("fork").Process(target=carry_out, args=(kind, agent, seconds))
    attacker.start()
    with Honest(agent) as honest:
        attacker.join()
        took = time.monotonic() - began
        peak = status_kib(agent, "VmHWM") / 1024
    if attacker.exitcode != 0:
        raise SystemExit(f"{kind.__name__} failed")
    desktop.stop(agent.process)
    slowest = max(honest.health) * 1000
    p99 = statistics.quantiles(honest.health, n=100)[98] * 1000
    print(f"{kind.__name__:<15} {took:5.1f} s  health: {len(honest.health):5d} checks, p99 {p99:6.1f} ms, slowest "
          f"{slowest:6.1f} ms; peak memory {peak:6.1f} MiB; faults {honest.faults[:3]}", flush=True)


def ask(connection, token):
    began = time.perf_counter_ns()
    connection.request("POST", "/batch/end", b"{}", {"x-varkel-token": token})
    response = connection.getresponse()
    response.read()
    took = time.perf_counter_ns() - began
    if response.status != 401:
        raise SystemExit(f"a wrong token was answered {response.status}")
    return took


def time_tokens(desktop, tries):
    agent = Agent(desktop.start, desktop.directory)
    with open(agent.token_file, encoding="ascii") as file:
        token = file.read().strip()
    flip = {"near": token[:-1] + ("0" if token[-1] != "0" else "1"),
            "far": ("0" if token[0] != "0" else "1") + token[1:]}
    connection = http.client.HTTPConnection("127.0.0.1", agent.port)
    times = {name: [] for name in flip}
    for _ in range(tries // 2):
        for name in random.sample(list(flip), 2):
            times[name].append(ask(connection, flip[name]))
    connection.close()
    desktop.stop(agent.process)
    # The slow tail is the scheduler's; what is left is compared by its mean, with the error of the difference.
    kept = {name: sorted(values)[:len(values) * 9 // 10] for name, values in times.items()}
    difference = statistics.mean(kept["near"]) - statistics.mean(kept["far"])
    error = sum(statistics.variance(values) / len(values) for values in kept.values()) ** 0.5
    print(f"tokens          {tries} tries: right up to the last character {statistics.median(times['near']) / 1000:.2f} us, "
          f"wrong from the first {statistics.median(times['far']) / 1000:.2f} us (medians); difference of the means "
          f"{difference:+.0f} ns, its standard error {error:.0f} ns", flush=True)


def main():
    parser = argparse.ArgumentParser(prog="tools/bench unauthenticated", description=__doc__)
    parser.add_argument("--only", default="", help="one attack by its name, or tokens")
    parser.add_argument("--seconds", type=float, default=5, help="how long an attack is kept up")
    parser.add_argument("--tries", type=int, default=100_000)
    options = parser.parse_args()
    exit_on_signals()
    resource.setrlimit(resource.RLIMIT_NOFILE, (12_000, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))
    with PrivateDesktop() as desktop:
        for kind in ATTACKS:
            if not options.only or options.only == kind.__name__:
                attack(kind, desktop, options.seconds)
        if options.only in ("", "tokens"):
            time_tokens(desktop, options.tries)


if __name__ == "__main__":
    main()
