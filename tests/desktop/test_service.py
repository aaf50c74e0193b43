"""The commands permissions and install on a real desktop, up to an agent that a login has started."""

import json
import os
import shlex
import signal
import subprocess
import time
import unittest
import urllib.error
import urllib.request

import support
from agent import binary_path, free_port
from private_desktop import PrivateDesktop
from support import add_desktop_entry, wait_for

MANAGER = "/lib/systemd/systemd"
LABEL = "io.github.varkel.varkel-agent"
TOKEN = "t0k&<\"$x`y` \\ %h"
# Every character that a unit file, a shell or a wildcard gives a meaning to.
ODD_NAME = "o'neil \"[!a]*?\\ $HOME %h é"

# Where nothing was booted with systemd, its user manager runs once this folder is there; only its own processes
# see it.
START_MANAGER = f"mount -t tmpfs none /run && mkdir -p /run/systemd/system && exec {MANAGER} --user"


class ServiceTest(unittest.TestCase):
    def setUp(self):
        self.desktop = self.enterContext(PrivateDesktop())
        self.environment = dict(self.desktop.environment)

    def run_agent(self, *arguments, seconds=60):
        return subprocess.run([binary_path(), *arguments], env=self.environment, capture_output=True, text=True,
                              timeout=seconds, stdin=subprocess.DEVNULL, check=False)

    def status_is_on(self):
        reply = self.desktop._call(["--session", "--dest=org.a11y.Bus"], "/org/a11y/bus",
                                   "org.freedesktop.DBus.Properties.Get", "string:org.a11y.Status",
                                   "string:IsEnabled")
        return "boolean true" in reply

    def add_settings(self, identifier):
        """Installs a settings program that notes that it was opened, and gives the note's path."""
        note = os.path.join(self.desktop.directory, identifier)
        add_desktop_entry(self.desktop, identifier, "Settings", f"/bin/sh -c \"date +%%s%%N >'{note}'\" %u",
                          "NoDisplay=true")
        return note

    def assert_found(self, done, accessibility, screen):
        lines = [f"executable={os.path.realpath(binary_path())}", f"accessibility={accessibility}",
                 f"screen_recording={screen}"]
        if accessibility == "missing":
            lines.append("hint_accessibility=System Settings -> Privacy & Security -> Accessibility")
        if screen == "missing":
            lines.append("hint_screen_recording=System Settings -> Privacy & Security -> Screen Recording")
        self.assertEqual(done.stdout.splitlines(), lines)
        self.assertEqual(done.returncode, 0 if len(lines) == 3 else 3)


class PermissionsTest(ServiceTest):
    def freeze(self, process):
        os.kill(process.pid, signal.SIGSTOP)
        self.addCleanup(os.kill, process.pid, signal.SIGCONT)

    def test_a_prompt_turns_the_accessibility_status_on_and_opens_the_settings(self):
        accessibility, privacy = self.add_settings("kcm_access"), self.add_settings("gnome-privacy-panel")
        self.environment["AT_SPI_BUS_ADDRESS"] = "unix:path=/nowhere"
        self.environment["XAUTHORITY"] = "/nowhere"
        self.assertFalse(self.status_is_on())
        self.assert_found(self.run_agent("permissions", "--no-prompt"), "missing", "missing")
        self.assertFalse(self.status_is_on())
        self.assertFalse(os.path.exists(accessibility) or os.path.exists(privacy))

        self.assert_found(self.run_agent("permissions"), "missing", "missing")
        self.assertTrue(self.status_is_on())
        wait_for(lambda: os.path.exists(accessibility) and os.path.exists(privacy), 10, "the settings")

    def test_nothing_that_hangs_holds_the_command_up(self):
        for process, accessibility, screen in ((self.desktop.x_server, "granted", "missing"),
                                               (self.desktop.session_bus, "missing", "granted")):
            self.freeze(process)
            began = time.monotonic()
            self.assert_found(self.run_agent("permissions"), accessibility, screen)
            # Two looks at the bus and one request to it, two seconds each; the rest is for a slow machine.
            self.assertLess(time.monotonic() - began, 20)
            os.kill(process.pid, signal.SIGCONT)


