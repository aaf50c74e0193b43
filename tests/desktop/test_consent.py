"""What the person allows or denies at the prompt of the example overlay service is what happens in the application."""

import json
import os
import stat
from concurrent.futures import ThreadPoolExecutor

import support
from overlay import DISCOVERY, press, start_overlay, wait_for_button
from support import DesktopTest
from agent import Agent


class Consent(DesktopTest):
    def setUp(self):
        super().setUp()
        self.home = self.desktop.environment["HOME"]
        self.overlay = start_overlay(self.desktop, self.home)
        self.agent = Agent(self.desktop.start, self.desktop.directory)  # one that finds the service
        self.app = self.start_acts()
        self.requests = self.enterContext(ThreadPoolExecutor())

    def ask(self, path, **body):
        """Sends a request and goes on; it is answered when the person has decided."""
        return self.requests.submit(self.agent.request, "POST", path, body, 70.0)

    def decide(self, label):
        press(self.desktop, self.agent, self.overlay, label)

    def test_the_person_decides(self):
        button = self.find_one(identifier="button")
        for label, status, body, clicks in (("Deny", 403, {"error": "consent_denied"}, 0),
                                            ("Allow", 200, {"ok": True, "method": "ax_press"}, 1)):
            with self.subTest(label):
                pending = self.ask("/ax/click", elementId=button["id"])
                wait_for_button(self.agent, self.overlay, label)
                self.assertEqual(self.app.all("clicked"), [], "nothing happens before the decision")
                self.decide(label)
                answer = pending.result()
                self.assertEqual((answer.status, answer.json()), (status, body))
                self.assertEqual(len(self.app.all("clicked")), clicks)
        # The keyboard stayed with the application all the while.
        pending = self.ask("/keystrokes", keys=["space"])
        self.decide("Allow")
        self.assertEqual(pending.result().status, 200)
        self.app.wait_for("clicked", widget="button")

    def test_a_service_that_has_ended_denies(self):
        path = os.path.join(self.home, DISCOVERY)
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o600)
        with open(path, encoding="utf-8") as file:
            token = json.load(file)["token"]
        for place in (f"/proc/{self.overlay.pid}/cmdline", f"/proc/{self.agent.process.pid}/cmdline"):
            with open(place, encoding="utf-8") as file:
                self.assertNotIn(token, file.read())
        pending = self.ask("/ax/click", elementId=self.find_one(identifier="button")["id"])
        wait_for_button(self.agent, self.overlay, "Allow")
        self.desktop.stop(self.overlay)
        self.assertFalse(os.path.exists(path))
        self.assertEqual(pending.result().status, 403)
        self.assertEqual(self.ask("/keystrokes", text="x").result().status, 403)
        self.assertEqual(self.app.all("clicked"), [])


if __name__ == "__main__":
    support.main()
