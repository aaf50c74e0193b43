#!/usr/bin/env python3
"""Measures the agent's HTTP service side by side with nginx, and what the agent costs when idle.

The agent and nginx (one worker, a static answer of the same size) serve in the same run; wrk asks each in turn,
so that a busy machine slows both. The tree is that of gtk3-widget-factory on a private desktop; of each second
that is measured, one request reads it anew and the others are answered from the cache.
"""
import argparse
import http.client
import os
import re
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools/lib"))
from private_desktop import PrivateDesktop, exit_on_signals, wait_for  # noqa: E402

TOKEN = "bench-token"
CONNECTIONS = 64


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class Agent:
    """The agent as a child process; ready once constructed. ready_ms: spawn to listening, spawn to answer."""

    def __init__(self, path):
        self.port = free_port()
        start = time.perf_counter()
        self.process = subprocess.Popen([path, "--token", TOKEN, "--port", str(self.port)],
                                        stdout=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        listening = time.perf_counter()
        if not line.startswith("Server listening"):
            raise RuntimeError("the agent does not listen: " + line)
        status, _ = request(self.port, "GET", "/health")
        if status != 200:
            raise RuntimeError("the health check answers %d" % status)
        self.ready_ms = ((listening - start) * 1000, (time.perf_counter() - start) * 1000)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def resident_kib(self):
        with open(f"/proc/{self.process.pid}/status") as status:
            return int(re.search(r"VmRSS:\s+(\d+)", status.read())[1])

    def switches(self):
        """Voluntary and involuntary context switches of all threads so far: every wake-up is one."""
        total = 0
        tasks = f"/proc/{self.process.pid}/task"
        for thread in os.listdir(tasks):
            with open(f"{tasks}/{thread}/status") as status:
                total += sum(int(n) for n in re.findall(r"ctxt_switches:\s+(\d+)", status.read()))
        return total


class Nginx:
    """nginx with one worker that answers `path` with `body`, for GET and POST."""

    def __init__(self, directory, path, body):
        self.port = free_port()
        # A file would be another way to serve; a short text in the configuration is the quicker one.
        static = os.path.join(directory, "body.json")
        with open(static, "wb") as f:
            f.write(body)
        answer = "return 200 '%s';" % body.decode() if len(body) < 1024 else (
            "root %s; error_page 405 =200 $uri; try_files /body.json =404;" % directory)
        temporary = "".join(f"{kind}_temp_path {directory}/{kind};" for kind in
                            ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        configuration = os.path.join(directory, "nginx.conf")
        with open(configuration, "w") as f:
            f.write(f"""worker_processes 1; daemon off; pid {directory}/pid; error_log {directory}/error.log;
                    events {{ worker_connections 4096; }}
                    http {{ access_log off; keepalive_requests 1000000000; keepalive_timeout 600s; {temporary}
                        sendfile on; tcp_nopush on; open_file_cache max=10;
                        server {{ listen 127.0.0.1:{self.port};
                            location = {path} {{ default_type application/json; {answer} }} }} }}""")
        os.chmod(directory, 0o755)
        self.process = subprocess.Popen(["nginx", "-c", configuration], stderr=subprocess.DEVNULL)
        deadline = time.monotonic() + 10
        while True:
            try:
                status, got = request(self.port, "GET", path)
                break
            except OSError:
                if time.monotonic() > deadline:
                    raise RuntimeError("nginx does not answer")
                time.sleep(0.02)
        if status != 200 or got != body:
            raise RuntimeError("nginx does not answer what it should (%d, %d bytes)" % (status, len(got)))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()


def request(port, method, path, body=None, headers=None):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=30)
    try:
        connection.request(method, path, body, headers or {})
        response = connection.getresponse()
        return response.status, response.read()
    finally:
        connection.close()


def wrk(port, path, seconds, script=None):
    """Requests per second; any answer other than 2xx, or a socket error, is a failure."""
    command = ["wrk", "-t1", f"-c{CONNECTIONS}", f"-d{seconds}"]
    if script:
        command += ["-s", script]
    output = subprocess.run(command + [f"http://127.0.0.1:{port}{path}"], check=True, capture_output=True,
                            text=True).stdout
    if "Non-2xx" in output or "Socket errors" in output:
        raise RuntimeError(output)
    return float(re.search(r"Requests/sec:\s+([\d.]+)", output)[1])


def compare(name, agent, nginx, path, arguments, agent_script=None):
    ours, theirs = [], []
    for turn in range(arguments.rounds + 1):
        pair = (wrk(agent.port, path, arguments.seconds, agent_script),
                wrk(nginx.port, path, arguments.seconds))
        # The first round warms both up.
        if turn > 0:
            ours.append(pair[0])
            theirs.append(pair[1])
    ratio = statistics.median(a / b for a, b in zip(ours, theirs))
    print(f"{name}: agent {statistics.median(ours):,.0f}/s, nginx {statistics.median(theirs):,.0f}/s, "
          f"ratio {ratio:.2f} (of each round: {', '.join(f'{a / b:.2f}' for a, b in zip(ours, theirs))})",
          flush=True)


def bench_health(arguments):
    with Agent(arguments.agent) as agent, tempfile.TemporaryDirectory(prefix="varkel-bench-") as directory:
        _, body = request(agent.port, "GET", "/health")
        with Nginx(directory, "/health", body) as nginx:
            compare("GET /health", agent, nginx, "/health", arguments)


def bench_tree(arguments, pid):
    headers = {"X-Varkel-Token": TOKEN}
    asked = '{"root_pid":%d}' % pid
    with Agent(arguments.agent) as agent, tempfile.TemporaryDirectory(prefix="varkel-bench-") as directory:
        def whole_tree():
            status, body = request(agent.port, "POST", "/ax/tree", asked, headers)
            return body if status == 200 and body.count(b'"role"') > 200 else None
        body = wait_for(whole_tree, 30, "the application's tree")
        script = os.path.join(directory, "tree.lua")
        with open(script, "w") as f:
            f.write(f"wrk.method = 'POST'\nwrk.body = '{asked}'\nwrk.headers['X-Varkel-Token'] = '{TOKEN}'\n")
        with Nginx(directory, "/ax/tree", body) as nginx:
            compare(f"POST /ax/tree, cached, {len(body):,} bytes", agent, nginx, "/ax/tree", arguments, script)


def bench_start(arguments):
    times = []
    for _ in range(20):
        with Agent(arguments.agent) as agent:
            times.append(agent.ready_ms)
    listening, answered = (statistics.median(column) for column in zip(*times))
    print(f"start: listening after {listening:.1f} ms, first answer after {answered:.1f} ms (medians of 20)")


def bench_idle(arguments):
    with Agent(arguments.agent) as agent:
        time.sleep(1)
        resident, before = agent.resident_kib(), agent.switches()
        pause = 5
        time.sleep(pause)
        print(f"idle: {resident / 1024:.1f} MiB resident, "
              f"{(agent.switches() - before) / pause:.1f} wake-ups per second")
        idle = []
        for _ in range(2000):
            connection = http.client.HTTPConnection("127.0.0.1", agent.port)
            connection.request("GET", "/health")
            connection.getresponse().read()
            idle.append(connection)
        time.sleep(0.5)
        grown, before = agent.resident_kib() - resident, agent.switches()
        time.sleep(pause)
        print(f"2,000 idle connections: {grown / 2000:.1f} KiB each, "
              f"{(agent.switches() - before) / pause:.1f} wake-ups per second")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--agent", default=str(ROOT / "build/release/VarkelAgent/varkel-agent"))
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--seconds", type=int, default=3)
    arguments = parser.parse_args()
    exit_on_signals()
    with PrivateDesktop() as desktop:
        os.environ.update(desktop.environment)
        bench_start(arguments)
        bench_idle(arguments)
        bench_health(arguments)
        application = desktop.start(["gtk3-widget-factory"])
        desktop.wait_for_window(application)
        bench_tree(arguments, application.pid)


if __name__ == "__main__":
    main()
