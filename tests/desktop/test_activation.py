"""Bringing real applications to the front, launching them, and typing into them at once.

What happened is what the applications say, and what the X server shows."""

import os
import signal

import support
from support import APPS, DesktopTest, add_desktop_entry, wait_for
from typing_targets import FileTarget, GtkTarget, wait_for_text


class Activation(DesktopTest):
    def setUp(self):
        super().setUp()
        script = APPS / "keyboard_app.py"
        self.log = os.path.join(self.desktop.directory, "launched")
        typing = f"/bin/sh -c \"exec /usr/bin/python3 {script} > {self.log} < /dev/null\""
        for name, more, command in (("Typing", "StartupWMClass=keyboard_app.py", typing), ("Broken", "", "/bin/false"),
                                    ("Missing", "", "/no/such/program")):
            add_desktop_entry(self.desktop, "org.example." + name, "T", command, more)

    def send(self, **fields):
        return self.agent.request("POST", "/keystrokes", {"keys": ["esc"], **fields}, timeout=60)

    def test_a_running_application_comes_to_the_front_with_all_its_windows(self):
        with GtkTarget(self.desktop) as target:
            terminal = self.desktop.start(["x-terminal-emulator"])
            other = wait_for(lambda: [w for w in self.windows() if w != target.window], 20, "the terminal")[0]
            self.desktop.activate(other)
            for name in ("org.example.Typing", "org.example.Typing.desktop", "Keyboard_app.py"):
                with self.subTest(name=name):
                    self.desktop.activate(other)
                    self.assertEqual(self.send(app_bundle_id=name).json()["app"], name)
                    target.wait_for("press", name="Escape")
            self.desktop.activate(target.window)
            # The terminal identifiers mean the system's terminal emulator.
            self.assertEqual(self.send(app_bundle_id="com.apple.Terminal").status, 200)
            self.assertEqual(self.active_window(), other)
            self.desktop.stop(terminal)

    def test_an_application_that_is_not_running_is_launched_and_typed_into(self):
        answer = self.send(app_bundle_id="org.example.Typing")
        self.assertEqual(answer.status, 200, answer.body)

        def text():
            with open(self.log, encoding="utf-8") as file:
                return file.read()
        wait_for(lambda: '"name": "Escape"' in text(), 20, "the key to reach the launched application")
        pid = int(self.run_tool("xdotool", "getactivewindow", "getwindowpid"))
        os.kill(pid, signal.SIGKILL)
        wait_for(lambda: not os.path.exists(f"/proc/{pid}"), 20, "the application to leave no zombie")
        wait_for(lambda: not self.windows(), 20, "the window to go")

    def start_and_type(self, kind, text):
        """Has the agent launch text_form.py and type, then ends it; gives what arrived."""
        path = os.path.join(self.desktop.directory, "typed")
        add_desktop_entry(self.desktop, "org.example.Form", "Form",
                          f"/usr/bin/python3 {APPS}/text_form.py {kind} {path}", "StartupWMClass=text_form.py")
        answer = self.post("/keystrokes", text=text, app_bundle_id="org.example.Form", delay_ms=1)
        self.assertEqual(answer.status, 200, answer.body)
        typed = wait_for_text(FileTarget(path), text)
        with self.desktop.x() as display:
            window, = display.client_windows()
            os.kill(display.window_pid(window), signal.SIGKILL)
        wait_for(lambda: not self.windows(), 20, "the window to go")
        if os.path.exists(path):
            os.remove(path)
        return typed

    def test_the_first_keys_reach_an_application_that_was_just_launched(self):
        # What is lost is lost now and then: an application that ends leaves a window manager that still calls its
        # window active, and the next one gets the same number.
        text = "abcdefghijklmnopqrstuvwxyz"
        for kind in ("gtk3", "qt6"):
            with self.subTest(kind):
                self.assertEqual([self.start_and_type(kind, text) for _ in range(20)], [text] * 20)

    def test_a_busy_x_server_is_not_taken_for_an_application_that_does_not_run(self):
        os.kill(self.desktop.x_server.pid, signal.SIGSTOP)
        try:
            answer = self.send(app_bundle_id="org.example.Typing")
        finally:
            os.kill(self.desktop.x_server.pid, signal.SIGCONT)
        self.assertEqual(answer.status, 404, answer.body)
        self.assertFalse(os.path.exists(self.log), "it was launched")


if __name__ == "__main__":
    support.main()
