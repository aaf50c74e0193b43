"""Scripts, Shortcuts and the terminal on a real desktop. What happened is what a shell or an application says."""

import os
import signal
import subprocess
import threading

import support
from agent import binary_path
from support import APPS, DesktopTest, add_desktop_entry, state_of, wait_for

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

    def windows(self):
        with self.desktop.x() as display:
            return display.client_windows()

    def active_window(self):
        with self.desktop.x() as display:
            return display.active_window()


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

    def test_each_line_of_a_text_is_a_command_and_chords_come_after_them(self):
        lines = [self.write_command(f"line{number}", f"line-{number}") for number in range(3)]
        self.send("\n".join(lines), "com.apple.Terminal")
        self.assertEqual([self.content(f"line-{number}") for number in range(3)], ["line0", "line1", "line2"])
        window, = self.windows()
        self.send("cat > " + self.path("typed"), "com.apple.Terminal", keys=["h", "i", "return", "ctrl+d"])
        wait_for(lambda: self.content("typed") == "hi\n", 20, "the chords to reach the terminal")
        self.assertEqual(self.windows(), [window])

    def test_a_script_opens_terminals_and_runs_commands_in_the_one_it_names(self):
        command = "tty > '{0}.new'; mv '{0}.new' '{0}'"
        names = [self.path(name) for name in ("first", "second", "again")]
        first, second, again = (command.format(name) for name in names)
        done = self.osascript(f"""
            tell application "Terminal"
                set one to do script "{first}"
                set two to do script "{second}"
                do script "{again}" in one
                return count of windows
            end tell""")
        self.assertEqual((done.returncode, done.stdout), (0, "2\n"), done.stderr)
        first, second, again = (self.content(name) for name in ("first", "second", "again"))
        self.assertEqual(first, again)
        self.assertNotEqual(first, second)

    def test_commands_go_to_no_other_window(self):
        known = self.start_known_widgets()
        done = self.osascript('tell application "Known_widgets.py" to do script "ls" in window 1')
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertIn("is not a terminal that takes commands", done.stderr)
        self.desktop.activate(known.window)
        self.send(self.write_command("x", "elsewhere"), "com.apple.Terminal")
        self.assertEqual(self.content("elsewhere"), "x")


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


class Applications(Scripts):
    def setUp(self):
        super().setUp()
        self.report = self.path("report.json")
        entries = {"org.example.Known": ("Widgets to know", f"/usr/bin/python3 {APPS}/known_widgets.py {self.report} K"),
                   "org.example.Broken": ("Broken one", "/bin/false")}
        for identifier, (name, command) in entries.items():
            add_desktop_entry(self.desktop, identifier, name, command, "StartupWMClass=known_widgets.py")

    def test_an_application_is_started_and_then_brought_to_the_front_by_its_name(self):
        self.assertEqual(self.osascript('application "Widgets to know" is running').stdout, "false\n")
        answer = self.post("/keystrokes", keys=["esc"], app_name="widgets TO know")
        self.assertEqual(answer.status, 200, answer.body)
        wait_for(lambda: os.path.exists(self.report), 20, "the application")
        window, = self.windows()
        other = self.desktop.start(["xterm"])
        other_window = self.desktop.wait_for_window(other)
        for source in ('tell application "Widgets to know" to activate', 'activate application id "org.example.Known"'):
            with self.subTest(source):
                self.desktop.activate(other_window)
                done = self.osascript(None, "-e", source)
                self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
                self.assertEqual(self.active_window(), window)
        self.assertEqual(self.osascript('application "Widgets to know" is running').stdout, "true\n")

    def test_what_is_not_there_or_does_not_start_is_an_error(self):
        for name, said in (("Nobody", "Can't get application"), ("Broken one", "could not be opened")):
            with self.subTest(name):
                done = self.osascript(f'log "on"\ntell application "{name}" to activate')
                self.assertEqual((done.returncode, done.stdout), (1, ""))
                self.assertRegex(done.stderr, f"on\nosascript: line 2: execution error: .*{said}")


_NOTIFICATION_SERVICE = """
import sys, gi
from gi.repository import Gio, GLib
NODE = Gio.DBusNodeInfo.new_for_xml('''<node><interface name="org.freedesktop.Notifications">
<method name="GetCapabilities"><arg type="as" direction="out"/></method>
<method name="Notify"><arg type="s" direction="in"/><arg type="u" direction="in"/><arg type="s" direction="in"/>
<arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="as" direction="in"/>
<arg type="a{sv}" direction="in"/><arg type="i" direction="in"/><arg type="u" direction="out"/></method>
</interface></node>''')
def call(bus, sender, path, interface, method, arguments, invocation):
    if method == "GetCapabilities":
        invocation.return_value(GLib.Variant("(as)", (["body", "body-markup"],)))
        return
    values = arguments.unpack()
    print(repr((values[3], values[4], values[6])), flush=True)
    invocation.return_value(GLib.Variant("(u)", (1,)))
def got(bus, name):
    bus.register_object("/org/freedesktop/Notifications", NODE.interfaces[0], call, None, None)
Gio.bus_own_name(Gio.BusType.SESSION, "org.freedesktop.Notifications", 0, got,
                 lambda *_: print("ready", flush=True), None)
GLib.MainLoop().run()
"""


class TheSystem(Scripts):
    def test_notifications_reach_the_service_of_the_session(self):
        source = 'display notification "a < b & c" with title "T" subtitle "S" sound name "bell"'
        refused = self.osascript(source)
        self.assertEqual(refused.returncode, 1)
        self.assertIn("no notification service", refused.stderr)
        service = self.desktop.start(["/usr/bin/python3", "-c", _NOTIFICATION_SERVICE], stdout=subprocess.PIPE, text=True)
        self.assertEqual(service.stdout.readline(), "ready\n")
        self.assertEqual(self.osascript(source).returncode, 0)
        self.assertEqual(service.stdout.readline(), "('T', 'S\\na &lt; b &amp; c', {'sound-name': 'bell'})\n")

    def test_the_shell_s_words_and_status_come_back(self):
        done = self.osascript('set who to do shell script "echo it; echo two"\nreturn who & "!"')
        self.assertEqual((done.returncode, done.stdout), (0, "it\ntwo!\n"))
        done = self.osascript('do shell script "echo why >&2; exit 9"')
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertEqual(done.stderr, "osascript: line 1: execution error: why (9)\n")
        large = self.osascript('do shell script "head -c 1000000 /dev/zero | tr \'\\\\0\' x"')
        self.assertEqual(large.stdout, "x" * 1000000 + "\n")

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
