#!/usr/bin/python3
"""A GTK window of about 1,650 buttons and labels: 33 rows of 25 pairs."""

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402

window = Gtk.Window(title="Many widgets")
window.set_default_size(1000, 700)
window.connect("destroy", Gtk.main_quit)
scroller = Gtk.ScrolledWindow()
rows = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
for row in range(33):
    pairs = Gtk.Box()
    for number in range(25 * row, 25 * row + 25):
        pairs.add(Gtk.Button(label=f"Button {number}"))
        pairs.add(Gtk.Label(label=f"Label {number}"))
    rows.add(pairs)
scroller.add(rows)
window.add(scroller)
window.show_all()
Gtk.main()
