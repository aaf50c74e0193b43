"""Elements that are searched for, clicked, typed into and scrolled; what happened is what the application says."""

import json
import math
import os
import queue
import re
import signal
import subprocess
import threading
import time

import support
from support import APPS, DesktopTest, wait_for

MIXED = "Hello, WORLD! ÄÖÜß äöü €5 {[@]} 漢字 e\u0301 😀 👨‍👩‍👧"
BUTTON = {"role": "AXButton", "label": "Count me"}


class ActsApp:
    """acts_app.py, and what it has told so far."""

    def __init__(self, desktop, title="Acts"):
        self.process = desktop.start(["/usr/bin/python3", str(APPS / "acts_app.py"), title], stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, text=True)
        self.pid, self.events, self._lines = self.process.pid, [], queue.Queue()
        threading.Thread(target=self._read, args=(self.process.stdout,), daemon=True).start()
        self.wait_for("ready", 30)
        self.window = desktop.wait_for_window(self.process)

    def _read(self, stream):
        try:
            for line in stream:
                self._lines.put(json.loads(line))
        except ValueError:
            pass  # closed by the process's owner

    def wait_for(self, event, seconds=10.0, **fields):
        """The next event of a kind with these fields."""
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


class Acts(DesktopTest):
    def setUp(self):
        super().setUp()
        self.app = ActsApp(self.desktop)
        self.bring_forward(self.app)

    def bring_forward(self, app):
        self.desktop.activate(app.window)
        self.find_one(identifier="button")

    def post(self, path, timeout=30.0, **body):
        return self.agent.request("POST", path, body, timeout)

    def find_one(self, **query):
        def matches():
            answer = self.post("/ax/find", **query)
            self.assertEqual(answer.status, 200, answer.body[:300])
            return answer.json()["matches"]
        return wait_for(matches, 15, f"an element with {query}")[0]

    def act(self, verb, element, **fields):
        """Acts on an element and gives the answer, which must be a success."""
        answer = self.post("/ax/" + verb, elementId=element["id"], **fields)
        self.assertEqual(answer.status, 200, answer.body[:300])
        self.assertTrue(answer.json()["ok"])
        return answer.json()

    def assert_not_found(self, answer):
        self.assertEqual((answer.status, answer.json()), (404, {"error": "element_not_found"}))


class Clicking(Acts):
    def test_a_button_found_by_its_label_is_pressed_once_and_the_next_tree_is_fresh(self):
        button = self.find_one(**BUTTON)
        self.assertEqual(self.act("click", button), {"ok": True, "method": "ax_press"})
        self.assertEqual(self.agent.tree().headers["X-Varkel-Cache"], "MISS")
        self.app.wait_for("clicked", widget="button")
        self.assertEqual(len(self.app.all("clicked")), 1)

    def test_a_check_box_turns_on_and_off(self):
        check = self.find_one(role="AXCheckBox", label="Remember")
        for active in (True, False):
            self.assertEqual(self.act("click", check)["method"], "ax_press")
            self.app.wait_for("toggled", widget="check", active=active)

    def test_clicks_at_once_do_not_get_into_each_other(self):
        # Looked at in the X server: toolkits lose track of the pointer when clicks come this fast.
        path = os.path.join(self.desktop.directory, "input")
        with open(path, "w", encoding="utf-8") as log:
            self.desktop.start(["stdbuf", "-oL", "xinput", "test-xi2", "--root"], stdout=log)

        def buttons():
            with open(path, encoding="utf-8", errors="replace") as log:
                return re.findall(r"\(RawButton(Press|Release)\)", log.read())
        areas = [self.find_one(identifier=name) for name in ("even area", "odd area")]

        def seen():
            self.act("click", areas[0])
            return buttons()
        wait_for(seen, 10, "the first click")
        threads = [threading.Thread(target=lambda area=area: [self.act("click", area) for _ in range(25)])
                   for area in areas * 4]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        wait_for(lambda: len(buttons()) >= 2 * 25 * len(threads), 10, "all clicks")
        self.assertEqual(set(zip(buttons()[0::2], buttons()[1::2])), {("Press", "Release")})

    def test_what_has_no_action_gets_a_click_on_the_pixel_of_its_centre(self):
        for name in ("even area", "odd area"):
            with self.subTest(name):
                element = self.find_one(identifier=name)
                x, y, width, height = self.app.do("look")["places"][name]
                answer = self.act("click", element)
                self.assertEqual(answer, {"ok": True, "method": "synthesized_click", "x": x + width / 2,
                                          "y": y + height / 2})
                for kind in ("pressed", "released"):
                    got = self.app.wait_for(kind, widget=name, button=1)
                    self.assertEqual((got["x"], got["y"]), (math.floor(answer["x"]), math.floor(answer["y"])))
        self.assertEqual(len(self.app.all("pressed")), 2)

    def test_a_handler_that_opens_a_dialog_before_it_replies_runs_once(self):
        answer = self.post("/ax/click", timeout=6, elementId=self.find_one(label="Ask me")["id"])
        self.assertEqual((answer.status, answer.json()), (200, {"ok": True, "method": "ax_press"}))
        self.app.wait_for("dialog", shown=True)
        self.app.do("close")
        self.app.wait_for("dialog", shown=False)
        self.assertEqual((len(self.app.all("clicked")), self.app.all("pressed")), (1, []))

    def test_an_id_of_what_is_no_longer_the_same_acts_on_nothing(self):
        for command in ("rename", "insert"):
            with self.subTest(command):
                button = self.find_one(identifier="button")
                self.app.do(command)
                self.assert_not_found(self.post("/ax/click", elementId=button["id"]))
                self.assert_not_found(self.post("/ax/type", elementId=button["id"], text="x"))
                self.assert_not_found(self.post("/ax/scroll", elementId=button["id"], direction="down"))
        self.assertEqual(self.app.all("clicked"), [])
        # Where it is now, it can be clicked again.
        wait_for(lambda: self.post("/ax/click", elementId=self.find_one(identifier="button")["id"]).status == 200,
                 10, "the moved button's click")
        self.app.wait_for("clicked", widget="button")

    def test_a_batch_acts_in_its_application_while_another_is_in_front(self):
        self.assertEqual(self.post("/batch/begin", batch_id="mine").status, 200)
        button = self.find_one(**BUTTON)
        other = ActsApp(self.desktop, "Other")
        self.desktop.activate(other.window)
        wait_for(lambda: self.agent.tree().json()["tree"]["id"] != self.agent.tree(self.app.pid).json()["tree"]["id"],
                 10, "the other application in front")
        self.assert_not_found(self.post("/ax/click", elementId=button["id"]))
        self.act("click", button, batch_id="mine")
        self.app.wait_for("clicked", widget="button")
        self.assertEqual((len(self.app.all("clicked")), other.all("clicked")), (1, []))

    def test_a_stopped_application_is_not_waited_for_and_gets_nothing_afterwards(self):
        button = self.find_one(**BUTTON)
        os.kill(self.app.pid, signal.SIGSTOP)
        try:
            answer = self.post("/ax/click", timeout=8, elementId=button["id"])
            self.assert_not_found(answer)
        finally:
            os.kill(self.app.pid, signal.SIGCONT)
        self.assertEqual((self.app.all("clicked"), self.app.all("pressed")), ([], []))


