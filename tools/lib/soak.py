"""Asks every endpoint at once, for a long time, on a private desktop, and checks every answer against what was asked.

Prints per endpoint how many requests were answered and how long that took, and at the end whether memory, descriptors
and threads are what they were after the first part. Status 0 when there was no wrong answer and nothing grew.
"""

import argparse
import contextlib
import http.client
import json
import multiprocessing
import os
import queue
import random
import re
import signal
import subprocess
import sys
import threading
import time

from agent import Agent, walk
from private_desktop import PrivateDesktop, exit_on_signals, wait_for

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
APP = os.path.join(ROOT, "tests/desktop/apps/acts_app.py")
PROCESSES, CONNECTIONS_EACH = 8, 8
SHORTCUT, WORD = "Echo", "Varkel reads this line"
# Of the time, before growth is looked for. For half of it all ask for the same at once, one endpoint after the other:
# there are never more threads at work than then, and the caches fill.
WARM_UP = 0.1
GROWTH_ALLOWED = 0.05


class WrongAnswer(Exception):
    """An answer that does not fit its request."""


def expect(condition, what):
    if not condition:
        raise WrongAnswer(what)


class Caller:
    """One connection that asks for whatever it draws, over and over."""

    def __init__(self, port, token, scene, seed):
        self._connection = http.client.HTTPConnection("127.0.0.1", port, timeout=120)
        self._token, self._scene, self._random = token, scene, random.Random(seed)
        self.times, self.faults, self.clicks = {}, [], 0

    def ask(self, path, **body):
        """Sends a request and gives its status, its headers and its answer."""
        headers = {"x-varkel-token": self._token} if path != "/health" else {}
        data = None if path in ("/health", "/shortcut/list") else json.dumps(body)
        began = time.monotonic()
        self._connection.request("GET" if data is None else "POST", path, data, headers)
        response = self._connection.getresponse()
        answer = json.loads(response.read())
        self.times.setdefault(path, []).append(time.monotonic() - began)
        expect(response.status == 200, f"{path} {body}: {response.status} {answer}")
        return answer

    def turn(self, number):
        """One action, the one with this number or one drawn at random; what is wrong with its answer is kept."""
        if number == ANY:
            number = self._random.choices(range(len(ACTIONS)), [weight for _, weight in ACTIONS])[0]
        action, _ = ACTIONS[number]
        try:
            action(self)
        except (WrongAnswer, OSError, http.client.HTTPException, ValueError, KeyError) as error:
            self.faults.append(f"{action.__name__}: {error!r}"[:400])
            self._connection.close()

    def health(self):
        expect(self.ask("/health") == {"ok": True, "version": "0.2.0"}, "another health")

    def tree(self):
        tree = self.ask("/ax/tree", root_pid=self._scene["pid"])["tree"]
        ids = {element["id"] for element in walk(tree)}
        expect(self._scene["button"] in ids and self._scene["list"] in ids, f"{len(ids)} elements, not all there")

    def find(self):
        row = self._random.randrange(100, 200)
        found = self.ask("/ax/find", label=f"Row {row}", maxResults=3)["matches"]
        expect([match["label"] for match in found] == [f"Row {row}"], f"found {found} for row {row}")

    def click(self):
        answer = self.ask("/ax/click", elementId=self._scene["button"])
        self.clicks += 1
        expect(answer == {"ok": True, "method": "ax_press"}, f"clicked by {answer}")

    def type(self):
        answer = self.ask("/ax/type", elementId=self._scene["entry"], text=f"Text {self._random.random()}")
        expect(answer == {"ok": True, "method": "ax_value"}, f"typed by {answer}")

    def scroll(self):
        direction = self._random.choice(["up", "down"])
        answer = self.ask("/ax/scroll", elementId=self._scene["list"], direction=direction, amount=50)
        expect(answer["direction"] == direction, f"scrolled {answer}")

    def keystrokes(self):
        answer = self.ask("/keystrokes", keys=["home"], delay_ms=1)
        expect(answer["keys"] == 1, f"sent {answer}")

    def tree_and_ocr(self):
        answer = self.ask("/ax/tree_and_ocr", root_pid=self._scene["pid"], imagePath=self._scene["picture"])
        expect(self._scene["button"] in {element["id"] for element in walk(answer["tree"])}, "a tree without the button")
        expect([line["text"] for line in answer["ocr"]] == [WORD], f"read {answer['ocr']}")

    def batch(self):
        name = f"batch {self._random.random()}"
        expect(self.ask("/batch/begin", batch_id=name)["batch_id"] == name, "another batch")
        found = self.ask("/ax/find", identifier="button", batch_id=name)["matches"]
        expect([match["id"] for match in found] == [self._scene["button"]], f"found {found} in the batch")
        expect(self.ask("/batch/end", batch_id=name)["batch_id"] == name, "another batch")

    def ocr(self):
        lines = self.ask("/ocr", imagePath=self._scene["picture"], pid=self._random.randrange(1000))["results"]
        expect([line["text"] for line in lines] == [WORD], f"read {lines}")

    def visual_find(self):
        found = self.ask("/visual/find", imagePath=self._scene["picture"], query="reads this")["results"]
        expect([match["text"] for match in found] == [WORD], f"found {found}")

    def shortcut_list(self):
        expect(self.ask("/shortcut/list")["shortcuts"] == [SHORTCUT], "other Shortcuts")

    def shortcut(self):
        text = f"{self._random.random()}\n" * 100
        expect(self.ask("/shortcut", name=SHORTCUT, input=text)["output"] == text, "another output")

    def applescript(self):
        a, b = self._random.randrange(1000), self._random.randrange(1000)
        expect(self.ask("/applescript/run", script=f"return {a} + {b}")["output"] == str(a + b), "another sum")


