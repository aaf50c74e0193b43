"""What is special about a Wayland desktop: keys go to one window only, and the compositor may go or stop."""

import os
import signal
import subprocess
import threading
import time
import unittest

import support
from agent import Agent
from chromium import CHROMIUM
from reporting import ReportingApp
from sway_desktop import SwayDesktop
from support import APPS, wait_for
from typing_targets import FileTarget, GtkTarget, wait_for_text

TEXT = "Grüße, 5 € 漢字 😀 "


class Wayland(unittest.TestCase):
    xwayland = False

    def setUp(self):
        self.desktop = self.enterContext(SwayDesktop(xwayland=self.xwayland))
        self.agent = Agent(self.desktop.start, self.desktop.directory)

    def send(self, agent=None, **fields):
        return (agent or self.agent).request("POST", "/keystrokes", {"delay_ms": 2, **fields}, timeout=60)

    def target(self, **environment):
        target = GtkTarget(self.desktop, **environment)
        return self.enterContext(target)

    def send_until(self, target, hindrance, text=TEXT * 20, agent=None):
        """Sends a text, and in the middle of it calls `hindrance`; gives the answer and how long it took from then."""
        target.clear()
        answers = []
        sender = threading.Thread(target=lambda: answers.append(self.send(agent, text=text, delay_ms=10)))
        sender.start()
        try:
            wait_for(lambda: len(target.text()) > 10, 20, "some of the text")
            hindrance()
            began = time.monotonic()
        finally:
            sender.join()
        return answers[0], time.monotonic() - began

    def assert_types(self, target, agent=None):
        target.clear()
        answer = self.send(agent, text=TEXT)
        self.assertEqual(answer.status, 200, answer.body)
        self.assertEqual(wait_for_text(target, TEXT), TEXT)


class Keys(Wayland):
    def test_no_text_reaches_another_window_that_comes_to_the_front(self):
        first, other = self.target(), self.target()
        self.desktop.activate(first.window)
        answer, _ = self.send_until(first, lambda: self.desktop.activate(other.window))
        self.assertEqual(answer.status, 500, answer.body)
        self.assertIn("Another window", answer.json()["message"])
        self.assertEqual(other.text(), "")
        self.assertEqual(self.desktop.active_window(), other.window)
        typed = first.text()
        self.assertTrue(0 < len(typed) < len(TEXT * 20) and (TEXT * 20).startswith(typed), typed)
        # The keyboard is free for the next one.
        self.assert_types(other)

    def test_the_first_keyboard_and_pointer_of_a_desktop_lose_nothing(self):
        target = self.target()
        self.desktop.unplug_devices()
        self.assert_types(target)

    def test_a_program_that_is_launched_gets_a_token_and_the_first_keys(self):
        target = FileTarget(os.path.join(self.desktop.directory, "typed"))
        support.add_desktop_entry(self.desktop, "org.example.Form", "Form",
                                  f"/usr/bin/python3 {APPS}/text_form.py gtk3 {target.path}")
        self.assertEqual(self.send(app_bundle_id="org.example.Form", text=TEXT).status, 200)
        self.assertEqual(wait_for_text(target, TEXT), TEXT)
        view, = self.desktop.views()
        with open(f"/proc/{view['pid']}/environ", encoding="utf-8") as file:
            self.assertRegex(file.read(), "\0XDG_ACTIVATION_TOKEN=.")

    def test_a_terminal_gets_every_character_under_every_layout(self):
        path = os.path.join(self.desktop.directory, "typed")
        foot = self.desktop.start(["foot", "sh", "-c", f"stty -echo; exec cat > {path}"])
        self.desktop.activate(self.desktop.wait_for_window(foot))
        wait_for(lambda: os.path.exists(path), 10, "the terminal's program")
        expected = ""
        for layout in ("us", "de", "fr"):
            with self.subTest(layout):
                self.desktop.set_layout(layout)
                expected += TEXT + "\n"
                self.assertEqual(self.send(text=TEXT + "\n").status, 200)
                self.assertEqual(wait_for_text(FileTarget(path), expected), expected)


