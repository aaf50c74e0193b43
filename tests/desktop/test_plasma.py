"""What reaches applications on Plasma's compositor: kwin_wayland without a screen.

Every check reads what the application says it got."""

import threading
import unittest

import support
from agent import Agent
from kwin_desktop import KWinDesktop
from reporting import ReportingApp
from support import find, wait_for
from typing_targets import GtkTarget, wait_for_text

# What the US layout has, and what it has not.
PLAIN = "Hello, WORLD! {[(<>)]} @#$%^&*~`'\"\\|/?;:"
MIXED = "hello Grüße €5 漢字 😀 end"


class Plasma(unittest.TestCase):
    def setUp(self):
        self.desktop = self.enterContext(KWinDesktop())
        self.agent = Agent(self.desktop.start, self.desktop.directory)

    def start_target(self):
        target = self.enterContext(GtkTarget(self.desktop, NO_AT_BRIDGE="0"))
        self.wait_until_in_front("keyboard app")
        return target

    def wait_until_in_front(self, title):
        def front():
            answer = self.agent.tree()
            tree = answer.json().get("tree") if answer.status == 200 else None
            return tree if tree and find(tree, role="AXWindow", label=title) else None
        return wait_for(front, 20, f"{title} to be in front")

    def send(self, **fields):
        return self.agent.request("POST", "/keystrokes", {"delay_ms": 2, **fields}, timeout=60)

    def test_keys_arrive_and_so_does_what_no_key_gives(self):
        target = self.start_target()
        for text in (PLAIN, MIXED):
            with self.subTest(text=text):
                target.clear()
                answer = self.send(text=text)
                self.assertEqual(answer.status, 200, answer.body)
                self.assertEqual(wait_for_text(target, text), text)

    def test_the_clipboard_is_put_back(self):
        target = self.start_target()
        for step in ({"text": "kept"}, {"keys": ["ctrl+a", "ctrl+c"]}, {"text": MIXED}):
            self.assertEqual(self.send(**step).status, 200)
        self.assertEqual(wait_for_text(target, MIXED), MIXED)
        for text in ("kept", "keptkept"):
            self.assertEqual(self.send(keys=["ctrl+a", "ctrl+v"] if text == "kept" else ["ctrl+v"]).status, 200)
            self.assertEqual(wait_for_text(target, text), text)

    def test_elements_are_where_they_are_clicked(self):
        app = ReportingApp(self.desktop, [str(support.APPS / "acts_app.py"), "Acts"])
        self.addCleanup(self.desktop.stop, app.process)
        tree = self.wait_until_in_front("Acts")
        for name in ("even area", "odd area"):
            with self.subTest(name):
                x, y, width, height = app.do("look")["places"][name]
                answer = self.agent.request("POST", "/ax/click", {"elementId": find(tree, identifier=name)["id"]})
                self.assertEqual((answer.status, answer.json().get("method")), (200, "synthesized_click"), answer.body)
                app.wait_for("released", widget=name, x=int(x + width / 2), y=int(y + height / 2))

    def test_an_application_behind_others_comes_to_the_front_for_its_keys(self):
        target = self.start_target()
        for title in ("one", "two", "three"):
            other = ReportingApp(self.desktop, [str(support.APPS / "acts_app.py"), title])
            self.addCleanup(self.desktop.stop, other.process)
            self.wait_until_in_front(title)
        for text in ("b", "c"):
            answer = self.send(text=text, app_bundle_id="keyboard_app.py")
            self.assertEqual(answer.status, 200, answer.body)
        self.assertEqual(wait_for_text(target, "bc"), "bc")

    def test_a_compositor_that_is_lost_fails_the_text_and_nothing_after_it(self):
        target = self.start_target()
        answers = []
        sender = threading.Thread(target=lambda: answers.append(self.send(text="x" * 2000, delay_ms=5)))
        sender.start()
        wait_for(lambda: len(target.text()) > 50, 20, "some of the text")
        self.desktop.stop(self.desktop.compositor)
        sender.join(15)
        self.assertEqual([answer.status for answer in answers], [500])
        self.desktop.start_compositor()
        target = self.start_target()
        self.assertEqual(self.send(text="b").status, 200)
        self.assertEqual(wait_for_text(target, "b"), "b")


if __name__ == "__main__":
    support.main()
