"""Outputs with a scale, turned ones and several, on sway: where frames are, where the pointer goes, what images show."""

import base64
import contextlib
import itertools
import os
import subprocess
import sys
import unittest

import support
from agent import Agent
from reporting import ReportingApp
from sway_desktop import SwayDesktop
from support import APPS, ROOT, find, wait_for

sys.path.insert(0, str(ROOT / "tests/mcp"))
from pipes import Bridge  # noqa: E402
from test_mcp import decode  # noqa: E402

SECOND = "output HEADLESS-2 mode 800x1000 enable"
# What is told to sway, and where a window is put: 400 x 300 units there are on one output.
CASES = (
    ("scale 1.5", ("output HEADLESS-1 scale 1.5",), (203, 101)),
    ("scale 2", ("output HEADLESS-1 scale 2",), (51, 33)),
    ("turned", ("output HEADLESS-1 transform 90",), (301, 707)),
    ("turned the other way, scale 2", ("output HEADLESS-1 scale 2 transform 270",), (17, 205)),
    ("on its head", ("output HEADLESS-1 transform 180",), (620, 91)),
    ("mirrored", ("output HEADLESS-1 transform flipped-90",), (301, 707)),
    ("right of another one, scale 2", (f"{SECOND} position 1280 40 scale 2",), (1281, 77)),
    ("left of another one, turned", (f"{SECOND} position -1000 -40 transform 90",), (-707, 201)),
    ("above another one that is turned", ("output HEADLESS-1 transform 90 position 0 400", f"{SECOND} position 70 0 scale 2.5"),
     (80, 27)),
)
FORMS = (("gtk_form.py", "3"), ("gtk_form.py", "4"), ("qt_form.py", "5"), ("qt_form.py", "6"))
COLOURS = {"red": (255, 0, 0), "lime": (0, 255, 0), "blue": (0, 0, 255), "magenta": (255, 0, 255)}


class Outputs(unittest.TestCase):
    def setUp(self):
        self.desktop = self.enterContext(SwayDesktop())
        self.desktop.command("create_output")
        self.desktop.command("output HEADLESS-2 disable")
        self.agent = Agent(self.desktop.start, self.desktop.directory)
        program = os.environ.get("VARKEL_POST_EVENTS") or str(ROOT / "build/release/tests/desktop/post_events")
        self.poster = self.desktop.start([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.desktop.stop, self.poster)
        self.bridge = self.enterContext(Bridge(
            arguments=["--port", str(self.agent.port), "--token-file", self.agent.token_file], env=self.desktop.environment))

    @contextlib.contextmanager
    def outputs(self, name, commands):
        with self.subTest(name):
            for command in commands:
                self.desktop.command(command)
            yield
        self.desktop.command("output HEADLESS-2 disable")
        self.desktop.command("output HEADLESS-1 scale 1 transform normal position 0 0")

    def elements_at(self, pid, place, *labels):
        """The elements with these labels, once their window is at a place."""
        def found():
            answer = self.agent.tree(pid)
            tree = answer.json().get("tree") if answer.status == 200 else None
            frame = (find(tree, role="AXWindow") or {}).get("frame") if tree else None
            there = frame and abs(frame["x"] - place[0]) < 60 and abs(frame["y"] - place[1]) < 60
            elements = [find(tree, label=label) for label in labels] if there else []
            return elements if elements and all(each and "frame" in each for each in elements) else None
        return wait_for(found, 10, f"the window at {place}")

    def click(self, x, y):
        """By the agent's pointer."""
        self.poster.stdin.write(f"click {x} {y}\n")
        self.poster.stdin.flush()
        self.assertEqual(self.poster.stdout.readline(), "done\n")

    def test_elements_are_where_both_pointers_find_them(self):
        apps = []
        for command in FORMS:
            apps.append(ReportingApp(self.desktop, [str(APPS / command[0]), *command[1:], "few"], env={"GSK_RENDERER": "cairo"}))
            self.addCleanup(self.desktop.stop, apps[-1].process)
        for (name, commands, place), app in itertools.product(CASES, apps):
            with self.outputs(f"{app.process.args[1:3]}, {name}", commands):
                self.desktop.activate(app.window)
                self.desktop.move(app.window, *place)
                button, = self.elements_at(app.pid, place, "Count me")
                frame = button["frame"]
                right, bottom = frame["x"] + frame["width"] - 3, frame["y"] + frame["height"] - 3
                for click, x, y in ((self.desktop.click, frame["x"] + 2, frame["y"] + 2), (self.click, right, bottom)):
                    click(x, y)
                    app.wait_for("clicked", 5, widget="button")

    def test_images_show_what_is_there(self):
        process = self.desktop.start(["/usr/bin/python3", str(APPS / "colours.py")])
        self.addCleanup(self.desktop.stop, process)
        window = self.desktop.wait_for_window(process)
        for name, commands, place in CASES:
            with self.outputs(name, commands):
                self.check_images(process, window, place)

    def shot(self, element):
        """The image of an element: its width, its height and its pixels."""
        shot = self.bridge.call("screenshot", elementId=element["id"])
        self.assertFalse(shot.get("isError"), shot)
        width, height, pixels = decode(base64.b64decode(shot["content"][0]["data"]))
        self.assertEqual((width, height), (element["frame"]["width"], element["frame"]["height"]))
        return width, height, pixels

    def check_images(self, process, window, place):
        # Without a graphics processor the pointer is part of what is shown.
        left, top, width, height = self.desktop.layout()
        self.desktop.click(left + width - 1, top + height - 1)
        self.desktop.activate(window)
        self.desktop.move(window, *place)
        *elements, around = self.elements_at(process.pid, place, *COLOURS, "colours")

        def quarters():
            width, height, pixels = self.shot(around)
            return [pixels[height * y // 4 * width + width * x // 4] for y in (1, 3) for x in (1, 3)]
        # On its side or its head it would show others. What is shown lags behind what is told.
        wait_for(lambda: quarters() == list(COLOURS.values()), 5, "the window's image")
        for element in elements:
            width, height, pixels = self.shot(element)
            inner = {pixels[y * width + x] for y in range(1, height - 1) for x in range(1, width - 1)}
            self.assertEqual(inner, {COLOURS[element["label"]]})


if __name__ == "__main__":
    support.main()
