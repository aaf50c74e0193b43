#!/usr/bin/python3
"""Four buttons without borders, two by two, each in a colour of its own."""

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, Gtk  # noqa: E402

COLOURS = ("red", "lime", "blue", "magenta")

style = Gtk.CssProvider()
style.load_from_data("".join(
    f"#{colour} {{ background: {colour}; color: {colour}; border: none; border-radius: 0; box-shadow: none; text-shadow: none; outline: none; }}"
    for colour in COLOURS).encode())
Gtk.StyleContext.add_provider_for_screen(Gdk.Screen.get_default(), style, Gtk.STYLE_PROVIDER_PRIORITY_USER)
grid = Gtk.Grid()
for number, colour in enumerate(COLOURS):
    button = Gtk.Button(label=colour, name=colour)
    button.set_size_request(101, 63)
    grid.attach(button, number % 2, number // 2, 1, 1)
window = Gtk.Window(title="colours", resizable=False)
window.add(grid)
window.connect("destroy", Gtk.main_quit)
window.show_all()
Gtk.main()
