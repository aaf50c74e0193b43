#!/usr/bin/python3
"""A GTK 3 form that tells where it was clicked. Usage: places_gtk3.py (csd|plain)

Writes one JSON object per line: {"event": "ready"}; "pressed" with the name of what the mouse hit, where in it (x, y)
and its size, in the toolkit's own units; "chosen" (a menu's item). Reads the command "second", which opens a second
window.
"""

import json
import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
gi.require_version("GLib", "2.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402


def report(event, **fields):
    print(json.dumps({"event": event, **fields}), flush=True)


class Area(Gtk.DrawingArea):
    def __init__(self, name, **options):
        super().__init__(**options)
        self.get_accessible().set_name(name)
        self.set_size_request(61, 41)
        self.add_events(Gdk.EventMask.BUTTON_PRESS_MASK)
        self.connect("button-press-event", self.on_press, name)

    def on_press(self, _widget, event, name):
        size = self.get_allocation()
        report("pressed", widget=name, x=event.x, y=event.y, width=size.width, height=size.height)
        return True


def make_menu():
    menu = Gtk.Menu()
    for name in ("Alpha", "Beta", "Gamma"):
        item = Gtk.MenuItem(label=name)
        item.connect("activate", lambda _, chosen: report("chosen", widget=chosen), name)
        menu.append(item)
    menu.show_all()
    return menu


def make_window(title, prefix, own_titlebar):
    window = Gtk.Window(title=title)
    window.set_default_size(310, 230)
    if own_titlebar:
        window.set_titlebar(Gtk.HeaderBar(title=title, show_close_button=True))
    bar = Gtk.MenuBar()
    top = Gtk.MenuItem(label=prefix + "menu")
    top.set_submenu(make_menu())
    bar.append(top)
    first = Area(prefix + "first", halign=Gtk.Align.START)
    last = Area(prefix + "last", halign=Gtk.Align.END, valign=Gtk.Align.END)
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
    for each, takes_room in ((bar, False), (first, False), (last, True)):
        box.pack_start(each, takes_room, takes_room, 0)
    window.add(box)
    window.show_all()
    return window


def main():
    own_titlebar = sys.argv[1] == "csd"
    windows = [make_window("Places", "", own_titlebar)]

    def obey(_channel, _condition):
        command = sys.stdin.readline().strip()
        if not command:
            return False
        windows.append(make_window("Second", "other ", own_titlebar))
        report("done", command=command)
        return True

    GLib.io_add_watch(GLib.IOChannel.unix_new(0), GLib.PRIORITY_LOW, GLib.IOCondition.IN | GLib.IOCondition.HUP, obey)
    report("ready")
    Gtk.main()


if __name__ == "__main__":
    main()
