#!/usr/bin/python3
"""A window with a text area, whose text is in a file at any time. Usage: text_form.py gtk3|qt6 FILE"""

import os
import sys


def write(path, text):
    with open(path + ".new", "w", encoding="utf-8") as file:
        file.write(text)
    os.rename(path + ".new", path)


def run_gtk(path):
    import gi
    gi.require_version("Gtk", "3.0")
    from gi.repository import Gtk
    view = Gtk.TextView()
    view.get_buffer().connect("changed", lambda text: write(path, text.get_text(*text.get_bounds(), True)))
    window = Gtk.Window(title="text form")
    window.set_default_size(500, 300)
    window.add(view)
    window.show_all()
    Gtk.main()


def run_qt(path):
    from PyQt6.QtWidgets import QApplication, QPlainTextEdit
    application = QApplication(["text_form.py"])
    area = QPlainTextEdit()
    area.textChanged.connect(lambda: write(path, area.toPlainText()))
    area.resize(500, 300)
    area.show()
    application.exec()


if __name__ == "__main__":
    {"gtk3": run_gtk, "qt6": run_qt}[sys.argv[1]](sys.argv[2])