# How often each is asked for, compared with the others.
ACTIONS = [(Caller.health, 20), (Caller.tree, 10), (Caller.find, 10), (Caller.click, 4), (Caller.type, 4),
           (Caller.scroll, 4), (Caller.keystrokes, 2), (Caller.tree_and_ocr, 2), (Caller.batch, 4), (Caller.ocr, 4),
           (Caller.visual_find, 2), (Caller.shortcut_list, 2), (Caller.shortcut, 2), (Caller.applescript, 2)]
ANY = -1


class Orders:
    """What the calling processes are told: to go on or to rest, what to ask for, and when it is over."""

    def __init__(self, context):
        self.go, self._end, self._parent = context.Event(), context.Event(), os.getpid()
        self.number, self.busy = context.Value("i", ANY), context.Value("i", 0)

    def are_over(self):
        # Nobody else would end them when their parent has been killed.
        return self._end.is_set() or os.getppid() != self._parent

    def end(self):
        self._end.set()

    @contextlib.contextmanager
    def at_work(self):
        with self.busy.get_lock():
            self.busy.value += 1
        try:
            yield
        finally:
            with self.busy.get_lock():
                self.busy.value -= 1


def call_for(callers, orders, results):
    """What each calling process does. It gives way to the agent: 64 callers in an interpreter would have the processors
    to themselves otherwise."""
    leave_signals_to_parent()
    os.nice(10)
    def work(caller):
        while not orders.are_over():
            if orders.go.wait(0.2):
                with orders.at_work():
                    caller.turn(orders.number.value)
    threads = [threading.Thread(target=work, args=(caller,), daemon=True) for caller in callers]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    times = {}
    for caller in callers:
        for path, seconds in caller.times.items():
            times.setdefault(path, []).extend(seconds)
    results.put((times, [fault for caller in callers for fault in caller.faults], sum(c.clicks for c in callers)))


def leave_signals_to_parent():
    signal.signal(signal.SIGTERM, signal.SIG_DFL)
    for number in (signal.SIGINT, signal.SIGHUP):
        signal.signal(number, signal.SIG_IGN)


def probe_health(port, orders, results):
    """Asks for the health check alone, a hundred times a second, from a process that does nothing else and, where that
    is allowed, does not wait for a processor itself."""
    leave_signals_to_parent()
    with contextlib.suppress(OSError):
        os.setpriority(os.PRIO_PROCESS, 0, -10)
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=120)
    times, faults = [], []
    while not orders.are_over():
        began = time.monotonic()
        try:
            connection.request("GET", "/health")
            connection.getresponse().read()
            times.append(time.monotonic() - began)
        except (OSError, http.client.HTTPException) as error:
            faults.append(f"probe: {error!r}")
            connection.close()
        time.sleep(0.01)
    results.put(({"/health alone": times}, faults, 0))


class Watched:
    """What a process costs, looked at while nothing is asked of it."""

    def __init__(self, pid):
        with open(f"/proc/{pid}/status", encoding="ascii") as status:
            self.resident = int(re.search(r"VmRSS:\s+(\d+)", status.read())[1])
        self.descriptors = len(os.listdir(f"/proc/{pid}/fd"))
        self.threads = len(os.listdir(f"/proc/{pid}/task"))

    def __str__(self):
        return f"{self.resident / 1024:.1f} MiB, {self.descriptors} descriptors, {self.threads} threads"


