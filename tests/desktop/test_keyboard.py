"""What reaches real applications when the agent types, presses chords, clicks and scrolls.

Every check reads what the application says it got, or the state of the X server, never the agent's word for it."""

import ctypes
import os
import signal
import subprocess
import threading
import time
import unittest
import unittest.mock

import support
from agent import Agent, AgentError
from support import APPS, DESKTOP, ON_X11, ROOT, needs_windows, new_desktop, only_on_x11, wait_for
from typing_targets import FileTarget, FormTarget, GtkTarget, wait_for_text

SHIFT, LOCK, CONTROL, ALT, NUM, SUPER = 1, 2, 4, 8, 16, 64
POST_EVENTS = os.environ.get("VARKEL_POST_EVENTS") or os.path.join(ROOT, "build/release/tests/desktop/post_events")

MIXED = "Hello, WORLD! {[(<>)]} @#$%^&*~`'\"\\|/?;: äöüß é ñ €µ αβΓ Жя 漢字 e\u0301 👨‍👩‍👧 🇩🇪 😀 1️⃣"


def edit_distance(a, b):
    """How many characters are wrong, missing or too many in one of the texts, seen from the other."""
    row = list(range(len(b) + 1))
    for i, left in enumerate(a, 1):
        diagonal, row[0] = row[0], i
        for j, right in enumerate(b, 1):
            diagonal, row[j] = row[j], min(row[j] + 1, row[j - 1] + 1, diagonal + (left != right))
    return row[-1]