class Loss(Wayland):
    def test_an_application_that_reads_nothing_lives_on(self):
        """Its compositor ends one whose socket is full."""
        target = self.target()
        self.assert_types(target)
        os.kill(target.process.pid, signal.SIGSTOP)
        try:
            answer = self.send(text=TEXT * 40, delay_ms=1)
        finally:
            os.kill(target.process.pid, signal.SIGCONT)
        self.assertEqual(answer.status, 500, answer.body)
        self.assertIn("does not read", answer.json()["message"])
        wait_for(lambda: target.text().startswith(TEXT * 3), 10, "what it was sent")
        self.assert_types(target)

    def test_a_compositor_that_stops_ends_the_text_and_works_again(self):
        target = self.target()
        sway = self.desktop.compositor.pid
        try:
            answer, seconds = self.send_until(target, lambda: os.kill(sway, signal.SIGSTOP))
            self.assertEqual(answer.status, 500, answer.body)
            self.assertLess(seconds, 6)
            # What it is asked meanwhile fails as soon.
            answer = self.send(text="lost")
            self.assertEqual(answer.status, 500, answer.body)
            self.assertLess(answer.seconds, 6)
        finally:
            os.kill(sway, signal.SIGCONT)
        wait_for(lambda: self.agent.tree().status in (200, 500), 10, "an answer")
        self.assert_types(target)
        # A key that had been down would have repeated itself.
        self.assertEqual(target.text(), TEXT)

    def test_a_compositor_that_ends_and_another_one_in_its_place(self):
        with GtkTarget(self.desktop) as target:
            answer, seconds = self.send_until(target, self.desktop.compositor.kill)
            self.assertEqual(answer.status, 500, answer.body)
            self.assertLess(seconds, 6)
        self.desktop.stop(self.desktop.compositor)
        self.desktop.start_compositor()
        self.assert_types(self.target())

    def test_without_its_socket_no_key_is_sent_and_with_it_again(self):
        target = self.target()
        path = self.desktop.environment["SWAYSOCK"]
        os.rename(path, path + ".away")
        try:
            agent = Agent(self.desktop.start, self.desktop.directory)
            answer = self.send(agent, text=TEXT)
            self.assertEqual(answer.status, 500, answer.body)
            said = subprocess.run([support.binary_path(), "permissions", "--no-prompt"], env=self.desktop.environment,
                                  capture_output=True, text=True, timeout=30, check=False).stdout
            self.assertIn("SWAYSOCK", said)
        finally:
            os.rename(path + ".away", path)
        self.assertEqual(target.text(), "")
        self.assert_types(target, agent)


PAGE = """<!doctype html><title>page</title><button style="position: absolute; left: 120px; top: 80px; width: 200px;
height: 60px" onclick="document.title = 'clicked'">Press here</button>"""


class Places(Wayland):
    def test_what_is_on_a_page_of_chromium_is_clicked_where_it_is(self):
        """Chromium draws a shadow of its own around its window, and counts from the shadow's corner."""
        page = os.path.join(self.desktop.directory, "page.html")
        with open(page, "w", encoding="utf-8") as file:
            file.write(PAGE)
        process = self.desktop.start([*CHROMIUM, "--ozone-platform=wayland",
                                      f"--user-data-dir={self.desktop.directory}/profile", f"file://{page}"])
        window = self.desktop.wait_for_window(process, 60)
        self.desktop.activate(window)
        self.desktop.move(window, 60, 40)

        def button():
            tree = self.agent.tree(process.pid).json()["tree"]
            return (support.find(tree, role="AXButton", label="Press here") or {}).get("frame")
        # The agent keeps trees for a second, and has to have seen the window at its place.
        frame = wait_for(lambda: (button() or {"x": 0})["x"] == 180 and button(), 30, "the button at its place")
        self.assertEqual((frame["width"], frame["height"]), (200, 60))
        self.desktop.click(frame["x"] + 1, frame["y"] + 1)
        wait_for(lambda: self.desktop.view(window)["name"].startswith("clicked"), 10, "the click on the button's corner")


class Xwayland(Wayland):
    xwayland = True

    def test_x11_programs_are_typed_into_and_clicked_where_they_are(self):
        app = ReportingApp(self.desktop, [str(APPS / "gtk_form.py"), "3", "few"], env={"GDK_BACKEND": "x11"})
        self.addCleanup(self.desktop.stop, app.process)
        self.desktop.activate(app.window)
        self.assertEqual(self.desktop.view(app.window)["shell"], "xwayland")
        for x, y in ((33, 47), (301, 111)):
            self.desktop.move(app.window, x, y)
            left, top = self.desktop.geometry(app.window)[:2]

            def button(left=left, top=top):
                tree = self.agent.tree(app.pid).json()["tree"]
                window, found = support.find(tree, role="AXWindow"), support.find(tree, label="Count me")
                at_its_place = window and (window.get("frame", {}).get("x"), window["frame"]["y"]) == (left, top)
                return found if at_its_place and found else None
            frame = wait_for(button, 10, "the window's new place")["frame"]
            self.desktop.click(frame["x"] + frame["width"] / 2, frame["y"] + frame["height"] / 2)
            app.wait_for("clicked", widget="button")

    def test_x11_programs_get_every_character(self):
        target = self.target(GDK_BACKEND="x11")
        for layout in ("us", "de", "fr"):
            self.desktop.set_layout(layout)
            self.assert_types(target)


del Wayland

if __name__ == "__main__":
    support.main()
