#!/usr/bin/python3
"""A GTK application that tells what is done to it. Usage: acts_app.py [TITLE]

Writes one JSON object per line: {"event": "ready"}, "clicked", "pressed" and "released" (with the place on
the screen), "changed" (an entry's text), "key" (one that the read-only entry got), "committed" (what the keyboard gave
the bare area, as text), "scrolled" (the list's offset), "dialog" (shown or gone). After the command "stop" or "kill" it
stops or ends itself in the middle of the next of these, before it reports. Each method of ActsApp is a command.
"""

import os
import signal
import sys

import form
import gi
from gtk3_app import App

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, Gtk  # noqa: E402

ROWS = 200
fault = []  # the signal that it sends itself next


def report(event, **fields):
    if event in ("clicked", "changed", "committed") and fault:
        os.kill(os.getpid(), fault.pop())
    form.report(event, **fields)


class Area(Gtk.DrawingArea):
    """Draws nothing, has no action and no text of its own; takes the mouse and, when it may, the keyboard."""

    def __init__(self, name, width, height, takes_keys=False):
        super().__init__(can_focus=takes_keys, halign=Gtk.Align.START)
        self.name, self.text = name, ""
        self.set_size_request(width, height)
        self.add_events(Gdk.EventMask.BUTTON_PRESS_MASK | Gdk.EventMask.BUTTON_RELEASE_MASK
                        | Gdk.EventMask.KEY_PRESS_MASK)
        self.connect("button-press-event", self.on_button, "pressed")
        self.connect("button-release-event", self.on_button, "released")
        if takes_keys:
            self.connect("key-press-event", self.on_key)

    def on_button(self, _widget, event, kind):
        report(kind, widget=self.name, button=event.button, x=event.x_root, y=event.y_root)
        return True

    def on_key(self, _widget, event):
        character = Gdk.keyval_to_unicode(event.keyval)
        if character:
            self.text += chr(character)
            report("committed", widget=self.name, text=self.text)
        return True


class ActsApp(App):
    def __init__(self, title):
        super().__init__(title, self.make_widgets())
        self.window.set_default_size(400, 600)

    def make_widgets(self):
        button = Gtk.Button(label="Count me")
        button.connect("clicked", lambda _: report("clicked", widget="button"))
        dialog = Gtk.Button(label="Ask me")
        dialog.connect("clicked", self.ask)
        entry, fixed = Gtk.Entry(text="before"), Gtk.Entry(text="fixed", editable=False)
        for name, each in (("entry", entry), ("fixed", fixed)):
            each.connect("changed", lambda field, label: report("changed", widget=label, text=field.get_text()), name)
        fixed.connect("key-press-event", lambda _, event: report("key", widget="fixed", keyval=event.keyval))
        values = Gtk.Entry(text="a" * 5000 + "!")
        return {
            "button": button, "check": Gtk.CheckButton(label="Remember"), "dialog": dialog, "entry": entry,
            "fixed": fixed, "values": values,
            # Sides of both kinds: half of an odd one lies inside a pixel.
            "even area": Area("even area", 60, 40), "odd area": Area("odd area", 61, 41),
            "keys": Area("keys", 80, 30, takes_keys=True), "list": self.make_list(),
        }

    @staticmethod
    def make_list():
        rows = Gtk.ListBox()
        for number in range(ROWS):
            rows.add(Gtk.Label(label=f"Row {number}"))
        scrolled = Gtk.ScrolledWindow()
        scrolled.add(rows)
        scrolled.get_vadjustment().connect("value-changed", lambda a: report("scrolled", offset=a.get_value()))
        return scrolled

    def ask(self, _button):
        """Shows a dialog and returns only when it has gone, as many an application does in a handler."""
        report("clicked", widget="dialog")
        self.question = Gtk.Dialog(title="Question", transient_for=self.window, modal=True)
        self.question.add_button("Close", Gtk.ResponseType.CLOSE)
        self.question.connect("map-event", lambda *_: report("dialog", shown=True))
        self.question.run()
        self.question.destroy()
        report("dialog", shown=False)

    # -- commands

    def rename(self):
        self.widgets["button"].set_label("Count me no more")

    def insert(self):
        """Puts another button where the first one was, which moves down."""
        other = Gtk.Button(label="Somebody else")
        other.connect("clicked", lambda _: report("clicked", widget="other"))
        self.box.pack_start(other, False, False, 0)
        self.box.reorder_child(other, 0)
        other.show()

    def close(self):
        self.question.response(Gtk.ResponseType.CLOSE)

    def look(self):
        return {**super().look(), "texts": {name: self.widgets[name].get_text() for name in ("entry", "fixed")},
                "focused": self.window.get_focus() is self.widgets["keys"] and "keys"}

    def stop(self):
        fault.append(signal.SIGSTOP)

    def kill(self):
        fault.append(signal.SIGKILL)


if __name__ == "__main__":
    ActsApp(sys.argv[1] if len(sys.argv) > 1 else "Acts").run("button")
