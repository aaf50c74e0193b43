"""The desktop's portal, where the compositor gives nothing by itself: a stand-in for it on mutter without a screen."""

import base64
import json
import os
import struct
import subprocess
import sys
import threading
import unittest

import cairo

import support
from agent import Agent
from mutter_desktop import MutterDesktop
from support import APPS, ROOT, wait_for
from typing_targets import GtkTarget, wait_for_text

sys.path.insert(0, str(ROOT / "tests/mcp"))
from pipes import Bridge, text_of  # noqa: E402


class Portal(unittest.TestCase):
    def setUp(self):
        self.desktop = self.enterContext(MutterDesktop())
        self.picture = os.path.join(self.desktop.directory, "picture.png")
        cairo.ImageSurface(cairo.Format.RGB24, 64, 48).write_to_png(self.picture)

    def start_portal(self, answer, *more):
        portal = self.desktop.start(["/usr/bin/python3", str(APPS / "portal.py"), self.picture, answer, *more],
                                    stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.desktop.stop, portal)
        self.assertEqual(json.loads(portal.stdout.readline())["method"], "ready")
        return portal

    def screenshot(self):
        agent = Agent(self.desktop.start, self.desktop.directory)
        self.addCleanup(self.desktop.stop, agent.process)
        bridge = self.enterContext(Bridge(arguments=["--port", str(agent.port), "--token-file", agent.token_file],
                                          env=self.desktop.environment))
        return bridge.call("screenshot")

    def test_an_image_is_the_portals_and_its_file_does_not_stay(self):
        self.start_portal("yes")
        shot = self.screenshot()
        data = next(each for each in shot["content"] if each["type"] == "image")["data"]
        self.assertEqual(struct.unpack(">II", base64.b64decode(data)[16:24]), (64, 48))
        self.assertEqual([name for name in os.listdir(self.desktop.directory) if "ü" in name], [])

    def test_why_there_is_no_image(self):
        self.assertIn("has no portal", text_of(self.screenshot()))
        for answer, words in (("no", "The person did not let"), ("gone", "gave no image")):
            with self.subTest(answer):
                portal = self.start_portal(answer)
                shot = self.screenshot()
                self.assertTrue(shot["isError"])
                self.assertIn(words, text_of(shot))
                self.desktop.stop(portal)

    # -- keys

    def start_target(self):
        agent = Agent(self.desktop.start, self.desktop.directory)
        self.addCleanup(self.desktop.stop, agent.process)
        target = self.enterContext(GtkTarget(self.desktop))

        def is_shown():
            answer = agent.tree(target.process.pid)
            return answer.status == 200 and support.find(answer.json()["tree"], role="AXTextField")
        wait_for(is_shown, 20, "the application's window")
        return agent, target

    def send(self, agent, **fields):
        return agent.request("POST", "/keystrokes", {"delay_ms": 2, **fields}, timeout=60)

    def told(self, portal, method):
        """The next that the portal tells of a method."""
        while True:
            event = json.loads(portal.stdout.readline())
            if event["method"] == method:
                return event

    def test_keys_go_by_the_portal_which_remembers_what_the_person_allowed(self):
        portal = self.start_portal("yes", "2")
        for given in (None, "again"):
            agent, target = self.start_target()
            for text in ("Hello, ", "WORLD ü"):
                answer = self.send(agent, text=text)
                self.assertEqual(answer.status, 200, answer.body)
            self.assertEqual(wait_for_text(target, "Hello, WORLD ü"), "Hello, WORLD ü")
            options = self.told(portal, "SelectDevices")["options"]
            self.assertEqual((options["types"], options["persist_mode"], options.get("restore_token")), (3, 2, given))

    def test_a_person_who_says_no_is_not_asked_again_at_once(self):
        portal = self.start_portal("no")
        agent, target = self.start_target()
        for _ in range(2):
            answer = self.send(agent, text="x")
            self.assertEqual(answer.status, 500)
            self.assertIn("The person did not let", answer.json()["message"])
        portal.terminate()
        self.assertEqual([json.loads(line)["method"] for line in portal.stdout.read().splitlines()].count("Start"), 1)
        self.assertEqual(target.text(), "")

    def test_a_portal_that_fails_is_passed_over(self):
        self.start_portal("gone")
        agent, target = self.start_target()
        self.assertEqual(self.send(agent, text="x").status, 200)
        self.assertEqual(wait_for_text(target, "x"), "x")

    def test_a_portal_that_is_lost_fails_the_text_and_nothing_after_it(self):
        portal = self.start_portal("yes")
        agent, target = self.start_target()
        answers = []
        sender = threading.Thread(target=lambda: answers.append(self.send(agent, text="x" * 2000, delay_ms=5)))
        sender.start()
        wait_for(lambda: len(target.text()) > 50, 20, "some of the text")
        self.desktop.stop(portal)
        sender.join(15)
        self.assertEqual([answer.status for answer in answers], [500])
        self.start_portal("yes")
        target.clear()
        answer = self.send(agent, text="b")
        self.assertEqual(answer.status, 200, answer.body)
        self.assertEqual(wait_for_text(target, "b"), "b")


if __name__ == "__main__":
    support.main()
