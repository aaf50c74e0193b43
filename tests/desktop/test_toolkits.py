"""Windows of every toolkit: read whole, read without harm, clicked and typed into, as they report it themselves."""

import os
import shutil
import subprocess
import sys
import threading
import unittest

import support
from reporting import ReportingApp
from support import APPS, ROOT, DesktopTest, find, resident_kib, state_of, wait_for, walk

sys.path.insert(0, str(ROOT / "tools/lib/zoo"))
from agent import Agent  # noqa: E402
from bindings import Bindings, compare  # noqa: E402
from private_desktop import PrivateDesktop  # noqa: E402

FORMS = {"GTK 3": ["gtk_form.py", "3"], "GTK 4": ["gtk_form.py", "4"],
         "Qt 5": ["qt_form.py", "5"], "Qt 6": ["qt_form.py", "6"]}
CHROMIUM = ["chromium", "--no-sandbox", "--no-first-run", "--disable-background-networking", "--disable-sync",
            "--disable-component-update", "--disable-gpu", "--no-default-browser-check", "--password-store=basic"]
PAGE = """<!doctype html><title>Busy page</title><input id=entry value="before" autofocus><p id=tick>Tick 0</p><ul></ul>
<script>let n = 0; setInterval(() => {
  document.getElementById("tick").textContent = "Tick " + ++n;
  document.querySelector("ul").innerHTML = "<li>Row</li>".repeat(n % 5);
  document.title = n + " " + document.getElementById("entry").value; }, 25)</script>"""
READS, WARM_UP = 200, 60
GROWTH_ALLOWED_KIB = 6 * 1024
SECRET = "secret"
TEXT = "Grüße, 5 € 漢字"


def setUpModule():
    """One desktop for all: the bindings know the one that they first saw, for as long as the process lives."""
    global desktop, agent, bindings
    desktop = PrivateDesktop()
    unittest.enterModuleContext(desktop)
    os.environ.update(desktop.environment)
    agent = Agent(desktop.start, desktop.directory)
    bindings = Bindings()


class Toolkits(DesktopTest):
    def setUp(self):
        self.desktop, self.agent = desktop, agent

    def start_form(self, toolkit):
        file, version = FORMS[toolkit]
        # Without a graphics processor GTK 4 would spend most of the test drawing.
        app = ReportingApp(desktop, [str(APPS / file), version], env={"GSK_RENDERER": "cairo"})
        self.addCleanup(desktop.stop, app.process)
        return app

    def test_forms_are_read_whole_clicked_and_typed_into(self):
        for toolkit in FORMS:
            app = self.start_form(toolkit)
            desktop.activate(app.window)
            self.wait_for_tree(app.pid, self.shows_button, "the form's tree")
            for check in (self.check_tree, self.check_mouse, self.check_click, self.check_type):
                with self.subTest(f"{toolkit}, {check.__name__}"):
                    check(app)
            desktop.stop(app.process)

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
                             ("Two", {"event": "switched", "widget": "radio"})):
            frame = wait_for(lambda name=label: find(self.tree(app.pid), label=name).get("frame"), 10, "a frame")
            with desktop.x() as display:
                display.click(int(frame["x"] + frame["width"] / 2), int(frame["y"] + frame["height"] / 2))
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

    def test_reading_harms_nothing_in_the_middle_of_its_work(self):
        apps = {toolkit: BusyForm(self, toolkit) for toolkit in FORMS}
        if shutil.which("chromium"):
            apps["Chromium"] = BusyPage(self)
        readers = [threading.Thread(target=app.read) for app in apps.values()]
        for reader in readers:
            reader.start()
        while any(reader.is_alive() for reader in readers):
            for app in apps.values():
                app.type_something()
        for toolkit, app in apps.items():
            with self.subTest(toolkit):
                self.assertEqual(app.faults, [])
                self.assertNotIn(state_of(app.pid), "ZX")
                app.check_work()
                self.assertLess(app.grown_kib, GROWTH_ALLOWED_KIB)


