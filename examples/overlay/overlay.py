#!/usr/bin/python3
"""A small overlay service: shows what the agent is asked to do and lets the person allow or deny it.

    /usr/bin/python3 examples/overlay/overlay.py

Start it before the agent, which looks for it once. It listens on a port of 127.0.0.1 of its own and leaves the port
and a fresh secret in the file where the agent looks. It needs python3-gi and GTK 3.
"""

import hmac
import http.server
import json
import os
import pathlib
import re
import secrets
import signal
import socket
import sys
import tempfile
import threading

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
gi.require_version("GLib", "2.0")
gi.require_version("Pango", "1.0")
from gi.repository import Gdk, GLib, Gtk, Pango  # noqa: E402

DISCOVERY = pathlib.Path.home() / "Library/Application Support/Quellan/Varkel/overlay.sock"

# The agent waits a minute for the answer to one poll.
PATIENCE = 55.0
LARGEST_EVENT = 65_536
MOST_PROMPTS = 20

QUESTIONS = {
    "click": "Click an element?",
    "type": "Type into an element?",
    "scroll": "Scroll an element?",
    "send_keystrokes": "Send keystrokes?",
    "run_shortcut": "Run a Shortcut?",
    "run_applescript": "Run an AppleScript?",
}


class Prompt:
    """One question, and the person's decision once there is one."""

    def __init__(self, event):
        self.id, self.action, self.target = event["id"], event["action"], event.get("target", "")
        self.decided = threading.Event()
        self.allowed = False


class Prompts:
    """The questions that wait for a decision. Any thread."""

    def __init__(self, show, withdraw):
        self._show, self._withdraw = show, withdraw
        self._lock = threading.Lock()
        self._waiting = {}

    def add(self, prompt):
        """Shows a prompt; False when there are too many to look at."""
        with self._lock:
            if len(self._waiting) >= MOST_PROMPTS or prompt.id in self._waiting:
                return False
            self._waiting[prompt.id] = prompt
        GLib.idle_add(self._show, prompt)
        # One that nobody asks after, because the agent has ended, must not stay on the screen.
        GLib.timeout_add(int(PATIENCE * 1000) + 5000, self._forget, prompt)
        return True

    def decision(self, prompt_id):
        """Waits for the person. True, False, or None for a prompt that is not known."""
        with self._lock:
            prompt = self._waiting.get(prompt_id)
        if not prompt:
            return None
        prompt.decided.wait(PATIENCE)
        GLib.idle_add(self._forget, prompt)
        return prompt.allowed

    def _forget(self, prompt):
        with self._lock:
            if self._waiting.get(prompt.id) is not prompt:
                return
            del self._waiting[prompt.id]
        self._withdraw(prompt)


class Window(Gtk.Window):
    """Shows the waiting prompts, one below the other, in a corner of the screen.

    It never takes the focus: what is agreed to is to happen in the application that has it."""

    def __init__(self):
        super().__init__(title="Varkel asks", type_hint=Gdk.WindowTypeHint.UTILITY, accept_focus=False,
                         focus_on_map=False, skip_taskbar_hint=True, resizable=False, border_width=12,
                         gravity=Gdk.Gravity.NORTH_EAST)
        self.set_keep_above(True)
        self.stick()
        self.connect("delete-event", lambda *_: self._deny_all())
        self._rows = {}
        self._box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=12)
        self.add(self._box)
        self._box.show()

    def show_prompt(self, prompt):
        row = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=6)
        # Plain texts: what the agent was asked to do is not to be trusted with markup.
        question = Gtk.Label(label=QUESTIONS.get(prompt.action, prompt.action), xalign=0)
        question.set_attributes(self._bold())
        row.add(question)
        if prompt.target:
            row.add(Gtk.Label(label=prompt.target, xalign=0, wrap=True, selectable=False, lines=4,
                              ellipsize=Pango.EllipsizeMode.END, max_width_chars=48,
                              wrap_mode=Pango.WrapMode.WORD_CHAR))
        buttons = Gtk.ButtonBox(layout_style=Gtk.ButtonBoxStyle.END, spacing=6)
        for text, allowed in (("Deny", False), ("Allow", True)):
            button = Gtk.Button(label=text)
            button.connect("clicked", lambda _, allowed=allowed: self._decide(prompt, allowed))
            buttons.add(button)
        row.add(buttons)
        self._rows[prompt] = row
        self._box.add(row)
        row.show_all()
        self._place()
        self.show()

    @staticmethod
    def _bold():
        attributes = Pango.AttrList()
        attributes.insert(Pango.attr_weight_new(Pango.Weight.BOLD))
        return attributes

    def _place(self):
        area = Gdk.Display.get_default().get_monitor(0).get_workarea()
        width = self.get_preferred_size()[1].width
        self.move(area.x + area.width - width - 24, area.y + 24)

    def _decide(self, prompt, allowed):
        # The window goes first: the decision sets off what it may stand in front of.
        self.withdraw(prompt)
        Gdk.Display.get_default().sync()
        prompt.allowed = allowed
        prompt.decided.set()

    def _deny_all(self):
        for prompt in list(self._rows):
            self._decide(prompt, False)
        return True

    def withdraw(self, prompt):
        row = self._rows.pop(prompt, None)
        if row:
            row.destroy()
        if not self._rows:
            self.hide()


