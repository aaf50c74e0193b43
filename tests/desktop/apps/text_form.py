#!/usr/bin/python3
"""A window with a text area, whose text is in a file at any time. Usage: text_form.py gtk3|gtk4|qt5|qt6 FILE"""

import functools
import importlib
import os
import sys


def write(path, text):
    with open(path + ".new", "w", encoding="utf-8") as file:
        file.write(text)
    os.rename(path + ".new", path)


def run_gtk3(path):
    import gi
    gi.require_version("Gtk", "3.0")
    from gi.repository import Gtk
    view = Gtk.TextView(wrap_mode=Gtk.WrapMode.CHAR)
    view.get_buffer().connect("changed", lambda text: write(path, text.get_text(*text.get_bounds(), True)))
    scrolled = Gtk.ScrolledWindow()
    scrolled.add(view)
    window = Gtk.Window(title="text form")
    window.set_default_size(500, 300)
    window.add(scrolled)
    window.show_all()
    Gtk.main()


def run_gtk4(path):
    import gi
    gi.require_version("Gtk", "4.0")
    gi.require_version("GLib", "2.0")
    from gi.repository import GLib, Gtk
    view = Gtk.TextView(wrap_mode=Gtk.WrapMode.CHAR)
    view.get_buffer().connect("changed", lambda text: write(path, text.get_text(*text.get_bounds(), True)))
    window = Gtk.Window(title="text form", default_width=500, default_height=300,
                        child=Gtk.ScrolledWindow(child=view))
    view.grab_focus()
    window.present()
    GLib.MainLoop().run()


def run_qt(path, binding):
    widgets = importlib.import_module(binding + ".QtWidgets")
    application = widgets.QApplication(["text_form.py"])
    area = widgets.QPlainTextEdit()
    area.textChanged.connect(lambda: write(path, area.toPlainText()))
    area.resize(500, 300)
    area.show()
    application.exec_() if binding == "PyQt5" else application.exec()


if __name__ == "__main__":
    {"gtk3": run_gtk3, "gtk4": run_gtk4, "qt5": functools.partial(run_qt, binding="PyQt5"),
     "qt6": functools.partial(run_qt, binding="PyQt6")}[sys.argv[1]](sys.argv[2])