class Busy:
    """An application that is read two hundred times while it changes and is typed into."""

    def __init__(self, test, pid, window):
        self.test, self.pid, self.window = test, pid, window
        self.typed, self.faults, self.grown_kib = "", [], 0

    def read(self):
        try:
            fresh = before = 0
            while fresh < READS:
                self.between_reads(fresh)
                answer = agent.tree(self.pid)
                if answer.status != 200 or self.sign_of_life(answer.json()["tree"]) is None:
                    self.faults.append((fresh, answer.status, answer.body[:200]))
                    return
                fresh += answer.headers["X-Varkel-Cache"] == "MISS"
                if fresh == WARM_UP and not before:
                    before = resident_kib(self.pid)
            self.grown_kib = resident_kib(self.pid) - before
        except Exception as error:  # pylint: disable=broad-except
            self.faults.append(repr(error))

    def type_something(self):
        desktop.activate(self.window)
        answer = self.test.post("/keystrokes", text="abcdefg")
        self.test.assertEqual(answer.status, 200)
        self.typed += "abcdefg"


class BusyForm(Busy):
    def __init__(self, test, toolkit):
        self.app = test.start_form(toolkit)
        super().__init__(test, self.app.pid, self.app.window)
        desktop.activate(self.window)
        test.wait_for_tree(self.pid, self.sign_of_life, "the form's tree")
        self.notes = test.find_one(role="AXTextArea", valueRegex="^First line")
        test.assertEqual(agent.request("POST", "/batch/begin", {"batch_id": toolkit}).status, 200)
        self.toolkit, self.batch, self.written = toolkit, toolkit, ""
        self.app.do("tick")
        wait_for(lambda: self.app.do("look")["focused"] == ["entry"], 10, "the focus in the entry")

    sign_of_life = staticmethod(Toolkits.shows_button)

    def between_reads(self, fresh):
        """Does something to it, so that the next tree is read anew."""
        text = f"Before read {fresh}"
        body = {"elementId": self.notes["id"], "text": text, "batch_id": self.batch}
        answer = agent.request("POST", "/ax/type", body)
        if answer.status != 200:
            self.faults.append((fresh, answer.status, answer.body))
        self.written = text

    def check_work(self):
        look = wait_for(lambda: self.done(self.app.do("look")), 10, f"what was typed into {self.toolkit}")
        wait_for(lambda: self.app.do("look")["ticks"] > look["ticks"], 10, "the timer to come")

    def done(self, look):
        entry, notes = look["texts"]["entry"], look["texts"]["notes"]
        return look if entry in ("before" + self.typed, self.typed) and notes == self.written else None


class BusyPage(Busy):
    def __init__(self, test):
        page = os.path.join(desktop.directory, "busy.html")
        with open(page, "w", encoding="utf-8") as file:
            file.write(PAGE)
        process = desktop.start([*CHROMIUM, f"--user-data-dir={desktop.directory}/chromium", f"file://{page}"])
        test.addCleanup(desktop.stop, process)
        super().__init__(test, process.pid, desktop.wait_for_window(process, 60))
        desktop.activate(self.window)
        test.wait_for_tree(self.pid, self.sign_of_life, "the page's tree", 30)

    @staticmethod
    def sign_of_life(tree):
        return next((each for each in walk(tree)
                     if each["role"] == "AXTextField" and "before" in each.get("value", "")), None)

    def between_reads(self, fresh):
        pass  # what is done to the others makes the agent read it anew

    def title(self):
        command = ["xdotool", "getwindowname", str(self.window)]
        return subprocess.run(command, env=desktop.environment, capture_output=True, text=True, check=False).stdout

    def check_work(self):
        wait_for(lambda: self.typed in self.title(), 10, "the typed text in the title")


if __name__ == "__main__":
    support.main()
