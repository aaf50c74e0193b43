"""Applications that stop or die while they are worked, and a desktop whose parts go away and come back."""

import os
import signal
import subprocess

import support
from breakdown import TYPED, Breakdown
from support import APPS, find, state_of, wait_for

# What a request about an application that does not answer takes at the most, and some for a slow machine.
PATIENCE = 6 + 4


class Applications(Breakdown):
    def read_one(self, kind, other):
        app = self.desktop.start(["/usr/bin/python3", str(APPS / "failing.py"), kind], stdout=subprocess.PIPE)
        self.assertEqual(app.stdout.readline(), b"ready\n", self.desktop.log())
        asked = self.requests.submit(self.agent.tree, app.pid)
        if kind == "stops":  # what was read before is there, and no other request has to wait
            wait_for(lambda: state_of(app.pid) == "T", 10, "the application to stop")
            self.assertIsNotNone(find(self.tree(other.pid, timeout=5), label="Save"))
            self.assertFalse(asked.done())
            self.assertEqual(self.assert_within(PATIENCE, asked, 200).json()["tree"]["role"], "AXApplication")
        else:
            self.assert_within(PATIENCE, asked, 200)
            self.assertEqual(app.wait(5), -signal.SIGKILL)
        self.desktop.stop(app)
        self.assert_healthy()

    def test_in_the_middle_of_a_tree(self):
        other = self.start_known_widgets()
        self.known_tree(other)
        for kind, rounds in (("stops", 3), ("dies", 6)):
            with self.subTest(kind):
                self.repeat(lambda kind=kind: self.read_one(kind, other), rounds, warm_up=1)
        self.assert_serves()

    def act_on_one(self, command):
        """An application stops or ends in a click, while a field is set, and while keys come."""
        app = None
        for act in (self.click, self.set_field, self.type_keys):
            if app is None or app.process.poll() is not None:
                app = self.start_acts()
            act(app, command)
            self.assert_healthy()
            if command == "kill":
                self.assertEqual(app.process.wait(5), -signal.SIGKILL)
        self.desktop.stop(app.process)

    def thaw(self, app):
        wait_for(lambda: state_of(app.pid) == "T", 10, "the application to stop")
        os.kill(app.pid, signal.SIGCONT)

    def click(self, app, command):
        button = self.find_one(identifier="button")
        app.do(command)
        answer = self.assert_within(PATIENCE, self.post("/ax/click", elementId=button["id"]), 200)
        self.assertEqual(answer.json()["method"], "ax_press")
        if command == "stop":
            self.thaw(app)
            app.wait_for("clicked")
            self.assertEqual(len(app.all("clicked")), 1)

    def set_field(self, app, command):
        entry = self.find_one(identifier="entry")
        app.do(command)
        answer = self.assert_within(PATIENCE, self.post("/ax/type", elementId=entry["id"], text="after"), 200)
        self.assertEqual(answer.json()["method"], "ax_value")
        if command == "stop":
            self.thaw(app)
            app.wait_for("changed", text="after")

    def type_keys(self, app, command):
        before = self.give_keys(app)
        app.do(command)
        text = TYPED * 5
        self.assert_within(PATIENCE, self.post("/keystrokes", text=text), 200)
        if command == "stop":
            self.thaw(app)
            app.wait_for("committed", text=before + text)

    def test_in_the_middle_of_a_click_and_of_typing(self):
        for command, rounds in (("stop", 3), ("kill", 3)):
            with self.subTest(command):
                self.repeat(lambda command=command: self.act_on_one(command), rounds, warm_up=1)
        self.assert_serves()


class Parts(Breakdown):
    """Parts of the desktop that go away while requests need them."""

    def busy(self, break_it):
        """Types into and reads an application while something breaks; all of it is answered."""
        app = self.start_acts()
        before = self.give_keys(app)
        asked = [self.send("/keystrokes", text=TYPED * 8)]
        app.wait_for("committed", text=before + TYPED)
        asked += [self.send("/ax/tree"), self.send("/ax/find", label="Row")]
        break_it()
        asked += [self.send("/keystrokes", keys=["esc"]), self.send("/ax/tree")]
        for each in asked:
            answer = self.assert_within(20, each, 200, 403, 500)
            if answer.status != 200:
                self.assertIn(answer.json()["error"], ("ax_permission_missing", "could_not_get_frontmost_app"))
        self.assert_healthy()
        self.desktop.stop(app.process)

    def test_the_window_manager_goes_and_comes_back(self):
        app = self.start_known_widgets()

        def fault():
            self.busy(lambda: self.desktop.stop(self.desktop.window_manager))
            self.assertEqual(self.agent.tree(app.pid).status, 200)
            self.desktop.start_window_manager()
            self.assert_serves()
        self.repeat(fault, 3, warm_up=1)

    def test_the_x_server_is_killed_and_started_again(self):
        def kill():
            server = self.desktop.x_server
            server.kill()
            server.wait()

        def fault():
            self.busy(kill)
            self.desktop.stop(self.desktop.window_manager)
            self.desktop.start_x_server()
            self.desktop.start_window_manager()
            self.desktop.kill_accessibility_bus()  # part of it went with the server
            self.desktop.start_accessibility_bus()
            self.assert_serves()
            done = subprocess.run([self.agent.process.args[0], "permissions"], env=self.desktop.environment, timeout=60,
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
            self.assertEqual(done.returncode, 0, done.stdout)
        self.repeat(fault, 3, warm_up=1)

    def test_a_text_for_an_x_server_that_is_stopped_does_not_wait_for_each_of_its_keys(self):
        app = self.start_acts()
        self.assertEqual(self.post("/keystrokes", text="a").status, 200)
        os.kill(self.desktop.x_server.pid, signal.SIGSTOP)
        try:
            # More of them than there are threads that may block.
            asked = [self.send("/keystrokes", text=TYPED * 10) for _ in range(40)]
            asked.append(self.send("/ax/tree", root_pid=app.pid))
            for each in asked:
                self.assert_within(30, each, 200)
            self.assert_healthy()
        finally:
            os.kill(self.desktop.x_server.pid, signal.SIGCONT)
        self.give_keys(app)
        self.desktop.stop(app.process)
        self.assert_serves()

    def test_the_buses_are_killed_and_started_again(self):
        def accessibility():
            self.desktop.kill_accessibility_bus()

        def session():
            self.desktop.session_bus.kill()
            self.desktop.session_bus.wait()

        def fault():
            break_it = kinds.pop()
            kinds.insert(0, break_it)
            self.busy(break_it)
            if break_it is session:
                self.desktop.start_session_bus()
            self.desktop.kill_accessibility_bus()
            self.desktop.start_accessibility_bus()
            self.assert_serves()
        kinds = [accessibility, session]
        self.repeat(fault, 4)


if __name__ == "__main__":
    support.main()
