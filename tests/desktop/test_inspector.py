"""The inspector's page in a real browser, worked by the agent through the page's own accessibility tree.

There are two agents: the test has one find, type and press in the page, and the page has the other act on an application.
One alone would have them read each other's trees, which it keeps for a second by the application in front. What came of
the acts is read in the application."""

import os
import re
import select
import signal
import socket
import urllib.parse
import urllib.request
from pathlib import Path

import support
from support import APPS, DesktopTest, wait_for

from agent import Agent
from chromium import CHROMIUM
from inspector import start_inspector
from reporting import ReportingApp

HOSTILE = "<img src=x onerror=\"document.title='taken'\"><script>document.title='taken'</script>"
# Beside the applications, which wheels and clicks at a place must reach.
PLACE = "--window-position=410,0", "--window-size=870,900"
SCREEN_WIDTH = 1280


class InspectorTest(DesktopTest):
    def setUp(self):
        super().setUp()
        shown = Agent(self.desktop.start, self.desktop.directory)
        _, address = start_inspector(self.desktop.start, shown, "--no-browser")
        browser = self.desktop.start([*CHROMIUM, *PLACE, f"--user-data-dir={self.desktop.directory}/profile", address])
        self.browser = self.desktop.wait_for_window(browser, 60)
        self.desktop.activate(self.browser)
        wait_for(lambda: self.page("/batch/begin").status == 200, 10, "a batch for the browser")
        self.shown("elements, read in|browser that shows this page")

    # -- the page, as the agent sees it

    def page(self, path, **body):
        return self.post(path, 60, batch_id="page", **body)

    def all_in_page(self, **query):
        answer = self.page("/ax/find", maxResults=1000, **query)
        return answer.json()["matches"] if answer.status == 200 else []

    def in_page(self, **query):
        return wait_for(lambda: self.all_in_page(**query), 30, f"{query} in the page")[0]

    def shown(self, pattern):
        """Waits for a text in the page, and gives it."""
        return self.in_page(role="AXStaticText", valueRegex=pattern)["value"]

    def press(self, label, role="AXButton"):
        answer = self.page("/ax/click", elementId=self.in_page(role=role, label=label)["id"])
        self.assertEqual(answer.json(), {"ok": True, "method": "ax_press"}, label)

    def fill(self, label, text):
        def filled():
            field = self.in_page(role="AXTextField", label=label)
            return self.page("/ax/type", elementId=field["id"], text=text).status == 200
        wait_for(filled, 15, f"the field {label}")

    def start_chosen(self, title):
        """An application that the page has taken, as a person has it do who works the page first."""
        app = ReportingApp(self.desktop, [str(APPS / "acts_app.py"), title])
        self.run_tool("xdotool", "windowmove", app.window, 0, 0)
        self.desktop.activate(self.browser)
        self.press("Choose the application")
        self.shown("Bring the application to the front")
        self.desktop.activate(app.window)
        self.shown("elements, read in")
        self.shown("^acts_app.py, chosen$")
        self.desktop.activate(self.browser)
        tree = self.tree(app.pid)
        return app, tree, support.find(tree, label="Count me")

    def select(self, count=1, **query):
        """Finds an element with the page's search line and selects it."""
        self.press("Clear search")
        for name, text in query.items():
            self.fill(f"Search {name}", text)
        self.shown(f"^{count} found")
        self.press("Next match")

    def selected(self):
        """The id that the page shows of the selected element."""
        return self.shown("^[0-9a-f]{16}$")

    # -- what a person does with it

    def test_elements_are_found_and_worked(self):
        app, _, button = self.start_chosen(HOSTILE)
        self.select(label="Count me")
        self.assertEqual(self.selected(), button["id"])
        self.shown(r'^\{"label":"Count me"\}$')
        self.press("Copy search, checked")
        self.shown("^checked: finds it alone$")
        self.shown("^Copied the search.$")
        self.press("Click element")
        app.wait_for("clicked", widget="button")
        self.shown(r'^200 in \d+ ms: \{"ok":true,"method":"ax_press"\}$')

        self.select(identifier="entry", valueRegex="^bef")
        self.fill("Text to type", "Größe 5 €")
        self.press("Type text")
        app.wait_for("changed", widget="entry", text="Größe 5 €")
        self.shown(r'^changed AXTextField "entry" = "Größe 5 €" \(value was "before"')

        self.select(role="AXScrollArea")
        self.press("Scroll element")
        app.wait_for("scrolled")

        self.fill("Keys", "space")
        self.desktop.activate(app.window)
        self.press("Press keys")
        app.wait_for("clicked", widget="button")
        self.shown(r'^POST /keystrokes \{"keys":\["space"\],"app_name":"acts_app.py"\}$')
        # What an application calls itself is shown, and nothing else becomes of it.
        self.select(role="AXWindow", label="onerror")
        self.shown(f"^{re.escape(HOSTILE)}$")
        self.assertEqual([each["label"] for each in self.all_in_page(role="AXImage", label="Screen")], ["Screen"])
        self.assertTrue(self.all_in_page(role="AXWindow", label="varkel-inspector"), "the page's title has changed")

    def test_the_mouse_and_the_keyboard(self):
        app, tree, button = self.start_chosen("Acts")

        def rows():
            return len(self.all_in_page(role="AXStaticText", label="POST /"))

        image, frame = self.in_page(label="Screen")["frame"], button["frame"]
        scale = image["width"] / SCREEN_WIDTH
        place = [image["x"] + (frame["x"] + frame["width"] / 2) * scale,
                 image["y"] + (frame["y"] + frame["height"] / 2) * scale]
        before = rows()
        for step in range(20):
            self.point(place[0] - 20 + step, place[1])
        self.assertEqual(rows(), before)
        self.point(*place)
        self.run_tool("xdotool", "click", 1)
        self.assertEqual(self.selected(), button["id"])
        self.assertEqual(rows(), before)

        self.agent.request("POST", "/keystrokes", {"keys": ["t", "home", "down"]})
        self.shown(f"^{support.find(tree, role='AXWindow')['id']}$")
        self.agent.request("POST", "/keystrokes", {"keys": ["left", "right", "end", "home"]})
        self.shown(f"^{tree['id']}$")

        self.press("every second", role="AXCheckBox")
        app.do("rename")
        self.shown("^Count me no more$")
        self.press("every second", role="AXCheckBox")

        self.press("Recognise lines and barcodes")
        self.shown(r"^Count me no more \(confidence [01]\.\d\d\)$")
        self.fill("Text in the image", "count ME")
        self.press("Find in the image")
        self.shown(r"Count me no more \(score [01]\.\d\d\)$")

    def point(self, x, y):
        self.run_tool("xdotool", "mousemove", round(x), round(y))


