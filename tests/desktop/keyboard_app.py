"""A small GTK application that tells what its keyboard and its mouse get.

Writes one JSON object per line: {"event": "ready"}, every key press and release with keyval and state, every
button press with its position, every scroll. Reads commands, one per line: "text" answers with the text that the
widget holds, "clear" empties it."""

import json
import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402


def report(**fields):
    sys.stdout.write(json.dumps(fields) + "\n")
    sys.stdout.flush()


class App:
    def __init__(self, kind):
        self.window = Gtk.Window(title="keyboard app")
        self.window.set_default_size(500, 300)
        box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
        if kind == "entry":
            self.field = Gtk.Entry()
            self.buffer = self.field.get_buffer()
        else:
            self.field = Gtk.TextView()
            self.buffer = self.field.get_buffer()
        self.field.connect("key-press-event", self.key, "press")
        self.field.connect("key-release-event", self.key, "release")
        area = Gtk.DrawingArea()
        area.add_events(Gdk.EventMask.BUTTON_PRESS_MASK | Gdk.EventMask.BUTTON_RELEASE_MASK
                        | Gdk.EventMask.SCROLL_MASK)
        area.connect("button-press-event", self.button, "button-press")
        area.connect("button-release-event", self.button, "button-release")
        area.connect("scroll-event", self.scroll)
        box.pack_start(self.field, False, False, 0)
        box.pack_start(area, True, True, 0)
        self.window.add(box)
        self.window.connect("destroy", Gtk.main_quit)
        self.window.show_all()
        self.field.grab_focus()
        self.window.connect("focus-in-event", lambda *_: report(event="focus") and False)
        channel = GLib.IOChannel.unix_new(0)
        GLib.io_add_watch(channel, GLib.PRIORITY_LOW, GLib.IOCondition.IN | GLib.IOCondition.HUP, self.command)

    def key(self, _widget, event, kind):
        report(event=kind, keyval=event.keyval, name=Gdk.keyval_name(event.keyval), state=int(event.state),
               keycode=event.hardware_keycode)
        return False

    def button(self, _widget, event, kind):
        report(event=kind, button=event.button, x=event.x_root, y=event.y_root)
        return True

    def scroll(self, _widget, event):
        report(event="scroll", direction=event.direction.value_nick, x=event.x_root, y=event.y_root)
        return True

    def text(self):
        if isinstance(self.field, Gtk.Entry):
            return self.field.get_text()
        start, end = self.buffer.get_bounds()
        return self.buffer.get_text(start, end, True)

    def command(self, _channel, _condition):
        line = sys.stdin.readline().strip()
        if not line:
            return False
        if line == "clear":
            if isinstance(self.field, Gtk.Entry):
                self.field.set_text("")
            else:
                self.buffer.set_text("")
        report(event="text", text=self.text())
        return True


if __name__ == "__main__":
    App(sys.argv[1] if len(sys.argv) > 1 else "text")
    report(event="ready")
    Gtk.main()
