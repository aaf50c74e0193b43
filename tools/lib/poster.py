#!/usr/bin/python3
"""A window that shows a picture. Usage: poster.py PICTURE TITLE"""

import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402


def main():
    window = Gtk.Window(title=sys.argv[2], resizable=False)
    window.add(Gtk.Image(file=sys.argv[1]))
    window.connect("destroy", Gtk.main_quit)
    window.show_all()
    Gtk.main()


if __name__ == "__main__":
    main()
