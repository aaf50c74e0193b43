#!/usr/bin/python3
"""Frames are where a mouse finds the elements: in each toolkit, at each scale, wherever the window is."""

import subprocess

from reporting import ReportingApp
from support import APPS, DesktopTest, find, main, wait_for

# Each form with what tells its toolkit the scale. "csd" draws its own title bar; "plain" gets the window manager's.
FORMS = (
    ("gtk3", "plain", "GDK_SCALE", (1, 2)),
    ("gtk3", "csd", "GDK_SCALE", (2,)),
    ("gtk4", "plain", "GDK_SCALE", (2,)),
    ("gtk4", "csd", "GDK_SCALE", (1, 2)),
    ("qt", "PyQt5", "QT_SCALE_FACTOR", (1, 1.5, 2)),
    ("qt", "PyQt6", "QT_SCALE_FACTOR", (1.5, 2)),
)


class Form:
    """A running form, whose clicks are made by the mouse and read in the application."""

    def __init__(self, test, name, kind, scale_variable, scale):
        self.test, self.scale = test, scale
        environment = {scale_variable: str(scale)} if scale != 1 else {}
        self.app = ReportingApp(test.desktop, [str(APPS / f"places_{name}.py"), kind], env=environment)

    def element(self, label):
        """An element that has a place."""
        def placed():
            tree = self.test.agent.tree(self.app.pid).json().get("tree")
            found = tree and find(tree, label=label)
            return found if found and "frame" in found else None
        return wait_for(placed, 15, f"the place of {label}")

    def check_area(self, label):
        """A click on the element hits the middle of the area, which is as large as the frame says."""
        element = self.element(label)
        answer = self.test.post("/ax/click", elementId=element["id"])
        self.test.assertEqual(answer.json().get("method"), "synthesized_click", answer.body)
        hit = self.app.wait_for("pressed", widget=label)
        what = (element, hit)
        for at, size in (("x", "width"), ("y", "height")):
            self.test.assertAlmostEqual(hit[at], hit[size] / 2, delta=1.5, msg=what)
            self.test.assertAlmostEqual(element["frame"][size], hit[size] * self.scale, delta=self.scale, msg=what)

    def choose(self, name):
        """Opens the menu and picks one of its items, by the mouse: the agent would use their actions."""
        for label in ("menu", name):
            frame = self.element(label)["frame"]
            with self.test.desktop.x() as display:
                display.click(round(frame["x"] + frame["width"] / 2), round(frame["y"] + frame["height"] / 2))
        self.app.wait_for("chosen", widget=name)

    def move(self, x, y):
        """Moves the first window, and waits until the agent has seen it there: it keeps trees for a second."""
        subprocess.run(["xdotool", "windowmove", str(self.app.window), str(x), str(y)], check=True,
                       env=self.test.desktop.environment)

        def moved():
            frame = self.element("Places")["frame"]
            return max(abs(frame["x"] - x), abs(frame["y"] - y)) < 60
        wait_for(moved, 10, "the window to be seen at its new place")


class Places(DesktopTest):
    def test_clicks_arrive_in_the_middle(self):
        for name, kind, scale_variable, scales in FORMS:
            for scale in scales:
                with self.subTest(form=name, kind=kind, scale=scale):
                    self.check(Form(self, name, kind, scale_variable, scale))

    def check(self, form):
        try:
            for at in ((33, 47), (601, 311)):
                form.move(*at)
                for label in ("first", "last"):
                    form.check_area(label)
            form.choose("Beta")
            form.app.do("second")
            for label in ("other first", "other last"):
                form.check_area(label)
        finally:
            self.desktop.stop(form.app.process)


if __name__ == "__main__":
    main()
