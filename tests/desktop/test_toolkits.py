"""Windows of every toolkit: read whole, clicked and typed into, as they report it themselves."""

import os
import sys
import unittest

import support
from reporting import ReportingApp
from support import APPS, DESKTOP, ROOT, DesktopTest, find, needs_windows, new_desktop, wait_for

sys.path.insert(0, str(ROOT / "tools/lib/zoo"))
from agent import Agent  # noqa: E402
from bindings import Bindings, compare  # noqa: E402

FORMS = {"GTK 3": ["gtk_form.py", "3"], "GTK 4": ["gtk_form.py", "4"],
         "Qt 5": ["qt_form.py", "5"], "Qt 6": ["qt_form.py", "6"]}
# With what tells each toolkit a scale; "csd" has it draw its own title bar.
SCALED = (("GTK 3", [], {"GDK_SCALE": "2"}), ("GTK 3", ["csd"], {"GDK_SCALE": "2"}), ("GTK 4", [], {"GDK_SCALE": "2"}),
          ("GTK 4", ["csd"], {"GDK_SCALE": "2"}), ("Qt 5", [], {"QT_SCALE_FACTOR": "1.5"}),
          ("Qt 6", [], {"QT_SCALE_FACTOR": "2"}))
SECRET = "secret"
TEXT = "Grüße, 5 € 漢字"


def setUpModule():
    """One desktop for all: the bindings know the one that they first saw, for as long as the process lives."""
    global desktop, agent, bindings
    desktop = new_desktop()
    unittest.enterModuleContext(desktop)
    os.environ.update(desktop.environment)
    agent = Agent(desktop.start, desktop.directory)
    bindings = Bindings()


class Toolkits(DesktopTest):
    def setUp(self):
        self.desktop, self.agent = desktop, agent

    def start_form(self, toolkit, options=(), environment=None):
        file, version = FORMS[toolkit]
        # Without a graphics processor GTK 4 would spend most of the test drawing.
        app = ReportingApp(desktop, [str(APPS / file), version, *options],
                           env={"GSK_RENDERER": "cairo", **(environment or {})})
        self.addCleanup(desktop.stop, app.process)
        return app

    def test_forms_are_read_whole_clicked_and_typed_into(self):
        for toolkit in FORMS:
            app = self.start_form(toolkit)
            desktop.activate(app.window)
            self.wait_for_tree(app.pid, self.shows_button, "the form's tree")
            checks = [self.check_tree, self.check_click, self.check_type]
            for check in checks + [self.check_mouse] * DESKTOP.tells_windows:
                with self.subTest(f"{toolkit}, {check.__name__}"):
                    check(app)
            desktop.stop(app.process)

    @needs_windows
    def test_frames_are_where_the_mouse_finds_the_elements_at_any_scale_and_place(self):
        for toolkit, options, environment in SCALED:
            with self.subTest(toolkit=toolkit, options=options):
                app = self.start_form(toolkit, ["few", *options], environment)
                desktop.activate(app.window)
                for x, y in ((33, 47), (301, 111)):
                    desktop.move(app.window, x, y)
                    # The agent keeps trees for a second, and has to have seen the window there.
                    self.wait_for_tree(app.pid, lambda tree, at=(x, y): self.is_at(tree, *at), "the window's new place")
                    self.check_mouse(app)
                desktop.stop(app.process)

    @staticmethod
    def is_at(tree, x, y):
        frame = (find(tree, role="AXWindow") or {}).get("frame")
        return frame and abs(frame["x"] - x) < 60 and abs(frame["y"] - y) < 60

    @staticmethod
    def shows_button(tree):
        return find(tree, role="AXButton", label="Count me")

    def check_tree(self, app):
        """The tree has what the bindings find, in their order."""
        comparison, _ = compare(agent, bindings, app.pid)
        self.assertIsNotNone(comparison)
        self.assertEqual((str(comparison), comparison.examples), ("", []))
        tree = self.tree(app.pid)
        for known in ({"role": "AXCheckBox", "label": "Remember me", "enabled": True},
                      {"role": "AXButton", "label": "Not now", "enabled": False},
                      {"role": "AXTextField", "value": "before"},
                      {"role": "AXTextArea", "value": "First line\nSecond line"}):
            self.assertIsNotNone(find(tree, **known), known)
        self.assertNotIn(SECRET, str(tree))

    def check_mouse(self, app):
        """A mouse click, past the agent, in the middle of an element's frame arrives there."""
        for label, event in (("Count me", {"event": "clicked", "widget": "button"}),
                             ("Remember me", {"event": "switched", "widget": "box"})):
            frame = wait_for(lambda name=label: find(self.tree(app.pid), label=name).get("frame"), 10, "a frame")
            desktop.click(int(frame["x"] + frame["width"] / 2), int(frame["y"] + frame["height"] / 2))
            app.wait_for(**event)

    def check_click(self, app):
        for element, event in (
                ({"role": "AXButton", "label": "Count me"}, {"event": "clicked", "widget": "button"}),
                ({"role": "AXCheckBox", "label": "Remember me"}, {"event": "switched", "widget": "box", "on": True})):
            before = len([each for each in app.all(event["event"]) if each == event])
            answer = self.post("/ax/click", elementId=self.find_one(**element)["id"])
            self.assertEqual(answer.status, 200, answer.body)
            app.wait_for(**event)
            self.assertEqual(len([each for each in app.all(event["event"]) if each == event]), before + 1)

    def check_type(self, app):
        for name, query in (("entry", {"role": "AXTextField", "valueRegex": "^before$"}),
                            ("notes", {"role": "AXTextArea", "valueRegex": "^First line"})):
            answer = self.post("/ax/type", elementId=self.find_one(**query)["id"], text=TEXT)
            self.assertEqual(answer.status, 200, answer.body)
            wait_for(lambda field=name: app.do("look")["texts"][field] == TEXT, 10, f"the text in {name}")


if __name__ == "__main__":
    support.main()
