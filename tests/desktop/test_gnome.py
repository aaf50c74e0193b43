"""What reaches applications on GNOME's compositor, which tells nothing of its windows: mutter without a screen.

Every check reads what the application says it got."""

import os
import subprocess
import threading
import unittest

import support
from agent import Agent
from mutter_desktop import MutterDesktop
from reporting import ReportingApp
from support import wait_for
from typing_targets import GtkTarget, wait_for_text

# What the US layout has, and what it has not.
PLAIN = "Hello, WORLD! {[(<>)]} @#$%^&*~`'\"\\|/?;:"
MIXED = "hello Grüße €5 漢字 😀 end"


class Gnome(unittest.TestCase):
    def setUp(self):
        self.desktop = self.enterContext(MutterDesktop())
        # So that the agent's are the first.
        self.desktop.unplug_devices()
        self.agent = Agent(self.desktop.start, self.desktop.directory)
        self.target = self.start_target()

    def start_target(self):
        target = self.enterContext(GtkTarget(self.desktop))

        def is_shown():
            answer = self.agent.tree(target.process.pid)
            return answer.status == 200 and support.find(answer.json()["tree"], role="AXTextField")
        wait_for(is_shown, 20, "the application's window")
        return target

    def send(self, timeout=60, **fields):
        return self.agent.request("POST", "/keystrokes", {"delay_ms": 2, **fields}, timeout=timeout)

    def assert_typed(self, text):
        self.assertEqual(wait_for_text(self.target, text), text)

    def test_the_first_keys_arrive_and_so_does_what_no_key_gives(self):
        for text in (PLAIN, MIXED):
            with self.subTest(text=text):
                self.target.clear()
                answer = self.send(text=text)
                self.assertEqual(answer.status, 200, answer.body)
                self.assert_typed(text)

    def test_the_clipboard_is_put_back(self):
        for step in ({"text": "kept"}, {"keys": ["ctrl+a", "ctrl+c"]}, {"text": MIXED}):
            self.assertEqual(self.send(**step).status, 200)
        self.assert_typed(MIXED)
        self.assertEqual(self.send(keys=["ctrl+a", "ctrl+v"]).status, 200)
        self.assert_typed("kept")

    def test_what_is_in_front_is_known_and_its_places_are_not(self):
        self.assertEqual(self.send(text="a").status, 200)
        self.assert_typed("a")

        def front():
            answer = self.agent.tree()
            tree = answer.json().get("tree") if answer.status == 200 else None
            return tree if tree and support.find(tree, role="AXTextField", value="a") else None
        elements = list(support.walk(wait_for(front, 15, "the tree of the application in front")))
        self.assertEqual([element for element in elements if "frame" in element], [])
        # Neither an action of its own nor a place: a click that would go anywhere is not made.
        area = next(element for element in elements if element["role"] == "AXUnknown" or not element.get("children"))
        answer = self.agent.request("POST", "/ax/click", {"elementId": area["id"]}, timeout=30)
        self.assertIn((answer.status, answer.json().get("hint")),
                      [(500, "no frame for synthesized click")], (area, answer.body))
        self.target.app.do("look")
        self.assertEqual(self.target.app.all("button-press"), [])

    def test_clicks_and_turns_of_the_wheel_go_to_the_pixel(self):
        self.assertEqual(self.send(text="a").status, 200)
        program = os.environ.get("VARKEL_POST_EVENTS") or str(support.ROOT / "build/release/tests/desktop/post_events")
        poster = self.desktop.start([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.desktop.stop, poster)

        def post(line):
            poster.stdin.write(line + "\n")
            poster.stdin.flush()
            self.assertEqual(poster.stdout.readline(), "done\n")
        presses = []
        # Where the window is nothing tells.
        for x, y in ((x, y) for y in range(150, 900, 150) for x in range(150, 1280, 200)):
            post(f"click {x} {y}")
            self.target.app.do("look")
            presses = self.target.app.all("button-press")
            if presses:
                break
        first = presses[0]
        post(f"click {x + 13} {y + 7}")
        self.target.wait_for("button-press", button=1, x=first["x"] + 13, y=first["y"] + 7)
        post(f"scroll {x} {y} -2 0")
        self.target.wait_for("scroll", x=first["x"], y=first["y"])

    def test_an_application_behind_others_comes_to_the_front_for_its_keys(self):
        self.assertEqual(self.send(text="a").status, 200)
        for title in ("one", "two", "three"):
            other = ReportingApp(self.desktop, [str(support.APPS / "acts_app.py"), title])
            self.addCleanup(self.desktop.stop, other.process)
            wait_for(lambda: support.find(self.agent.tree().json().get("tree", {}), label=title), 15,
                     f"{title} to be in front")
        for text in ("b", "c"):
            answer = self.send(text=text, app_bundle_id="keyboard_app.py")
            self.assertEqual(answer.status, 200, answer.body)
        self.assert_typed("abc")

    def test_a_compositor_that_is_lost_fails_the_text_and_nothing_after_it(self):
        self.assertEqual(self.send(text="a").status, 200)
        answers = []
        sender = threading.Thread(target=lambda: answers.append(self.send(text="x" * 2000, delay_ms=5)))
        sender.start()
        wait_for(lambda: len(self.target.text()) > 50, 20, "some of the text")
        self.desktop.stop(self.desktop.compositor)
        sender.join(15)
        self.assertEqual([answer.status for answer in answers], [500])
        self.desktop.start_compositor()
        self.desktop.unplug_devices()
        target = self.start_target()
        wait_for(lambda: self.send(text="b").status == 200, 20, "keys to work again")
        self.assertEqual(wait_for_text(target, "b"), "b")


if __name__ == "__main__":
    support.main()
