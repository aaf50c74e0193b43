#!/usr/bin/python3
"""A GTK 4 form that tells where it was clicked. Usage: places_gtk4.py (csd|plain)

It writes and obeys what places_gtk3.py does. Its menu is a popover.
"""

import json
import sys

import gi

gi.require_version("Gtk", "4.0")
gi.require_version("GLib", "2.0")
from gi.repository import GLib, Gtk  # noqa: E402


def report(event, **fields):
    print(json.dumps({"event": event, **fields}), flush=True)


def make_area(name, **options):
    area = Gtk.DrawingArea(content_width=61, content_height=41, **options)
    area.update_property([Gtk.AccessibleProperty.LABEL], [name])
    click = Gtk.GestureClick()
    click.connect("pressed", lambda _gesture, _count, x, y: report(
        "pressed", widget=name, x=x, y=y, width=area.get_width(), height=area.get_height()))
    area.add_controller(click)
    return area


def make_menu(prefix):
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
    popover = Gtk.Popover(child=box)

    def choose(_item, name):
        popover.popdown()
        report("chosen", widget=name)

    for name in ("Alpha", "Beta", "Gamma"):
        item = Gtk.Button(label=name)
        item.connect("clicked", choose, name)
        box.append(item)
    return Gtk.MenuButton(label=prefix + "menu", halign=Gtk.Align.START, popover=popover)


def make_window(title, prefix, own_titlebar):
    window = Gtk.Window(title=title, default_width=310, default_height=230)
    if own_titlebar:
        window.set_titlebar(Gtk.HeaderBar())
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
    box.append(make_menu(prefix))
    box.append(make_area(prefix + "first", halign=Gtk.Align.START))
    box.append(make_area(prefix + "last", halign=Gtk.Align.END, valign=Gtk.Align.END, vexpand=True))
    window.set_child(box)
    window.present()
    return window


def main():
    own_titlebar = sys.argv[1] == "csd"
    application = Gtk.Application(application_id="io.github.varkel.Places")

    def obey(_channel, _condition):
        command = sys.stdin.readline().strip()
        if not command:
            return False
        application.add_window(make_window("Second", "other ", own_titlebar))
        report("done", command=command)
        return True

    def activate(_application):
        application.add_window(make_window("Places", "", own_titlebar))
        commands = GLib.IOChannel.unix_new(0)
        GLib.io_add_watch(commands, GLib.PRIORITY_LOW, GLib.IOCondition.IN | GLib.IOCondition.HUP, obey)
        report("ready")

    application.connect("activate", activate)
    application.run()


if __name__ == "__main__":
    main()