class ClickCounter:
    """The application, and how often it says that its button was clicked."""

    def __init__(self, desktop):
        self.process = desktop.start(["/usr/bin/python3", APP], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.clicks, self._answers = 0, queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()
        desktop.activate(desktop.wait_for_window(self.process))

    def _read(self):
        for line in self.process.stdout:
            event = json.loads(line)
            self.clicks += event["event"] == "clicked"
            if event["event"] == "done":
                self._answers.put(event)

    def settled_clicks(self):
        """The clicks once the application has handled everything that had reached it; None when it has ended."""
        if self.process.poll() is not None:
            return None
        self.process.stdin.write("look\n")
        self.process.stdin.flush()
        self._answers.get(timeout=60)
        return self.clicks


def draw_line(path, text):
    import cairo
    surface = cairo.ImageSurface(cairo.Format.RGB24, 420, 60)
    context = cairo.Context(surface)
    context.set_source_rgb(1, 1, 1)
    context.paint()
    context.set_source_rgb(0, 0, 0)
    context.select_font_face("DejaVu Sans")
    context.set_font_size(22)
    context.move_to(20, 38)
    context.show_text(text)
    surface.write_to_png(path)


def set_scene(desktop, agent, application):
    def element(**query):
        def found():
            return agent.request("POST", "/ax/find", query).json().get("matches")
        return wait_for(found, 20, f"an element with {query}")[0]["id"]
    picture = os.path.join(desktop.directory, "line.png")
    draw_line(picture, WORD)
    desktop.add_shortcut(SHORTCUT, "exec cat")
    return {"pid": application.process.pid, "picture": picture, "button": element(identifier="button"),
            "entry": element(identifier="entry"), "list": element(identifier="list")}


def warm_up(orders, seconds):
    for number in range(len(ACTIONS)):
        orders.number.value = number
        time.sleep(seconds / 2 / len(ACTIONS))
    orders.number.value = ANY
    time.sleep(seconds / 2)


def rest(agent, orders):
    """Lets everything come to rest, looks at the agent and goes on."""
    orders.go.clear()
    wait_for(lambda: orders.busy.value == 0, 120, "the callers' last answers")
    looks = []

    def is_settled():
        time.sleep(1)
        looks.append(Watched(agent.process.pid))
        # The agent gives back what memory it can once it has had nothing to do for two seconds.
        last = [look.descriptors for look in looks[-5:]]
        return len(last) == 5 and len(set(last)) == 1
    wait_for(is_settled, 60, "the agent to come to rest")
    orders.go.set()
    return looks[-1]


def print_times(times, seconds):
    def at(values, share):
        return values[min(int(len(values) * share), len(values) - 1)] * 1000
    print(f"{'':<18}{'requests/s':>12}{'p50 ms':>10}{'p99 ms':>10}{'p99.9 ms':>10}{'worst':>10}")
    for path, values in sorted(times.items()):
        values.sort()
        print(f"{path:<18}{len(values) / seconds:>12.1f}{at(values, .5):>10.2f}{at(values, .99):>10.2f}"
              f"{at(values, .999):>10.2f}{values[-1] * 1000:>10.2f}")


def soak(desktop, options):
    agent = Agent(desktop.start, desktop.directory)
    application = ClickCounter(desktop)
    scene = set_scene(desktop, agent, application)
    with open(agent.token_file, encoding="ascii") as file:
        token = file.read().strip()
    context = multiprocessing.get_context("fork")
    orders, results = Orders(context), context.Queue()
    callers = [context.Process(target=call_for, daemon=True, args=(
        [Caller(agent.port, token, scene, f"{options.seed} {i} {j}") for j in range(CONNECTIONS_EACH)], orders, results))
        for i in range(PROCESSES)]
    callers.append(context.Process(target=probe_health, daemon=True, args=(agent.port, orders, results)))
    for process in callers:
        process.start()
    print(f"{PROCESSES * CONNECTIONS_EACH} connections for {options.seconds:g} s, seed {options.seed}", flush=True)
    orders.go.set()
    warm_up(orders, options.seconds * WARM_UP)
    before = rest(agent, orders)
    print(f"after {options.seconds * WARM_UP:g} s: {before}", flush=True)
    time.sleep(options.seconds * (1 - WARM_UP))
    after = rest(agent, orders)
    orders.end()
    print(f"at the end: {after}")
    times, faults, clicks = {}, [], 0
    for _ in callers:
        some_times, some_faults, some_clicks = results.get(timeout=200)
        faults += some_faults
        clicks += some_clicks
        for path, values in some_times.items():
            times.setdefault(path, []).extend(values)
    print_times(times, options.seconds)
    counted = application.settled_clicks()
    if counted is None:
        faults.append(f"the application ended with status {application.process.returncode}")
    elif counted != clicks:
        faults.append(f"{clicks} clicks were answered, the application counted {counted}")
    if any("Sanitizer" in line for line in agent.output):
        faults.append("the agent said:\n" + "".join(agent.output))
    # What a sanitizer keeps for itself grows for long.
    if not options.sanitized and after.resident > before.resident * (1 + GROWTH_ALLOWED):
        faults.append("memory grew")
    if (after.descriptors, after.threads) != (before.descriptors, before.threads):
        faults.append("descriptors or threads changed")
    print(f"{sum(map(len, times.values()))} answers, {clicks} clicks, {len(faults)} faults")
    for fault in faults[:20]:
        print("  " + fault)
    return 1 if faults else 0


def main():
    parser = argparse.ArgumentParser(prog="tools/soak", description=__doc__)
    parser.add_argument("--seconds", type=float, default=600)
    parser.add_argument("--seed", default="1")
    parser.add_argument("--sanitized", action="store_true", help="the agent is a sanitizer's build: leave memory alone")
    options = parser.parse_args()
    exit_on_signals()
    with PrivateDesktop() as desktop:
        return soak(desktop, options)


if __name__ == "__main__":
    sys.exit(main())
