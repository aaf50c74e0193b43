"""What the tests of faults share: a fault is repeated, the agent serves after each, and it has not grown at the end."""

import os
import time
from concurrent.futures import ThreadPoolExecutor

from agent import Agent
from support import DesktopTest, find, resident_kib, wait_for

# What may differ after repeated faults although nothing leaks: a thread that is about to end, and a connection that is
# kept. What every fault leaked would be more: none is repeated less often than this + 1.
THREADS = DESCRIPTORS = 2
# The allocator keeps a little for every thread.
RESIDENT_KIB = 16 * 1024
TYPED = "aé€漢"


class Breakdown(DesktopTest):
    def setUp(self):
        super().setUp()
        self.requests = self.enterContext(ThreadPoolExecutor(64))

    # -- the agent

    def send(self, path, seconds=60.0, **body):
        """Sends a request and goes on."""
        return self.requests.submit(self.post, path, seconds, **body)

    def restart_agent(self, start=None):
        """Takes another agent, which finds what has been prepared; `start` is Agent's."""
        self.desktop.stop(self.agent.process)
        self.agent = Agent(start or self.desktop.start, self.desktop.directory)

    def assert_healthy(self):
        self.assertEqual(self.agent.request("GET", "/health", timeout=5).status, 200)

    def assert_within(self, seconds, answer, *statuses):
        """An answer, or a future's, that came in time. The bound is the agent's plus some for a slow machine."""
        answer = answer.result() if hasattr(answer, "result") else answer
        self.assertIn(answer.status, statuses, answer.body[:300])
        self.assertLess(answer.seconds, seconds)
        return answer

    # -- ordinary service

    def find_frontmost_title(self):
        answer = self.agent.tree()
        window = find(answer.json()["tree"], role="AXWindow") if answer.status == 200 else None
        return window.get("label") if window else None

    def assert_serves(self, title="Fresh"):
        """A new application is read, found in front, clicked and typed into."""
        self.assert_healthy()
        app = self.start_acts(title)
        # The agent knows on its own which application is in front.
        wait_for(lambda: self.find_frontmost_title() == title, 15, f"{title} as the frontmost application")
        button = self.find_one(role="AXButton", label="Count me")
        self.assertEqual(self.post("/ax/click", elementId=button["id"]).status, 200)
        app.wait_for("clicked", widget="button")
        area = self.find_one(identifier="even area")
        self.assertEqual(self.post("/ax/click", elementId=area["id"]).status, 200)
        app.wait_for("pressed", widget="even area")
        before = self.give_keys(app)
        self.assertEqual(self.post("/keystrokes", text=TYPED).status, 200)
        app.wait_for("committed", text=before + TYPED)
        self.desktop.stop(app.process)

    def give_keys(self, app):
        """Has the bare area of an application take the keyboard, and gives what it has got so far. A window that has
        just come up may miss the first keys."""
        element = self.find_one(identifier="keys")

        def typed():
            self.assertEqual(self.post("/ax/type", elementId=element["id"], text="k").status, 200)
            return app.all("committed")
        return wait_for(typed, 20, "keys to arrive")[-1]["text"]

    # -- what it holds

    def footprint(self):
        """Threads, descriptors, resident KiB and children of the agent."""
        base = f"/proc/{self.agent.process.pid}"
        children = 0
        for task in os.listdir(base + "/task"):
            try:
                with open(f"{base}/task/{task}/children", encoding="ascii") as file:
                    children += len(file.read().split())
            except OSError:
                pass  # a thread that has just ended
        counts = [len(os.listdir(f"{base}/{folder}")) for folder in ("task", "fd")]
        return *counts, resident_kib(self.agent.process.pid), children

    def start_all_threads(self):
        """Has as many threads as there ever are: how many requests meet later is chance."""
        asked = [self.send("/ax/tree", root_pid=2**31 - 1 - number) for number in range(64)]
        for each in asked:
            self.assertEqual(each.result().status, 200)

    def repeat(self, fault, rounds, warm_up=2):
        """Has the same fault happen again and again; the agent has no more afterwards than after the first ones."""
        self.start_all_threads()
        for _ in range(warm_up):
            fault()
        threads, descriptors, resident, _ = before = self.footprint()
        for _ in range(rounds):
            fault()

        def back():
            now = self.footprint()
            return (now[0] <= threads + THREADS and now[1] <= descriptors + DESCRIPTORS
                    and now[2] <= resident + RESIDENT_KIB and now[3] == 0)
        began = time.monotonic()
        try:
            wait_for(back, 20, "the agent to hold no more than before")
        except Exception as error:
            raise AssertionError(f"threads, descriptors, KiB, children: {before} before {rounds} faults, "
                                 f"{self.footprint()} {time.monotonic() - began:.0f} s after them") from error