class Keyboard(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.enterClassContext(new_desktop())
        cls.agent = Agent(cls.desktop.start, cls.desktop.directory)
        cls.target = cls.enterClassContext(GtkTarget(cls.desktop))

    def setUp(self):
        self.layout("us")
        self.desktop.activate(self.target.window)
        self.target.clear()

    def run_tool(self, *command):
        return subprocess.run(command, env=self.desktop.environment, capture_output=True, text=True, check=True,
                              timeout=20).stdout

    def layout(self, name):
        if not self.desktop.set_layout(name):
            self.target.restart()

    def lock_group(self, group):
        xlib = ctypes.CDLL("libX11.so.6")
        xlib.XOpenDisplay.restype = ctypes.c_void_p
        with unittest.mock.patch.dict(os.environ, self.desktop.environment):
            display = ctypes.c_void_p(xlib.XOpenDisplay(self.desktop.display.encode()))
        self.assertTrue(display)
        self.assertTrue(xlib.XkbLockGroup(display, 0x100, group))
        xlib.XSync(display, 0)
        xlib.XCloseDisplay(display)

    def keyboard_map(self):
        return self.run_tool("xkbcomp", "-xkb", self.desktop.display, "-")

    def note(self):
        return "not found" not in self.run_tool("xprop", "-root", "_VARKEL_AGENT_BOUND_KEYS")

    def send(self, agent=None, **fields):
        answer = (agent or self.agent).request("POST", "/keystrokes", {"delay_ms": 2, **fields}, timeout=60)
        self.assertEqual(answer.status, 200, answer.body)
        return answer

    def assert_typed(self, text):
        found = wait_for_text(self.target, text)
        self.assertEqual(found, text)

    # -- text

    def test_a_mixed_text_arrives_exactly_under_every_layout(self):
        for layout in ("us", "de", "fr", "gr", "us,de"):
            with self.subTest(layout=layout):
                self.layout(layout)
                self.target.clear()
                self.send(text=MIXED)
                self.assert_typed(MIXED)

    def test_every_toolkit_gets_every_character_under_every_layout(self):
        if ON_X11:
            self.skipTest("layouts are the X server's affair there")
        text = "yz;-@é ü€ß 漢字 😀"
        for layout in ("us", "de", "fr"):
            self.layout(layout)
            for toolkit in ("gtk4", "qt5"):
                with self.subTest(layout=layout, toolkit=toolkit), FormTarget(self.desktop, toolkit) as target:
                    self.send(text=text)
                    self.assertEqual(wait_for_text(target, text), text)

    @only_on_x11
    def test_the_second_group_is_typed_in_when_it_is_active(self):
        self.run_tool("setxkbmap", "-layout", "us,de", "-option", "grp:shifts_toggle")
        # This tool binds a spare key for the purpose, and leaves its action on it.
        self.run_tool("xdotool", "key", "ISO_Next_Group")
        self.lock_group(1)
        self.addCleanup(self.lock_group, 0)
        self.send(text=MIXED)
        self.assert_typed(MIXED)

    @unittest.skipIf(DESKTOP.pastes, "no key is remapped here")
    def test_more_characters_than_there_are_spare_keys(self):
        text = "".join(chr(0x4E00 + index) for index in range(400))
        self.send(text=text, delay_ms=1)
        self.assert_typed(text)

    @only_on_x11
    def test_locked_keys_spoil_nothing_and_stay_locked(self):
        for key, state, typed in (("Caps_Lock", LOCK, "X"), ("Num_Lock", NUM, "x")):
            with self.subTest(key=key):
                self.target.clear()
                self.run_tool("xdotool", "key", key)
                try:
                    self.send(text="aB1!é€")
                    self.assert_typed("aB1!é€")
                    self.run_tool("xdotool", "key", "x")
                    self.assertTrue(self.target.wait_for("press", name=typed)["state"] & state)
                finally:
                    self.run_tool("xdotool", "key", key)

    @unittest.skipUnless(DESKTOP.changes_layout, "applications do not outlive a change of the layout here")
    def test_a_layout_that_changes_in_the_middle(self):
        text = "yz;-@é漢" * 30
        sender = threading.Thread(target=self.send, kwargs={"text": text, "delay_ms": 6})
        sender.start()
        try:
            for layout in ("de", "fr", "us", "de"):
                wait_for(lambda: len(self.target.text()) > 20, 20, "some of the text")
                self.layout(layout)
                length = len(self.target.text())
                wait_for(lambda: len(self.target.text()) >= min(length + 20, len(text)), 20, "more of the text")
        finally:
            sender.join()
        # The key that an application is about to look up when the map is replaced under it may be another one,
        # or on Wayland none; what follows must be right again.
        found = wait_for_text(self.target, text)
        self.assertLessEqual(edit_distance(found, text), 4, found)
        self.assertLessEqual(len(found), len(text))
        if ON_X11:
            self.assertEqual(len(found), len(text))
        self.assertEqual(found[-30:], text[-30:])

    def test_an_application_that_reads_late_gets_the_text_all_the_same(self):
        # What is pasted it has to take at once.
        text = ("abcd" if DESKTOP.pastes else "ä€漢😀") * 10
        os.kill(self.target.process.pid, signal.SIGSTOP)
        try:
            self.send(text=text, delay_ms=1)
            time.sleep(1.5)  # longer than an application that reads would keep its keys
        finally:
            os.kill(self.target.process.pid, signal.SIGCONT)
        self.assert_typed(text)

    def test_an_agent_that_is_held_up_doubles_nothing(self):
        text = "abcdefgh" * 20
        sender = threading.Thread(target=self.send, kwargs={"text": text, "delay_ms": 30})
        sender.start()
        try:
            for _ in range(3):
                length = len(self.target.text())
                wait_for(lambda: len(self.target.text()) > length + 5, 20, "more of the text")
                os.kill(self.agent.process.pid, signal.SIGSTOP)
                time.sleep(1.0)  # longer than a held key waits before it repeats
                os.kill(self.agent.process.pid, signal.SIGCONT)
        finally:
            os.kill(self.agent.process.pid, signal.SIGCONT)
            sender.join()
        self.assert_typed(text)

    def test_two_requests_at_once_lose_nothing(self):
        texts = ["AB€漢" * 20, "xyé字" * 20, "A€x字" * 20]
        senders = [threading.Thread(target=self.send, kwargs={"text": text, "delay_ms": 5}) for text in texts]
        for sender in senders:
            sender.start()
        for sender in senders:
            sender.join()
        expected = sorted("".join(texts))
        wait_for(lambda: len(self.target.text()) >= len(expected), 20, "both texts")
        found = self.target.text()
        self.assertEqual(sorted(found), expected)
        # What only one of them typed is in its order.
        self.assertEqual("".join(c for c in found if c in "B漢"), "B漢" * 20)

    # -- keys

    def test_chords_reach_the_application_with_their_modifiers(self):
        cases = [("ctrl+shift+t", "T", CONTROL | SHIFT), ("alt+left", "Left", ALT), ("shift+left", "Left", SHIFT),
                 ("cmd+k", "k", SUPER), ("fn+home", "Home", 0), ("ctrl+?", "question", CONTROL),
                 ("pagedown", "Page_Down", 0), ("esc", "Escape", 0), ("ctrl+z", "z", CONTROL)]
        for layout in ("us", "de", "fr"):
            self.layout(layout)
            for token, name, state in cases:
                with self.subTest(layout=layout, token=token):
                    self.target.clear()
                    self.send(keys=[token])
                    event = self.target.wait_for("press", name=name)
                    self.assertEqual(event["state"] & (CONTROL | ALT | SUPER | state), state, event)
                    self.target.wait_for("release", keycode=event["keycode"])

    # -- the keyboard afterwards

    @only_on_x11
    def test_the_keyboard_is_as_it_was_afterwards(self):
        before = self.keyboard_map()
        self.send(text=MIXED)
        self.assert_typed(MIXED)
        wait_for(lambda: not self.note(), 20, "the keyboard to be given back")
        self.assertEqual(self.keyboard_map(), before)

    @only_on_x11
    def test_qt_tells_that_it_has_read_its_keys(self):
        target = FileTarget(os.path.join(self.desktop.directory, "typed"))
        form = self.desktop.start(["/usr/bin/python3", str(APPS / "text_form.py"), "qt6", target.path])
        self.addCleanup(self.desktop.stop, form)
        self.desktop.activate(self.desktop.wait_for_window(form))
        self.send(text="漢字仮名")
        self.assertEqual(wait_for_text(target, "漢字仮名"), "漢字仮名")
        # From who does not tell, the keyboard is taken back after twenty seconds.
        wait_for(lambda: not self.note(), 10, "the keyboard to be given back")

    @only_on_x11
    def test_a_layout_set_while_keys_are_remapped_is_left_alone(self):
        self.layout("de")
        before = self.keyboard_map()
        self.layout("us")
        self.send(text="漢字仮名")
        self.layout("de")
        wait_for(lambda: not self.note(), 20, "the keyboard to be given back")
        self.assertEqual(self.keyboard_map(), before)

    @only_on_x11
    def test_the_next_agent_tidies_up_after_one_that_was_killed(self):
        before = self.keyboard_map()
        victim = Agent(self.desktop.start, self.desktop.directory)

        def type_until_killed():
            try:
                victim.request("POST", "/keystrokes", {"text": "漢字€" * 100, "delay_ms": 100}, timeout=60)
            except AgentError:
                pass
        sender = threading.Thread(target=type_until_killed)
        sender.start()
        wait_for(lambda: len(self.target.text()) > 2, 20, "some text")
        victim.process.kill()
        victim.process.wait()
        sender.join()
        self.assertNotEqual(self.keyboard_map(), before)
        next_agent = Agent(self.desktop.start, self.desktop.directory)
        self.addCleanup(self.desktop.stop, next_agent.process)
        self.send(next_agent, keys=["esc"])
        wait_for(lambda: not self.note(), 20, "the note to be taken back")
        self.assertEqual(self.keyboard_map(), before)
        repeats = self.run_tool("xset", "q")
        self.assertIn("auto repeating keys:  00ffffffdffffbbf", repeats)

    # -- the mouse

    def mouse(self):
        """A function that posts mouse events, a place in the target, and what the target calls it."""
        poster = self.desktop.start([POST_EVENTS], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.desktop.stop, poster)
        left, top, width, height = self.desktop.geometry(self.target.window)
        across, down = width // 2, height - 20
        origin = self.desktop.on_screen(self.target.window, 0, 0)

        def post(line):
            poster.stdin.write(line + "\n")
            poster.stdin.flush()
            self.assertEqual(poster.stdout.readline(), "done\n")

        return post, (left + across, top + down), (left + across - origin[0], top + down - origin[1])

    @only_on_x11
    def test_a_button_comes_up_also_when_the_server_stops_in_the_middle_of_a_click(self):
        post, (x, y), _ = self.mouse()
        post(f"press {x} {y}")
        self.target.wait_for("button-press")
        os.kill(self.desktop.x_server.pid, signal.SIGSTOP)
        try:
            post(f"release {x} {y}")
        finally:
            os.kill(self.desktop.x_server.pid, signal.SIGCONT)
        self.target.wait_for("button-release", button=1, x=x, y=y)

    @needs_windows
    def test_clicks_and_scrolls_land_on_the_pixel(self):
        for mapping in ("1 2 3 4 5", "3 2 1 5 4") if ON_X11 else (None,):
            with self.subTest(mapping=mapping):
                self.target.clear()
                if mapping:
                    self.run_tool("xmodmap", "-e", f"pointer = {mapping} 6 7 8 9 10")
                try:
                    self.check_mouse()
                finally:
                    if mapping:
                        self.run_tool("xmodmap", "-e", "pointer = default")

    def check_mouse(self):
        post, (x, y), (own_x, own_y) = self.mouse()
        post(f"click {x}.9 {y}.5")
        for kind in ("button-press", "button-release"):
            self.target.wait_for(kind, button=1, x=own_x, y=own_y)
        for steps, direction in (("1 0", "up"), ("-1 0", "down"), ("0 1", "left"), ("0 -1", "right")):
            post(f"scroll {x} {y} {steps}")
            self.target.wait_for("scroll", direction=direction, x=own_x, y=own_y)
        self.assertEqual(len(self.target.app.all("scroll")), 4)


if __name__ == "__main__":
    support.main()
