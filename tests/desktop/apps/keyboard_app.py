"""A small GTK application that tells what its keyboard and its mouse get.

Writes one JSON object per line: {"event": "ready"}, every key press and release with keyval and state, every
button press with its position, every scroll. Reads commands, one per line: "look" answers with the text that the
entry holds, "clear" empties it."""

import math
import os

import gi
from form import Form, report

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, Gtk  # noqa: E402


def on_key(_widget, event, kind):
    report(kind, keyval=event.keyval, name=Gdk.keyval_name(event.keyval), state=int(event.state),
           keycode=event.hardware_keycode)
    return False


def on_button(_widget, event, kind):
    report(kind, button=event.button, x=math.floor(event.x_root), y=math.floor(event.y_root))
    return True


def direction_of(event):
    """Wayland's steps come with their size alone."""
    if event.direction != Gdk.ScrollDirection.SMOOTH:
        return event.direction.value_nick
    across = "left" if event.delta_x < 0 else "right"
    return ("up" if event.delta_y < 0 else "down") if event.delta_y else across


def on_scroll(_widget, event):
    report("scroll", direction=direction_of(event), x=math.floor(event.x_root), y=math.floor(event.y_root))
    return True


class KeyboardApp(Form):
    def __init__(self, entry):
        self.entry = entry

    def look(self):
        return {"text": self.entry.get_text()}

    def clear(self):
        self.entry.set_text("")


def main():
    window = Gtk.Window(title="keyboard app")
    window.set_default_size(500, 300)
    window.connect("destroy", Gtk.main_quit)
    entry, area = Gtk.Entry(), Gtk.DrawingArea()
    entry.connect("key-press-event", on_key, "press")
    entry.connect("key-release-event", on_key, "release")
    area.add_events(Gdk.EventMask.BUTTON_PRESS_MASK | Gdk.EventMask.BUTTON_RELEASE_MASK | Gdk.EventMask.SCROLL_MASK)
    if os.environ.get("GDK_BACKEND") == "wayland":
        # In whole steps, GTK 3 takes left for right there.
        area.add_events(Gdk.EventMask.SMOOTH_SCROLL_MASK)
    area.connect("button-press-event", on_button, "button-press")
    area.connect("button-release-event", on_button, "button-release")
    area.connect("scroll-event", on_scroll)
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
    box.pack_start(entry, False, False, 0)
    box.pack_start(area, True, True, 0)
    window.add(box)
    window.show_all()
    entry.grab_focus()
    KeyboardApp(entry).obey_in_glib()
    report("ready")
    Gtk.main()


if __name__ == "__main__":
    main()