class Typing(Acts):
    def test_a_field_gets_the_text_in_place_of_its_own(self):
        entry = self.find_one(role="AXTextField", identifier="entry")
        for text in (MIXED, "", "after"):
            with self.subTest(text):
                self.assertEqual(self.act("type", entry, text=text)["method"], "ax_value")
                wait_for(lambda: self.app.do("look")["texts"]["entry"] == text, 10, "the text in the field")

    def test_what_cannot_be_set_gets_the_focus_and_the_keys(self):
        keys = self.find_one(identifier="keys")
        self.assertEqual(self.act("type", keys, text=MIXED)["method"], "cg_event")
        self.app.wait_for("committed", widget="keys", text=MIXED)
        self.assertEqual(self.app.do("look")["focused"], "keys")
        self.assertEqual(len(self.app.all("committed")), len(MIXED))

    def test_a_read_only_field_stays_as_it_is(self):
        fixed = self.find_one(identifier="fixed")
        self.assertEqual(self.act("type", fixed, text="x")["method"], "cg_event")
        self.app.wait_for("key", widget="fixed", keyval=ord("x"))
        self.assertEqual(self.app.do("look")["texts"], {"entry": "before", "fixed": "fixed"})


class ScrollingAndSearching(Acts):
    def test_a_list_scrolls_as_many_steps_as_the_amount_says(self):
        scrolled = self.find_one(identifier="list")
        answer = self.act("scroll", scrolled, direction="Down", amount=50)
        self.assertEqual(answer, {"ok": True, "method": "ax_scroll", "direction": "down", "amount": 50})
        step = self.app.wait_for("scrolled")["offset"]
        self.assertGreater(step, 0)
        reached = step
        for fields, steps in (({"direction": "down"}, 2), ({"direction": "down", "amount": 199}, 3),
                              ({"direction": "UP", "amount": 100}, -2), ({"direction": "up", "amount": -7}, -1)):
            with self.subTest(**fields):
                self.act("scroll", scrolled, **fields)
                for _ in range(abs(steps)):
                    reached += math.copysign(step, steps)
                    self.assertAlmostEqual(self.app.wait_for("scrolled")["offset"], reached)
        self.assertEqual(len(self.app.all("scrolled")), 1 + 2 + 3 + 2 + 1)
        answer = self.post("/ax/scroll", elementId=scrolled["id"], direction="forward")
        self.assertEqual((answer.status, answer.json()["error"]), (400, "invalid_input"))

    def test_a_search_finds_by_every_field_and_stops_at_the_limit(self):
        rows = self.post("/ax/find", label="Row 1", maxResults=1000).json()["matches"]
        self.assertEqual([row["label"] for row in rows],
                         [f"Row {number}" for number in range(200) if str(number).startswith("1")])
        self.assertEqual(len(self.post("/ax/find", label="Row").json()["matches"]), 10)
        self.assertEqual([row["value"] for row in self.post("/ax/find", valueRegex="^Row 1[2-4]$").json()["matches"]],
                         ["Row 12", "Row 13", "Row 14"])

    def test_a_pattern_that_never_ends_holds_nobody(self):
        self.assertEqual(self.find_one(valueRegex="^a+!$")["identifier"], "values")
        answers = []
        asking = threading.Thread(target=lambda: answers.append(self.post("/ax/find", valueRegex="(a+)+$")))
        asking.start()
        try:
            while asking.is_alive():
                self.assertEqual(self.agent.request("GET", "/health", timeout=3).status, 200)
        finally:
            asking.join(30)
        self.assertEqual((answers[0].status, answers[0].json()), (200, {"matches": []}))
        self.assertLess(answers[0].seconds, 10)


if __name__ == "__main__":
    support.main()