class Handler(http.server.BaseHTTPRequestHandler):
    """Speaks with the agent: POST /event tells of a prompt, GET /consent/ID asks for the decision."""

    protocol_version = "HTTP/1.1"
    timeout = 10  # for a request to arrive

    def do_POST(self):
        if not self._is_the_agent():
            return self._answer(401)
        if self.path != "/event":
            return self._answer(404)
        event = self._read_event()
        if event is None:
            return self._answer(400)
        if event["type"] == "destructivePrompt" and not self.server.prompts.add(Prompt(event)):
            return self._answer(429)
        return self._answer(200)

    def do_GET(self):
        if not self._is_the_agent():
            return self._answer(401)
        asked = re.fullmatch(r"/consent/([0-9A-F-]{36})", self.path)
        decision = self.server.prompts.decision(asked[1]) if asked else None
        return self._answer({None: 404, True: 200, False: 423}[decision])

    def _is_the_agent(self):
        given = self.headers.get("X-Overlay-Token", "").encode("latin-1")
        return hmac.compare_digest(given, self.server.token.encode())

    def _read_event(self):
        """The event in the body, or None when it is none."""
        try:
            length = int(self.headers.get("Content-Length", "0"))
            event = json.loads(self.rfile.read(length)) if 0 < length <= LARGEST_EVENT else None
        except (ValueError, RecursionError):
            return None
        if not isinstance(event, dict) or not isinstance(event.get("type"), str):
            return None
        texts = (event.get("id"), event.get("action"), event.get("target", ""))
        if event["type"] == "destructivePrompt" and not all(isinstance(text, str) for text in texts):
            return None
        return event

    def _answer(self, status):
        try:
            self.send_response(status)
            self.send_header("Content-Length", "0")
            self.end_headers()
        except OSError:
            pass  # the agent has gone
        self.close_connection = True

    def log_message(self, *_):
        pass


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def __init__(self, prompts):
        super().__init__(("127.0.0.1", 0), Handler)
        self.prompts, self.token = prompts, secrets.token_urlsafe(32)


def somebody_serves():
    """Whether the discovery file is that of a service that still runs."""
    try:
        port = json.loads(DISCOVERY.read_text(encoding="utf-8"))["port"]
        socket.create_connection(("127.0.0.1", port), 2).close()
        return True
    except (OSError, ValueError, KeyError, TypeError, OverflowError):
        return False


def write_discovery(server):
    """Leaves the port and the secret where the agent looks, for its owner only. Nobody ever reads half of it."""
    DISCOVERY.parent.mkdir(parents=True, exist_ok=True)
    descriptor, name = tempfile.mkstemp(dir=DISCOVERY.parent)  # with mode 0600
    with os.fdopen(descriptor, "w", encoding="utf-8") as file:
        json.dump({"port": server.server_address[1], "token": server.token}, file)
    os.replace(name, DISCOVERY)


def main():
    if somebody_serves():
        print("overlay: another overlay service runs already", file=sys.stderr)
        return 1
    window = Window()
    server = Server(Prompts(window.show_prompt, window.withdraw))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    write_discovery(server)
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        GLib.unix_signal_add(GLib.PRIORITY_HIGH, number, Gtk.main_quit)
    print(f"The overlay service listens on 127.0.0.1:{server.server_address[1]}.", flush=True)
    try:
        Gtk.main()
    finally:
        DISCOVERY.unlink(missing_ok=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
