"""Elements that are searched for, clicked, typed into and scrolled; what happened is what the application says."""

import math
import os
import re
import signal
import threading

import support
from support import DESKTOP, DesktopTest, needs_windows, only_on_x11, wait_for

MIXED = "Hello, WORLD! ÄÖÜß äöü €5 {[@]} 漢字 e\u0301 😀 👨‍👩‍👧"
PLAIN = "Hello, WORLD! {[@]}"
BUTTON = {"role": "AXButton", "label": "Count me"}


class Acts(DesktopTest):
    def setUp(self):
        super().setUp()
        self.app = self.start_acts()
        self.find_one(identifier="button")

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

    @only_on_x11
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
        halves = buttons()
        # The one who looks may have come in the middle of the first click.
        if halves[0] == "Release":
            del halves[0]
        self.assertEqual(set(zip(halves[0::2], halves[1::2])), {("Press", "Release")})

    @needs_windows
    def test_what_has_no_action_gets_a_click_on_the_pixel_of_its_centre(self):
        for name in ("even area", "odd area"):
            with self.subTest(name):
                element = self.find_one(identifier=name)
                own_x, own_y, width, height = self.app.do("look")["places"][name]
                x, y = self.desktop.on_screen(self.app.window, own_x, own_y)
                answer = self.act("click", element)
                self.assertEqual(answer, {"ok": True, "method": "synthesized_click", "x": x + width / 2,
                                          "y": y + height / 2})
                for kind in ("pressed", "released"):
                    got = self.app.wait_for(kind, widget=name, button=1)
                    pixel = self.desktop.on_screen(self.app.window, math.floor(got["x"]), math.floor(got["y"]))
                    self.assertEqual(pixel, (math.floor(answer["x"]), math.floor(answer["y"])))
        self.assertEqual(len(self.app.all("pressed")), 2)

    def test_a_handler_that_opens_a_dialog_before_it_replies_runs_once(self):
        answer = self.post("/ax/click", seconds=6, elementId=self.find_one(label="Ask me")["id"])
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

    def test_a_stopped_application_is_not_waited_for_and_gets_nothing_afterwards(self):
        button = self.find_one(**BUTTON)
        os.kill(self.app.pid, signal.SIGSTOP)
        try:
            answer = self.post("/ax/click", seconds=8, elementId=button["id"])
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
        # What is pasted it does not take.
        text = PLAIN if DESKTOP.pastes else MIXED
        self.assertEqual(self.act("type", keys, text=text)["method"], "cg_event")
        self.app.wait_for("committed", widget="keys", text=text)
        self.assertEqual(self.app.do("look")["focused"], "keys")
        self.assertEqual(len(self.app.all("committed")), len(text))


class ScrollingAndSearching(Acts):
    @needs_windows
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
