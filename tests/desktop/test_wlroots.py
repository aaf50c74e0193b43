"""Compositors that list their windows for task bars and tell nothing else of them: phoc, and sway without its socket.

Every check reads what the applications have got."""

import functools
import os
import subprocess
import threading
import unittest
import unittest.mock

import support
from agent import Agent
from phoc_desktop import PhocDesktop
from reporting import ReportingApp
from sway_desktop import SwayDesktop
from support import APPS, wait_for
from typing_targets import FileTarget, FormTarget, wait_for_text

TEXT = "Grüße, 5 € 漢字 😀 "
# What the toolkits call the test's program to the compositor.
NAMES = {"gtk3": "text_form.py", "qt5": "python3"}


class Listed:
    def setUp(self):
        self.desktop = self.enterContext(self.make_desktop())
        self.environment = {name: value for name, value in self.desktop.environment.items() if name != "SWAYSOCK"}
        with unittest.mock.patch.object(self.desktop, "environment", self.environment):
            self.agent = Agent(self.desktop.start, self.desktop.directory)

    def send(self, **fields):
        return self.agent.request("POST", "/keystrokes", {"delay_ms": 2, **fields}, timeout=60)

    def root_id(self, pid=None):
        answer = self.agent.tree(pid)
        tree = answer.json().get("tree") if answer.status == 200 else None
        return tree["id"] if tree and support.find(tree, role="AXTextArea") else None

    def await_front(self, target):
        pid = target.process.pid
        wait_for(lambda: self.root_id(pid) and self.root_id(pid) == self.root_id(), 20, "the window to be in front")

    def start_target(self, toolkit):
        target = self.enterContext(FormTarget(self.desktop, toolkit))
        target.name = NAMES[toolkit]
        self.await_front(target)
        return target

    def assert_types(self, target, expected, **fields):
        answer = self.send(text=TEXT, **fields)
        self.assertEqual(answer.status, 200, answer.body)
        self.assertEqual(wait_for_text(target, expected), expected)

    def test_texts_reach_the_window_that_they_are_for_and_no_other_one(self):
        gtk, qt = self.start_target("gtk3"), self.start_target("qt5")
        self.assert_types(qt, TEXT)
        self.assert_types(gtk, TEXT, app_bundle_id=gtk.name)
        self.assert_types(qt, TEXT * 2, app_bundle_id=qt.name)
        # The person turns to the other window in the middle of a text.
        qt.clear()
        answers = []
        sender = threading.Thread(target=lambda: answers.append(self.send(text=TEXT * 40, delay_ms=1)))
        sender.start()
        try:
            wait_for(lambda: len(qt.text()) > 10, 20, "some of the text")
            self.switch_to(gtk)
        finally:
            sender.join()
        self.assertEqual(answers[0].status, 500, answers[0].body)
        self.assertIn("Another window", answers[0].json()["message"])
        self.await_front(gtk)
        self.assertEqual(gtk.text(), TEXT)
        self.assertTrue((TEXT * 40).startswith(qt.text()), qt.text())
        self.assert_types(gtk, TEXT * 2, app_bundle_id=gtk.name)

    def test_a_program_that_is_launched_gets_the_first_keys(self):
        target = FileTarget(os.path.join(self.desktop.directory, "typed"))
        support.add_desktop_entry(self.desktop, "org.example.Form", "Form",
                                  f"/usr/bin/python3 {APPS}/text_form.py gtk3 {target.path}")
        self.assert_types(target, TEXT, app_bundle_id="org.example.Form")
        self.assertEqual(self.send(app_bundle_id="org.example.None", text=TEXT).status, 404)

    def test_a_compositor_that_ends_and_another_one_in_its_place(self):
        with FormTarget(self.desktop, "gtk3") as target:
            self.await_front(target)
            self.assert_types(target, TEXT)
            self.desktop.stop(self.desktop.compositor)
            self.assertEqual(self.send(text=TEXT).status, 500)
        self.desktop.start_compositor()
        self.assert_types(self.start_target("qt5"), TEXT)

    def test_permissions_tells_what_there_is(self):
        said = subprocess.run([support.binary_path(), "permissions", "--no-prompt"], env=self.environment,
                              capture_output=True, text=True, timeout=30, check=False).stdout
        self.assertIn("screen_recording=granted\nsession=Wayland\nhint_windows=", said)


class Phoc(Listed, unittest.TestCase):
    make_desktop = PhocDesktop

    def switch_to(self, _target):
        self.desktop.switch_window()


class SwayWithoutItsSocket(Listed, unittest.TestCase):
    make_desktop = staticmethod(functools.partial(SwayDesktop, xwayland=True))

    def switch_to(self, target):
        self.desktop.activate(target.window)

    def test_x11_programs_are_where_their_x_server_says(self):
        app = ReportingApp(self.desktop, [str(APPS / "gtk_form.py"), "3", "few"], env={"GDK_BACKEND": "x11"})
        self.addCleanup(self.desktop.stop, app.process)
        self.desktop.move(app.window, 201, 117)

        def button():
            tree = self.agent.tree(app.pid).json().get("tree", {})
            frame = support.find(tree, label="Count me").get("frame") if tree else None
            return frame if frame and frame["x"] == 201 else None
        frame = wait_for(button, 10, "the button at its place")
        self.assertEqual(self.send(text=TEXT).status, 200)
        wait_for(lambda: app.do("look")["texts"]["entry"] == TEXT, 10, "the text")
        self.desktop.click(frame["x"] + 2, frame["y"] + 2)
        app.wait_for("clicked", widget="button")


del Listed

if __name__ == "__main__":
    support.main()
