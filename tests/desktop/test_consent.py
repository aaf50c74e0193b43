"""What a person answers at the prompt of varkel-overlay is what happens in the application, and nothing else answers it."""

import json
import os
import re
import stat
from concurrent.futures import ThreadPoolExecutor

import support
from overlay import DISCOVERY, Overlay, elements, middle_of, press, texts, wait_for_button
from support import DesktopTest, wait_for

DENIED = {"error": "consent_denied"}
ALLOW_HERE = "Allow in this application for five minutes"


class Consent(DesktopTest):
    has_person = True

    def setUp(self):
        super().setUp()
        self.home = self.desktop.environment["HOME"]
        self.overlay = Overlay(self.desktop, self.home)
        self.agent = self.overlay.start_agent(self.desktop)
        self.app = self.start_acts()
        self.requests = self.enterContext(ThreadPoolExecutor(40))
        self.addCleanup(self.desktop.stop, self.overlay.process)  # what still waits is denied

    def ask(self, path, **body):
        """Sends a request and goes on; it is answered when the person has decided."""
        return self.requests.submit(self.agent.request, "POST", path, body, 70.0)

    def click_button(self):
        return self.ask("/ax/click", elementId=self.find_one(identifier="button")["id"])

    def press(self, label):
        press(self.desktop, self.agent, self.overlay, label)

    def shows(self, text):
        """Waits until the prompt says something."""
        return wait_for(lambda: [each for each in texts(self.agent, self.overlay) if text in each], 15, f"{text!r}")

    def is_quiet(self):
        return wait_for(lambda: not elements(self.agent, self.overlay), 15, "the prompt to go")

    def sides_of_frame(self):
        """The windows that mark the target."""
        found = re.findall(r'"Varkel marks".* (\d+)x(\d+)\S+ +\+(\d+)\+(\d+)$',
                           self.run_tool("xwininfo", "-root", "-tree"), re.MULTILINE)
        return sorted((int(x), int(y), int(width), int(height)) for width, height, x, y in found)

    def granted_by_the_caller(self):
        """The headers of a caller that has asked the person itself."""
        with open(os.path.join(self.home, DISCOVERY), encoding="utf-8") as file:
            return {"x-varkel-mcp-consent": "granted", "x-overlay-token": json.load(file)["token"]}

    def test_the_person_decides(self):
        button = self.find_one(identifier="button")
        for label, status, body, clicks in (("Deny", 403, DENIED, 0), ("Allow", 200, {"ok": True, "method": "ax_press"}, 1)):
            with self.subTest(label):
                pending = self.ask("/ax/click", elementId=button["id"])
                self.shows('Click the button "Count me" in acts_app.py')
                x, y, width, height = (button["frame"][side] for side in ("x", "y", "width", "height"))
                self.assertEqual(self.sides_of_frame(), sorted([
                    (x - 4, y - 4, width + 8, 4), (x - 4, y + height, width + 8, 4),
                    (x - 4, y, 4, height), (x + width, y, 4, height)]))
                self.assertEqual(self.app.all("clicked"), [], "nothing happens before the decision")
                self.press(label)
                answer = pending.result()
                self.assertEqual((answer.status, answer.json()), (status, body))
                self.assertEqual(len(self.app.all("clicked")), clicks)
                self.is_quiet()

    def test_prompts_say_what_is_about_to_happen(self):
        entry = self.find_one(identifier="entry")["id"]
        for path, body, said in (
                ("/ax/type", {"elementId": entry, "text": "<b>&amp;"}, "Type 8 characters into"),
                ("/ax/click", {"elementId": "0123456789abcdef"}, "The element is no longer there"),
                ("/keystrokes", {"keys": ["ctrl+a"]}, "Press Ctrl+A in acts_app.py"),
                ("/shortcut", {"name": "<i>Shout"}, 'Run the Shortcut "<i>Shout"'),
                ("/applescript/run", {"script": "beep"}, "Run an AppleScript")):
            pending = self.ask(path, **body)
            self.shows(said)
            if path == "/ax/type":
                self.press("▸ Show the text")
            if path in ("/ax/type", "/applescript/run"):
                shown = [e.get("value") for e in elements(self.agent, self.overlay) if e["role"] == "AXTextArea"]
                self.assertEqual(shown, [body.get("text") or body["script"]])
            self.press("Deny")
            self.assertEqual(pending.result().status, 403)

    def test_without_a_token_the_prompt_says_that_it_cannot_name_anything(self):
        os.truncate(self.overlay.token_file, 0)
        pending = self.click_button()
        self.shows("there is no token here")
        self.shows("Click an element")
        self.press("Allow")
        self.assertEqual(pending.result().status, 200)

    def test_the_keyboard_stays_with_the_application(self):
        self.ask("/ax/click", elementId=self.find_one(identifier="entry")["id"])
        wait_for_button(self.agent, self.overlay, "Allow")
        active = self.active_window()
        self.run_tool("xdotool", "key", "Tab", "Tab", "Tab")
        self.run_tool("xdotool", "type", "typed meanwhile")
        self.app.wait_for("changed", widget="entry", text="typed meanwhile")
        self.press("Deny")
        self.assertEqual(self.active_window(), active)
        self.run_tool("xdotool", "type", " and after")
        self.app.wait_for("changed", widget="entry", text="typed meanwhile and after")

    def test_synthetic_events_do_not_answer(self):
        # The target is where the prompt goes elsewhere, so that it comes to lie at the bottom.
        self.run_tool("xdotool", "windowmove", self.app.window, 850, 5)
        wait_for(lambda: self.find_one(identifier="button")["frame"]["x"] > 800, 10, "the window to move")
        pending = self.click_button()
        x, y = middle_of(wait_for_button(self.agent, self.overlay, "Allow"))
        self.assertGreater(y, 600)
        with self.desktop.x() as display:
            for _ in range(10):
                display.click(x, y)
        self.run_tool("xdotool", "mousemove", x, y, "click", "--window", self.prompt_window(), 1)
        for key in ("Return", "space", "alt+a", "Tab"):
            self.run_tool("xdotool", "key", "--window", self.prompt_window(), key)
        # The agent's own click, on an element that lies below the button.
        places = self.app.do("look")["places"]["even area"]
        self.run_tool("xdotool", "windowmove", self.app.window, x - 10 - (places[0] - 850), y - 10 - (places[1] - 5))
        self.desktop.activate(self.app.window)
        wait_for(lambda: self.lies_at(self.find_one(identifier="even area"), x, y), 10, "the area below the button")
        under = self.find_one(identifier="even area")
        answer = self.agent.request("POST", "/ax/click", {"elementId": under["id"]}, headers=self.granted_by_the_caller())
        self.assertEqual(answer.json()["method"], "synthesized_click")
        # A real button does not answer where a synthetic pointer has been put.
        with self.desktop.x() as display, self.desktop.person() as mouse:
            mouse.click(5, 5)
            display.move_pointer(x, y)
            mouse.click()
        self.assertEqual(self.app.all("pressed"), [], "the prompt was above")
        self.assertEqual(self.actions_of_buttons(), {"Deny": 0, "Allow": 0, ALLOW_HERE: 0}, "it still asks")
        self.assertFalse(pending.done())

        self.press("Deny")
        self.assertEqual(pending.result().status, 403)

    def test_the_frame_around_the_target_lets_the_pointer_through(self):
        area = self.find_one(identifier="odd area")
        self.ask("/ax/click", elementId=area["id"])
        self.shows("Click")
        with self.desktop.person() as mouse:
            mouse.click(round(area["frame"]["x"]) + 10, round(area["frame"]["y"]) - 2)
        self.app.wait_for("pressed", widget="even area")
        self.press("Deny")

    @staticmethod
    def lies_at(element, x, y):
        frame = element["frame"]
        return 0 < x - frame["x"] < frame["width"] and 0 < y - frame["y"] < frame["height"]

    def prompt_window(self):
        return self.run_tool("xdotool", "search", "--name", "^Varkel asks$").split()[-1]

    def actions_of_buttons(self):
        """How many actions the accessibility interface has for each of the prompt's buttons."""
        script = ("import gi, json, sys\ngi.require_version('Atspi', '2.0')\nfrom gi.repository import Atspi\n"
                  "found, waiting = {}, [Atspi.get_desktop(0)]\n"
                  "while waiting:\n"
                  "    each = waiting.pop()\n"
                  "    waiting += [each.get_child_at_index(i) for i in range(each.get_child_count())]\n"
                  "    if each.get_role_name() == 'push button' and each.get_process_id() == int(sys.argv[1]):\n"
                  "        found[each.get_name()] = each.get_n_actions() if each.get_action_iface() else 0\n"
                  "print(json.dumps(found))")
        return json.loads(self.run_tool("/usr/bin/python3", "-c", script, self.overlay.pid))

    def test_an_application_is_allowed_for_a_while(self):
        first, second = self.click_button(), self.ask("/keystrokes", keys=["space"])
        self.shows("One more waits")
        self.press(ALLOW_HERE)
        self.assertEqual((first.result().status, second.result().status), (200, 200))
        self.assertEqual(self.click_button().result().status, 200)
        wait_for(lambda: len(self.app.all("clicked")) == 3, 10, "three clicks")
        script = self.ask("/applescript/run", script="beep")
        self.shows("Run an AppleScript")
        self.press("Deny")
        self.assertEqual(script.result().status, 403)

    def test_a_flood_is_denied_at_once(self):
        button = self.find_one(identifier="button")["id"]
        pending = [self.ask("/ax/click", elementId=button) for _ in range(20)]
        self.shows("19 more wait")
        self.press("Deny all for five minutes")
        self.assertEqual({each.result().status for each in pending}, {403})
        self.assertEqual(self.ask("/ax/click", elementId=button).result().status, 403)
        self.press("Ask again")
        asked = self.ask("/ax/click", elementId=button)
        self.press("Allow")
        self.assertEqual(asked.result().status, 200)
        self.assertEqual(len(self.app.all("clicked")), 1)

    def test_a_service_that_comes_too_late_says_so(self):
        self.desktop.stop(self.overlay.process)
        late = Overlay(self.desktop, self.home, self.agent.port)
        wait_for_button(self.agent, late, "Close")
        self.assertIn("The agent runs already", texts(self.agent, late)[0])
        press(self.desktop, self.agent, late, "Close")

    def test_a_prompt_goes_with_the_agent(self):
        self.click_button()
        wait_for_button(self.agent, self.overlay, "Allow")
        other = support.Agent(self.desktop.start, self.desktop.directory)  # to look with
        self.desktop.stop(self.agent.process)
        wait_for(lambda: not elements(other, self.overlay), 15, "the prompt to go")

    def test_a_service_that_has_ended_denies(self):
        path = os.path.join(self.home, DISCOVERY)
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o600)
        second = self.desktop.start(self.overlay.process.args)
        self.assertEqual(second.wait(20), 1, "one at a time")
        token = self.granted_by_the_caller()["x-overlay-token"]
        for place in (f"/proc/{self.overlay.pid}/cmdline", f"/proc/{self.agent.process.pid}/cmdline"):
            with open(place, encoding="utf-8") as file:
                self.assertNotIn(token, file.read())
        pending = self.click_button()
        wait_for_button(self.agent, self.overlay, "Allow")
        self.desktop.stop(self.overlay.process)
        self.assertFalse(os.path.exists(path))
        self.assertEqual(pending.result().status, 403)
        self.assertEqual(self.ask("/keystrokes", text="x").result().status, 403)
        self.assertEqual(self.app.all("clicked"), [])


if __name__ == "__main__":
    support.main()