class InstallTest(ServiceTest):
    def setUp(self):
        super().setUp()
        self.port = free_port()
        self.home = self.environment["HOME"]
        self.list = os.path.join(self.home, "Library/LaunchAgents", LABEL + ".plist")
        token_file = os.path.join(self.home, "Vault-Quellan/secrets/varkel/sidecar-token")
        os.makedirs(os.path.dirname(token_file))
        with open(token_file, "w", encoding="utf-8") as file:
            file.write(TOKEN + "\n")

    def install(self, *options):
        done = self.run_agent("--port", str(self.port), *options, "install")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertEqual(done.stdout, f"Wrote plist to {self.list}\nLaunchAgent loaded successfully.\n")
        self.assertEqual(os.stat(self.list).st_mode & 0o7777, 0o600)
        return done.stderr

    def launchctl(self, *words):
        tool = os.path.join(os.path.dirname(binary_path()), "launchctl")
        done = subprocess.run([tool, *words], env=self.environment, capture_output=True, text=True, timeout=60,
                              check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stderr

    def answers(self):
        try:
            with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/health", timeout=5) as answer:
                return json.load(answer)["ok"]
        except OSError:
            return False

    def assert_serves_with_the_token(self):
        wait_for(self.answers, 20, "the agent")
        for token, status in ((TOKEN, 404), ("another", 401)):
            request = urllib.request.Request(f"http://127.0.0.1:{self.port}/nothing", headers={"X-Varkel-Token": token})
            with self.assertRaises(urllib.error.HTTPError) as refused:
                urllib.request.urlopen(request, timeout=20)
            self.assertEqual(refused.exception.code, status)

    def assert_token_is_on_no_command_line(self):
        for name in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{name}/cmdline", "rb") as file:
                    self.assertNotIn(TOKEN.encode(), file.read())
            except OSError:
                pass

    def test_without_a_user_manager_the_desktop_starts_the_agent(self):
        self.assertIn("No systemd user manager answers", self.install())
        entry = os.path.join(self.environment["XDG_CONFIG_HOME"], "autostart", LABEL + ".desktop")
        with open(entry, encoding="utf-8") as file:
            command = next(line for line in file if line.startswith("Exec="))[len("Exec="):]
        self.desktop.start(shlex.split(command.replace("\\\\", "\\")))
        self.assert_serves_with_the_token()
        self.assert_token_is_on_no_command_line()
        self.assertIn(entry, self.launchctl("unload", "-w", self.list))
        self.assertFalse(os.path.exists(entry))

    def start_user_manager(self):
        if not os.path.exists(MANAGER):
            self.skipTest("there is no systemd")
        # The desktop's session bus stays the one in use.
        units = os.path.join(self.environment["XDG_CONFIG_HOME"], "systemd/user")
        os.makedirs(units)
        for unit in ("dbus.socket", "dbus.service"):
            os.symlink("/dev/null", os.path.join(units, unit))
        # Like one that was started before the desktop: what it starts gets its environment.
        manager = self.desktop.start(["env", "-u", "DISPLAY", "-u", "XAUTHORITY", "unshare", "--mount", "sh", "-c",
                                      START_MANAGER], env={"XDG_CONFIG_HOME": self.environment["XDG_CONFIG_HOME"]})

        def answers():
            return manager.poll() is not None or self.systemctl("show", "--property=Version").returncode == 0
        wait_for(answers, 20, "the user manager")
        if manager.poll() is not None:
            self.skipTest("no user manager can be started here")

    def systemctl(self, *words):
        return subprocess.run(["systemctl", "--user", *words], env=self.environment, capture_output=True, text=True,
                              timeout=30, check=False)

    def test_a_user_manager_starts_the_agent_wherever_it_is_and_keeps_it_alive(self):
        self.environment["XDG_CONFIG_HOME"] = os.path.join(self.home, ODD_NAME, "config")
        agent = os.path.join(self.home, ODD_NAME, "varkel-agent")
        os.makedirs(os.path.dirname(agent))
        os.symlink(binary_path(), agent)
        self.start_user_manager()
        self.assertIn("as the systemd user unit", self.install("--executable-path", agent))
        # The desktop has told this manager nothing yet: no display, no agent.
        wait_for(lambda: self.systemctl("show", "--property=SubState", LABEL).stdout.strip() == "SubState=auto-restart",
                 20, "the first try to have ended")
        self.assertFalse(self.answers())
        self.tell_of_the_display()
        self.assert_serves_with_the_token()
        self.assert_token_is_on_no_command_line()
        self.assertNotIn(TOKEN, self.systemctl("show", LABEL).stdout)
        with open(f"/proc/{self.main_pid()}/cmdline", "rb") as file:
            self.assertEqual(file.read().split(b"\0")[0], agent.encode())

        # Installing again replaces the running agent, and a killed one comes back.
        self.install("--executable-path", agent)
        self.assert_serves_with_the_token()
        before = self.main_pid()
        os.kill(before, signal.SIGKILL)
        wait_for(lambda: self.main_pid() not in (0, before), 30, "the agent to come back")
        self.assert_serves_with_the_token()

        self.assertIn("Removed the systemd user unit", self.launchctl("unload", "-w", self.list))
        self.assertFalse(self.answers())
        self.assertEqual(self.systemctl("show", "--property=LoadState", LABEL).stdout.strip(), "LoadState=not-found")
        left = [name for _, _, files in os.walk(self.environment["XDG_CONFIG_HOME"]) for name in files
                if LABEL in name]
        self.assertEqual(left, [])

    def tell_of_the_display(self):
        self.systemctl("set-environment", "DISPLAY=" + self.desktop.display,
                       "XAUTHORITY=" + self.environment["XAUTHORITY"],
                       "DBUS_SESSION_BUS_ADDRESS=" + self.environment["DBUS_SESSION_BUS_ADDRESS"])

    def main_pid(self):
        return int(self.systemctl("show", "--property=MainPID", "--value", LABEL).stdout.strip() or 0)


if __name__ == "__main__":
    support.main()
