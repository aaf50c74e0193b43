"""Scripts, Shortcuts and the terminal on a real desktop. What happened is what a shell or an application says."""

import os
import signal
import subprocess
import threading

import support
from agent import binary_path
from support import APPS, DesktopTest, state_of, wait_for

TOOLS = os.path.dirname(os.path.abspath(binary_path()))


class Scripts(DesktopTest):
    def osascript(self, source, *arguments):
        """Runs a script with the tool itself."""
        arguments = arguments or ("-",)
        return subprocess.run([os.path.join(TOOLS, "osascript"), *arguments], env=self.desktop.environment,
                              input=source, capture_output=True, text=True, timeout=60, check=False)

    def path(self, name):
        return os.path.join(self.desktop.directory, name)

    def content(self, name):
        """What a command wrote, once it has."""
        def read():
            try:
                with open(self.path(name), encoding="utf-8") as file:
                    return file.read()
            except FileNotFoundError:
                return None
        return wait_for(read, 20, f"a command to write {name}")


class Terminals(Scripts):
    def write_command(self, text, name):
        """A command that writes a text to a file, whole or not at all."""
        return f"printf %s {text} > '{self.path(name)}.new'; mv '{self.path(name)}.new' '{self.path(name)}'"

    def send(self, text, identifier, **fields):
        answer = self.post("/keystrokes", text=text, app_bundle_id=identifier, **fields)
        self.assertEqual(answer.status, 200, answer.body)
        self.assertEqual(answer.json()["method"], "applescript")

    def test_a_shell_runs_what_a_terminal_is_sent_whether_it_is_open_or_not(self):
        cases = {"com.apple.Terminal": "plain", "com.googlecode.iterm2": "'two words \"quoted\" \\ back'",
                 "com.googlecode.iterm": "'äöü € 漢字 😀'"}
        for number, (identifier, word) in enumerate(cases.items()):
            with self.subTest(identifier):
                name = f"written-{number}"
                self.send(self.write_command(word, name), identifier)
                self.assertEqual(self.content(name), word.strip("'"))
        # All in the one terminal that the first of them opened.
        self.assertEqual(len(self.windows()), 1)

    def test_a_script_opens_terminals_and_runs_commands_in_the_one_it_names(self):
        command = "tty > '{0}.new'; mv '{0}.new' '{0}'"
        names = ("first", "second", "again", "back")
        first, second, again, back = (command.format(self.path(name)) for name in names)
        done = self.osascript(f"""
            tell application "Terminal"
                set one to do script "{first}"
                set two to do script "{second}"
                do script "{again}" in one
                do script "{back}" in window 2
                return count of windows
            end tell""")
        self.assertEqual((done.returncode, done.stdout), (0, "2\n"), done.stderr)
        first, second, again, back = (self.content(name) for name in names)
        self.assertEqual((first, second), (again, back))
        self.assertNotEqual(first, second)
        # They are counted from the one in front.
        for number, said in ((0, "There is no such window"), (3, "Can't get window 3")):
            done = self.osascript(f'tell application "Terminal" to do script "ls" in window {number}')
            self.assertIn(said, done.stderr)

    def test_a_text_does_not_go_on_in_a_window_that_comes_in_between(self):
        known = self.start_known_widgets()
        self.osascript('tell application "Terminal" to activate')
        done = []
        source = f'tell application "Terminal" to do script ": {"x" * 60000}" in front window'
        typing = threading.Thread(target=lambda: done.append(self.osascript(source)))
        typing.start()
        try:
            wait_for(self.typed_into_terminal, 20, "the first of the text")
            self.desktop.activate(known.window)
        finally:
            typing.join()
        self.assertEqual(done[0].returncode, 1)
        self.assertIn("did not stay in front", done[0].stderr)

    def typed_into_terminal(self):
        """Whether the active window is one in which the screen changes."""
        with self.desktop.x() as display:
            before = display.screenshot()
            return display.screenshot() != before


class TheSystem(Scripts):
    def test_notifications_reach_the_service_of_the_session(self):
        source = 'display notification "a < b & c" with title "T" subtitle "S" sound name "bell"'
        refused = self.osascript(source)
        self.assertEqual(refused.returncode, 1)
        self.assertIn("no notification service", refused.stderr)
        service = self.desktop.start(["/usr/bin/python3", str(APPS / "notifications.py")], stdout=subprocess.PIPE, text=True)
        self.assertEqual(service.stdout.readline(), "ready\n")
        self.assertEqual(self.osascript(source).returncode, 0)
        self.assertEqual(service.stdout.readline(), "('T', 'S\\na &lt; b &amp; c', {'sound-name': 'bell'})\n")

    def test_a_command_ends_with_the_script_that_is_stopped(self):
        for number, (stop, how) in enumerate(((os.killpg, signal.SIGKILL), (os.kill, signal.SIGTERM))):
            with self.subTest(how):
                name = f"pid-{number}"
                process = self.desktop.start([
                    os.path.join(TOOLS, "osascript"), "-e",
                    f'do shell script "cd {self.path("")}; echo $$ > new; mv new {name}; exec sleep 1000"'])
                pid = int(self.content(name))
                stop(process.pid, how)
                wait_for(lambda pid=pid: state_of(pid) == "Z", 10, "the command to end")
                self.assertEqual(process.wait(10), -how)


if __name__ == "__main__":
    support.main()