class StartOfTheBrowser(DesktopTest):
    """The person's browser is a script here, which tells how it was started."""

    def test_the_key_is_in_a_private_file_until_it_is_used(self):
        environment, told = self.desktop.environment, os.path.join(self.desktop.directory, "told")
        script = os.path.join(self.desktop.directory, "browser")
        with open(script, "w", encoding="ascii") as file:
            file.write(f'#!/bin/sh\necho "$1 token=$QUELLAN_VARKEL_SIDECAR_TOKEN" >{told}.new\nmv {told}.new {told}\n')
        os.chmod(script, 0o755)
        support.add_desktop_entry(self.desktop, "script", "Script", f"{script} %u", "MimeType=text/html;")
        with open(os.path.join(environment["XDG_CONFIG_HOME"], "mimeapps.list"), "w", encoding="ascii") as file:
            file.write("[Default Applications]\ntext/html=script.desktop\n")
        environment["QUELLAN_VARKEL_SIDECAR_TOKEN"] = "secret"
        program, address = start_inspector(self.desktop.start, self.agent)
        wait_for(lambda: os.path.exists(told), 20, "the browser to be started")
        opened, _, token = Path(told).read_text(encoding="utf-8").strip().partition(" ")
        self.assertEqual(token, "token=")
        path = opened.removeprefix("file://")
        self.assertEqual(os.stat(path).st_mode & 0o777, 0o600)
        self.assertIn(f"url={address}", Path(path).read_text(encoding="utf-8"))
        with urllib.request.urlopen(address, timeout=10) as entered:
            cookie = entered.headers["Set-Cookie"]
        wait_for(lambda: not os.path.exists(path), 10, "the file to go")

        # It ends at once, also while the agent keeps a request waiting.
        self.agent.process.send_signal(signal.SIGSTOP)
        wait_for(lambda: support.state_of(self.agent.process.pid) == "T", 10, "the agent to stop")
        host = urllib.parse.urlsplit(address).netloc
        with socket.create_connection(host.split(":")) as page:
            below = re.search("Path=([^;]+)", cookie)[1]
            page.sendall(f"POST {below}agent/ax/tree HTTP/1.1\r\nHost: {host}\r\nOrigin: http://{host}\r\n"
                         f"Cookie: {cookie.partition(';')[0]}\r\nContent-Length: 2\r\n\r\n{{}}".encode())
            self.assertEqual(select.select([page], [], [], 1)[0], [])
            program.terminate()
            self.assertEqual(program.wait(10), 0)


if __name__ == "__main__":
    support.main()
